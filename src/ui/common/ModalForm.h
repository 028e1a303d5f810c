// What the library's forms share: shown modally, translated when they load, and
// careful with failures. A failure inside an event handler must not unwind
// through Qt's event loop, so the handler keeps it, the form closes, and run()
// raises it again to the code that opened the form.
#pragma once

#include <QDialog>
#include <QKeyEvent>

#include <exception>
#include <utility>

class QAction;
class QToolBar;

namespace paramcor::ui {

class ModalForm : public QDialog {
    Q_OBJECT

public:
    explicit ModalForm(QWidget* parent);

    // Shows the form modally; raises the failure of a handler, if one failed.
    int run();

    // The failure kept by a handler since the form was created.
    std::exception_ptr failure() const { return failure_; }

protected:
    // Runs an event handler; a failure is kept and closes the form.
    template <class Handler>
    void guarded(Handler&& handler) noexcept {
        try {
            handler();
        } catch (...) {
            if (!failure_)
                failure_ = std::current_exception();
            reject();
        }
    }

    // Enter presses `confirm`, through `onConfirm`, when it may be pressed; Escape
    // closes the form. False for any other key, which the caller passes on.
    template <class Control, class Handler>
    bool confirmOrCancel(const QKeyEvent* event, const Control* confirm, Handler&& onConfirm) {
        switch (event->key()) {
            case Qt::Key_Return:
            case Qt::Key_Enter:
                if (confirm->isEnabled())
                    guarded(std::forward<Handler>(onConfirm));
                return true;
            case Qt::Key_Escape:
                reject();
                return true;
            default:
                return false;
        }
    }

    // Centres the form on its screen.
    void centreOnScreen();

private:
    std::exception_ptr failure_;
};

// The workstation's decimal separator, one character: the comma when the
// regional settings write one half with a comma, the full stop otherwise.
QChar decimalSeparator();

// The separator that groups thousands where `decimal` is the decimal one.
QChar thousandsSeparator(QChar decimal);

// The toolbar of the forms that have one: an action per key, the translated key
// as tooltip and text. The action's objectName is its key.
QToolBar* makeToolbar(QWidget* parent, const QString& name);
QAction* addToolbarButton(QToolBar* toolbar, const QString& key, const QIcon& icon, const QString& translated);

// The pictures of the confirm and exit buttons, drawn here.
QIcon confirmIcon();
QIcon exitIcon();

}  // namespace paramcor::ui
