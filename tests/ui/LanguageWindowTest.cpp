// The message boxes of a program with windows and how they get installed, and the
// language window wired to its choice: the options and their look, confirming and
// leaving, the units button, the globe, and the message boxes that follow the
// language chosen.
#include "WindowTesting.h"
#include "base/SqlDatabase.h"
#include "texts/ui/FormLingua.h"
#include "ui/QtMessageBoxes.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::onNextModal;
using test::child;

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

// Opens the window through CambiaLingua and runs `user` on it.
bool changeLanguage(Parametri& par, const std::function<void(QWidget*)>& user) {
    bool opened = false;
    onNextModal([&](QWidget* window) { opened = true, user(window); });
    const bool changed = par.CambiaLingua();
    EXPECT_TRUE(opened);
    return changed;
}
void click(QWidget* window, const char* name) {
    QTest::mouseClick(child<QAbstractButton>(window, name), Qt::LeftButton);
}
// The text of the Yes button of the next message box: no program loads Qt's
// translations, so the standard buttons must follow the suite's language.
QString yesButton() {
    QString text;
    onNextModal([&](QWidget* box) {
        auto* yes = qobject_cast<QMessageBox*>(box)->button(QMessageBox::Yes);
        text = yes->text().remove(u'&');
        yes->click();
    });
    EXPECT_EQ(ui::QtMessageBoxes().show(QStringLiteral("?"), mb::YesNo | mb::Question, QString()), mb::Yes);
    return text;
}

TEST(LanguageWindow, OpensOnTheCurrentLanguageStoresWhatIsConfirmedAndOpensTheUnitsWindow) {
    test::WindowInstallation installation;
    ASSERT_TRUE(QDir().mkpath(installation.textsFolder() + "3"));
    ASSERT_TRUE(QFile(installation.textsFolder() + "3/Leggimi.txt").open(QIODevice::WriteOnly));
    installation.setLanguage(1);
    Parametri par;
    EXPECT_EQ(yesButton(), QStringLiteral("Sì"));
    EXPECT_TRUE(changeLanguage(par, [&](QWidget* window) {
        const QPoint offset = window->frameGeometry().center() - window->screen()->availableGeometry().center();
        EXPECT_LE(offset.manhattanLength(), 2);
        for (int i = 0; i < 12; ++i) {
            auto* option = child<ui::LanguageOption>(window, QStringLiteral("Option1_%1").arg(i));
            EXPECT_EQ(option->raised(), i == 2) << i;
            EXPECT_EQ(option->isChecked(), i == 0) << i;
        }
        // The globe turns through sixteen different pictures while the window is open.
        EXPECT_TRUE(child<QTimer>(window, "Timer1")->isActive());
        std::vector<QImage> frames;
        for (int tick = 0; tick < 17; ++tick, qobject_cast<ui::FormLingua*>(window)->showNextGlobeFrame())
            frames.push_back(child<QLabel>(window, "picMondo")->pixmap().toImage());
        for (int k = 1; k < 16; ++k)
            EXPECT_NE(frames[k], frames[k - 1]) << "frame " << k << " is shown twice";
        EXPECT_EQ(frames[16], frames[0]);

        onNextModal([&](QWidget* over) {
            EXPECT_TRUE(over->objectName() == "FormMisure" && over->parentWidget() == window);
            QTest::keyClick(over, Qt::Key_Escape);
        });
        click(window, "cmdMisure");
        EXPECT_TRUE(window->isVisible());
        click(window, "Option1_2");
        click(window, "Command1");
    }));
    EXPECT_EQ(Parametri().Lingua(), 3);
    EXPECT_EQ(yesButton(), QStringLiteral("Ja"));

    const std::function<void(QWidget*)> leaving[] = {
        [](QWidget* w) { click(w, "Option1_0"), click(w, "Command2"); },
        [](QWidget* w) { click(w, "Option1_0"), click(w, "Option1_2"), click(w, "Command1"); },
    };
    for (const auto& user : leaving)
        EXPECT_FALSE(changeLanguage(par, user));

    // A units window that cannot load closes the language window too, with nothing changed.
    SqlDatabase(installation.textDatabase(), SqlDatabase::Mode::ReadWrite).exec("DELETE FROM Testi WHERE Progressivo = '03_LIN'");
    onNextModal([](QWidget* window) { click(window, "Option1_1"), click(window, "cmdMisure"); });
    EXPECT_THROW(par.CambiaLingua(), std::invalid_argument);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_EQ(par.Lingua(), 3);
}

}  // namespace
}  // namespace paramcor
