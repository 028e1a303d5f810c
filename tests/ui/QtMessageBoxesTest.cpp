// The message boxes of a program with windows, and how they and the dialogs get
// installed.
#include "WindowTesting.h"
#include "ui/QtMessageBoxes.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::onNextModal;

struct BoxCase {
    int flags;
    std::vector<QMessageBox::StandardButton> buttons;  // as the flags list them
    QMessageBox::Icon icon;
    QMessageBox::StandardButton byDefault;
    QMessageBox::StandardButton pressed;
    int answer;
};

TEST(QtMessageBoxes, ShowTheButtonsIconAndDefaultOfTheFlagsAndAnswerTheButtonPressed) {
    using B = QMessageBox;
    const BoxCase cases[] = {
        {mb::OkOnly, {B::Ok}, B::NoIcon, B::Ok, B::Ok, mb::Ok},
        {1 | mb::Critical, {B::Ok, B::Cancel}, B::Critical, B::Ok, B::Cancel, mb::Cancel},
        {1 | mb::DefaultButton2, {B::Ok, B::Cancel}, B::NoIcon, B::Cancel, B::Ok, mb::Ok},
        {2 | mb::Exclamation, {B::Abort, B::Retry, B::Ignore}, B::Warning, B::Abort, B::Ignore, 5},
        {3 | 512, {B::Yes, B::No, B::Cancel}, B::NoIcon, B::Cancel, B::No, mb::No},
        {mb::YesNo | mb::Question, {B::Yes, B::No}, B::Question, B::Yes, B::Yes, mb::Yes},
        {mb::YesNo | mb::Question | mb::DefaultButton2, {B::Yes, B::No}, B::Question, B::No, B::No, mb::No},
        {5 | mb::Information, {B::Retry, B::Cancel}, B::Information, B::Retry, B::Retry, 4},
    };
    ui::QtMessageBoxes boxes;
    for (const BoxCase& c : cases) {
        SCOPED_TRACE(c.flags);
        bool seen = false;
        onNextModal([&](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            ASSERT_NE(box, nullptr);
            seen = true;
            EXPECT_EQ(box->text(), "Riga 1\nRiga 2");
            EXPECT_EQ(box->windowTitle(), "Titolo");
            EXPECT_EQ(box->icon(), c.icon);
            QMessageBox::StandardButtons expected;
            for (const auto b : c.buttons)
                expected |= b;
            EXPECT_EQ(box->standardButtons(), expected);
            EXPECT_EQ(static_cast<QAbstractButton*>(box->defaultButton()), box->button(c.byDefault));
            QTest::mouseClick(box->button(c.pressed), Qt::LeftButton);
        });
        EXPECT_EQ(boxes.show("Riga 1\nRiga 2", c.flags, "Titolo"), c.answer);
        EXPECT_TRUE(seen);
    }
}

// Enter and Esc answer as the system's box does; a null title is the library's;
// the text is shown as written, never as markup.
TEST(QtMessageBoxes, KeysTitleAndTextAsTheSystemBoxHasThem) {
    const struct {
        const char* text;
        int flags;
        QString title;
        Qt::Key key;
        int answer;
        const char* shownTitle;
    } cases[] = {
        {"<b>a & b</b>", mb::Information, QString(), Qt::Key_Escape, mb::Ok, "CVLParamcor"},
        {"Annullabile", 1, "", Qt::Key_Escape, mb::Cancel, ""},
        {"Domanda", mb::YesNo | mb::Question | mb::DefaultButton2, "Titolo", Qt::Key_Return, mb::No, "Titolo"},
        {"Domanda", mb::YesNo | mb::Question, "Titolo", Qt::Key_Return, mb::Yes, "Titolo"},
    };
    ui::QtMessageBoxes boxes;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        QString title;
        QString text;
        onNextModal([&](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            ASSERT_NE(box, nullptr);
            EXPECT_EQ(box->textFormat(), Qt::PlainText);
            title = box->windowTitle();
            text = box->text();
            QTest::keyClick(box, c.key);
        });
        EXPECT_EQ(boxes.show(c.text, c.flags, c.title), c.answer);
        EXPECT_EQ(title, c.shownTitle);
        EXPECT_EQ(text, c.text);
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

// A program that links the windows and has a QApplication gets them through the
// default platform, with nothing to install.
TEST(Windows, AreThePlatformsDefaultsInAProgramWithAQApplication) {
    test::WindowInstallation installation;
    Platform p;  // the store and folder only: messages and windows are the defaults
    p.registry = platform().registry;
    p.libraryFolder = installation.folder();
    installPlatform(p);

    QString boxClass;
    QString title;
    onNextModal([&](QWidget* box) {
        boxClass = box->metaObject()->className();
        title = box->windowTitle();
        QTest::keyClick(box, Qt::Key_Escape);
    });
    EXPECT_EQ(platform().messages->show("Avviso", mb::Information, QString()), mb::Ok);
    EXPECT_EQ(boxClass, "QMessageBox");
    EXPECT_EQ(title, "CVLParamcor");

    {
        Parametri par;
        QString form;
        onNextModal([&](QWidget* window) {
            form = window->objectName();
            QTest::mouseClick(test::child<QAbstractButton>(window, "Option1_1"), Qt::LeftButton);
            QTest::mouseClick(test::child<QAbstractButton>(window, "Command1"), Qt::LeftButton);
        });
        EXPECT_TRUE(par.CambiaLingua());
        EXPECT_EQ(form, "FormLingua");
        EXPECT_EQ(par.Lingua(), 2);
    }
}

}  // namespace
}  // namespace paramcor
