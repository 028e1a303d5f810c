#include "FolderWindowsTesting.h"

#include <QApplication>
#include <QTimer>

#include <gtest/gtest.h>

namespace paramcor::test {
namespace {

class NamedModalWatcher final : public QObject {
public:
    NamedModalWatcher(QString name, std::function<void(QWidget*)> action)
        : QObject(qApp), name_(std::move(name)), action_(std::move(action)) {
        connect(&timer_, &QTimer::timeout, this, [this] { look(); });
        timer_.start(5);
    }

private:
    void look() {
        QWidget* window = QApplication::activeModalWidget();
        if (window == nullptr || window->objectName() != name_ || !window->isVisible()) {
            if (++attempts_ == 2000) {
                timer_.stop();
                deleteLater();
                ADD_FAILURE() << "no modal window " << name_.toStdString() << " opened";
            }
            return;
        }
        timer_.stop();
        deleteLater();
        action_(window);
        if (::testing::Test::HasFailure() && window->isVisible())
            window->close();
    }

    QString name_;
    std::function<void(QWidget*)> action_;
    QTimer timer_;
    int attempts_ = 0;
};

}  // namespace

void onModalNamed(const QString& name, const std::function<void(QWidget*)>& action) {
    new NamedModalWatcher(name, action);
}

}  // namespace paramcor::test
