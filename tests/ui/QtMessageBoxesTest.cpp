// The message boxes of a program with windows, and how they get installed.
#include "WindowTesting.h"
#include "ui/QtMessageBoxes.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::onNextModal;

// The buttons, icon and default of the flags; the answer of the button pressed, or
// of Enter and Esc as the system's box has them; a null title is the library's;
// the text is shown as written, never as markup.
TEST(QtMessageBoxes, ShowWhatTheFlagsSayAndAnswerTheButtonPressed) {
    using B = QMessageBox;
    const struct {
        int flags;
        QMessageBox::StandardButtons buttons;
        QMessageBox::Icon icon;
        QMessageBox::StandardButton byDefault;
        QMessageBox::StandardButton pressed;  // NoButton: the key is pressed
        Qt::Key key;
        int answer;
    } cases[] = {
        {mb::OkOnly, B::Ok, B::NoIcon, B::Ok, B::Ok, {}, mb::Ok},
        {1 | mb::Critical, B::Ok | B::Cancel, B::Critical, B::Ok, B::Cancel, {}, mb::Cancel},
        {1 | mb::DefaultButton2, B::Ok | B::Cancel, B::NoIcon, B::Cancel, B::Ok, {}, mb::Ok},
        {2 | mb::Exclamation, B::Abort | B::Retry | B::Ignore, B::Warning, B::Abort, B::Ignore, {}, 5},
        {3 | 512, B::Yes | B::No | B::Cancel, B::NoIcon, B::Cancel, B::No, {}, mb::No},
        {5 | mb::Information, B::Retry | B::Cancel, B::Information, B::Retry, B::Retry, {}, 4},
        {mb::Information, B::Ok, B::Information, B::Ok, B::NoButton, Qt::Key_Escape, mb::Ok},
        {1, B::Ok | B::Cancel, B::NoIcon, B::Ok, B::NoButton, Qt::Key_Escape, mb::Cancel},
        {mb::YesNo | mb::Question | mb::DefaultButton2, B::Yes | B::No, B::Question, B::No, B::NoButton, Qt::Key_Return, mb::No},
        {mb::YesNo | mb::Question, B::Yes | B::No, B::Question, B::Yes, B::NoButton, Qt::Key_Return, mb::Yes},
    };
    ui::QtMessageBoxes boxes;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        const QString title = c.pressed == B::NoButton ? QString() : QStringLiteral("Titolo");
        bool seen = false;
        onNextModal([&](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            ASSERT_NE(box, nullptr);
            seen = true;
            EXPECT_EQ(box->text(), "<b>a & b</b>\nRiga 2");
            EXPECT_EQ(box->textFormat(), Qt::PlainText);
            EXPECT_EQ(box->windowTitle(), title.isNull() ? QStringLiteral("CVLParamcor") : title);
            EXPECT_EQ(box->icon(), c.icon);
            EXPECT_EQ(box->standardButtons(), c.buttons);
            EXPECT_EQ(static_cast<QAbstractButton*>(box->defaultButton()), box->button(c.byDefault));
            if (c.pressed == B::NoButton)
                QTest::keyClick(box, c.key);
            else
                QTest::mouseClick(box->button(c.pressed), Qt::LeftButton);
        });
        EXPECT_EQ(boxes.show("<b>a & b</b>\nRiga 2", c.flags, title), c.answer);
        EXPECT_TRUE(seen);
    }
}

// Linking the library is all it takes, even where the linker drops the libraries
// a program calls nothing of.
TEST(Windows, AreInstalledInAProgramThatOnlyLinksThem) {
    QProcess client;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    client.setProcessEnvironment(environment);
    client.start(WINDOWS_CLIENT, {});
    ASSERT_TRUE(client.waitForFinished(60000));
    EXPECT_EQ(client.exitCode(), 0);
    EXPECT_EQ(client.readAllStandardOutput().trimmed(), "QMessageBox");
}

}  // namespace
}  // namespace paramcor
