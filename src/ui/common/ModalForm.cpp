#include "ui/common/ModalForm.h"

#include <CVLParamcor/Platform.h>

#include <QAction>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QToolBar>

namespace paramcor::ui {

ModalForm::ModalForm(QWidget* parent) : QDialog(parent) {
    setModal(true);
    // Help buttons have nothing to show here.
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

int ModalForm::run() {
    const int result = exec();
    if (failure_)
        std::rethrow_exception(failure_);
    return result;
}

void ModalForm::centreOnScreen() {
    adjustSize();
    const QScreen* where = screen();
    if (where == nullptr)
        return;
    QRect frame = frameGeometry();
    frame.moveCenter(where->availableGeometry().center());
    move(frame.topLeft());
}

QChar decimalSeparator() {
    return platform().separators().decimal.contains(u',') ? u',' : u'.';
}

QChar thousandsSeparator(QChar decimal) {
    return decimal == u',' ? u'.' : u',';
}

QToolBar* makeToolbar(QWidget* parent, const QString& name) {
    auto* toolbar = new QToolBar(parent);
    toolbar->setObjectName(name);
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolbar->setIconSize(QSize(20, 20));
    return toolbar;
}

QAction* addToolbarButton(QToolBar* toolbar, const QString& key, const QIcon& icon, const QString& translated) {
    QAction* action = toolbar->addAction(icon, translated);
    action->setObjectName(key);
    action->setToolTip(translated);
    return action;
}

namespace {

template <class Draw>
QIcon drawnIcon(Draw draw) {
    QIcon icon;
    for (const int size : {16, 20, 24, 32}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 32.0, size / 32.0);
        draw(painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

}  // namespace

QIcon confirmIcon() {
    return drawnIcon([](QPainter& p) {
        QPainterPath tick;
        tick.moveTo(5, 17);
        tick.lineTo(13, 25);
        tick.lineTo(27, 7);
        p.setPen(QPen(QColor(0x1b, 0x7a, 0x2e), 5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.drawPath(tick);
    });
}

QIcon exitIcon() {
    return drawnIcon([](QPainter& p) {
        // A door left open, and the way out.
        p.setPen(QPen(QColor(0x55, 0x3a, 0x1e), 2));
        p.setBrush(QColor(0xc8, 0x8d, 0x4a));
        p.drawRect(QRectF(4, 3, 14, 26));
        p.setPen(QPen(QColor(0xb0, 0x1e, 0x1e), 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.drawLine(QPointF(14, 16), QPointF(28, 16));
        p.drawLine(QPointF(22, 10), QPointF(28, 16));
        p.drawLine(QPointF(22, 22), QPointF(28, 16));
    });
}

}  // namespace paramcor::ui
