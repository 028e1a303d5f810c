#include "ui/common/QtMessageBoxes.h"

#include "ui/common/QtTexts.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>

#include <vector>

namespace paramcor::ui {
namespace {

struct Button {
    QMessageBox::StandardButton button;
    int answer;
};

// The button sets of the flags' low bits, left to right as the system shows them.
const std::vector<Button>& buttonsOf(int flags) {
    static const std::vector<Button> sets[] = {
        {{QMessageBox::Ok, mb::Ok}},
        {{QMessageBox::Ok, mb::Ok}, {QMessageBox::Cancel, mb::Cancel}},
        {{QMessageBox::Abort, 3}, {QMessageBox::Retry, 4}, {QMessageBox::Ignore, 5}},
        {{QMessageBox::Yes, mb::Yes}, {QMessageBox::No, mb::No}, {QMessageBox::Cancel, mb::Cancel}},
        {{QMessageBox::Yes, mb::Yes}, {QMessageBox::No, mb::No}},
        {{QMessageBox::Retry, 4}, {QMessageBox::Cancel, mb::Cancel}},
    };
    const int set = flags & 0x0F;
    return set < 6 ? sets[set] : sets[0];
}

QMessageBox::Icon iconOf(int flags) {
    switch (flags & 0xF0) {
        case mb::Critical:
            return QMessageBox::Critical;
        case mb::Question:
            return QMessageBox::Question;
        case mb::Exclamation:
            return QMessageBox::Warning;
        case mb::Information:
            return QMessageBox::Information;
        default:
            return QMessageBox::NoIcon;
    }
}

}  // namespace

int QtMessageBoxes::show(const QString& text, int flags, const QString& title) {
    showQtTextsInLanguage();
    QWidget* over = QApplication::activeModalWidget();
    if (over == nullptr)
        over = QApplication::activeWindow();
    QMessageBox box(iconOf(flags), title.isNull() ? kDefaultTitle : title, text, QMessageBox::NoButton, over);
    box.setTextFormat(Qt::PlainText);
    const std::vector<Button>& buttons = buttonsOf(flags);
    for (const Button& b : buttons)
        box.addButton(b.button);
    const std::size_t preferred = static_cast<std::size_t>((flags >> 8) & 0x0F);
    const Button& byDefault = buttons[preferred < buttons.size() ? preferred : 0];
    box.setDefaultButton(byDefault.button);
    // Esc answers Cancel where there is one, and OK when it stands alone.
    for (const Button& b : buttons)
        if (b.button == QMessageBox::Cancel || buttons.size() == 1)
            box.setEscapeButton(b.button);
    box.exec();
    const QMessageBox::StandardButton pressed = box.standardButton(box.clickedButton());
    for (const Button& b : buttons)
        if (b.button == pressed)
            return b.answer;
    return byDefault.answer;
}

void QtMessageBoxes::beep() {
    QApplication::beep();
}

}  // namespace paramcor::ui
