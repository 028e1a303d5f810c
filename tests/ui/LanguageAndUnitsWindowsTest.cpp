// The message boxes of a program with windows and how they get installed; the
// language window wired to its choice: the options and their look, confirming and
// leaving, the units button, the globe, and the message boxes that follow the
// language chosen; the units window and the currency window it opens: their
// controls reach the unit settings, confirming saves them and leaving saves nothing.
#include "WindowTesting.h"
#include "base/SqlDatabase.h"
#include "ui/texts/FormLingua.h"
#include "ui/common/QtMessageBoxes.h"
#include "units/UnitSettings.h"
#include "ui/units/FormMisure.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::child;
using test::onNextModal;

// Clicks near the left edge, where an option button has its circle and caption.
void click(QWidget* form, const QString& name) {
    QAbstractButton* button = child<QAbstractButton>(form, name);
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
}

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
        onNextModal([&](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            ASSERT_NE(box, nullptr);
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
    }
}

// Linking the library is all it takes, even where the linker drops the libraries
// a program calls nothing of.
TEST(Windows, AreInstalledInAProgramThatOnlyLinksThem) {
    QProcess client;  // on the offscreen platform, as this program
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
    SqlDatabase(installation.textDatabase(), SqlDatabase::Mode::ReadWrite)
        .exec("DELETE FROM Testi WHERE Progressivo = '03_LIN'");
    onNextModal([](QWidget* window) { click(window, "Option1_1"), click(window, "cmdMisure"); });
    EXPECT_THROW(par.CambiaLingua(), std::invalid_argument);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_EQ(par.Lingua(), 3);
}

QLineEdit* box(QWidget* form, int n) {
    return child<QLineEdit>(form, QStringLiteral("txtMisure_%1").arg(n));
}
QString boxes(QWidget* form) {
    QStringList texts;
    for (int n = 1; n <= 6; ++n)
        texts << box(form, n)->text();
    return texts.join(u'|');
}
void retype(QLineEdit* edit, const QString& text) {
    QTest::keyClick(edit, Qt::Key_End);
    for (qsizetype i = edit->text().size(); i > 0; --i)
        QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClicks(edit, text);
}

TEST(UnitsWindow, ShowsTheStoredSettingsChecksAndConfirms) {
    test::WindowInstallation installation;
    { Parametri creating; }  // the unit rows, with their metric defaults
    auto& boxes_ = installation.platform().boxes();
    installation.setLanguage(2);
    const QString db = installation.textDatabase();
    SqlDatabase(db, SqlDatabase::Mode::ReadWrite)
        .exec("UPDATE Testi SET Testo_02 = 'yd  36' WHERE Progressivo = '03_LIN'");
    const QByteArray before = test::fileBytes(db);
    {
        ui::FormMisure form;
        form.show();
        EXPECT_EQ(boxes(&form), QString::fromUtf8("yd|36|m²|1000000|kg|1000000"));
        EXPECT_FALSE(child<QAction>(&form, "Conferma")->isEnabled());
        retype(box(&form, 2), "4'5x");  // a factor box refuses what is no digit
        EXPECT_EQ(box(&form, 2)->text(), "45");
        QTest::keyClick(box(&form, 2), Qt::Key_Escape);
        EXPECT_EQ(form.result(), QDialog::Rejected);
    }
    EXPECT_EQ(test::fileBytes(db), before);

    ui::FormMisure form;
    test::activate(&form);
    click(&form, "optSistema_2");
    EXPECT_EQ(boxes(&form), QString::fromUtf8("ft|12|ft²|144|lb|1728"));
    // Each caption on the level of its boxes, the symbol before the factor.
    for (int row = 0; row <= 3; ++row) {
        const QRect c = child<QLabel>(&form, qPrintable(QString("lblMisure_%1").arg(row)))->geometry();
        const QRect first = row == 0 ? child<QComboBox>(&form, "cboValuta")->geometry() : box(&form, 2 * row - 1)->geometry();
        EXPECT_TRUE(c.right() < first.x() && std::abs(c.center().y() - first.center().y()) < first.height() / 2 &&
                    (row == 0 || first.right() < box(&form, 2 * row)->x())) << row;
    }
    // Leaving a box works the examples out again; typing alone does not.
    const QString example = child<QLabel>(&form, "lblEsempio_1")->text();
    box(&form, 2)->setFocus();
    retype(box(&form, 2), "36");
    EXPECT_EQ(child<QLabel>(&form, "lblEsempio_1")->text(), example);
    QTest::keyClick(box(&form, 2), Qt::Key_Tab);
    EXPECT_EQ(child<QLabel>(&form, "lblEsempio_1")->text(), "   180 inches   ==>       180/36     = 5 ft");
    boxes_.answers = {mb::Yes};
    click(&form, "cmdDefault_2");
    EXPECT_EQ(box(&form, 2)->text(), "12");

    // The currency window: leaving changes nothing; it takes a currency only
    // with both its symbol and its name.
    auto* currency = child<QComboBox>(&form, "cboValuta");
    test::onNextModal([](QWidget* window) { test::clickToolbarButton(window, "Esci"); });
    click(&form, "cmdValuta");
    EXPECT_EQ(currency->currentText(), "$   = USD");
    test::onNextModal([&](QWidget* window) {
        QTest::keyClicks(child<QLineEdit>(window, "txtSimbolo"), " swfrs ");
        test::clickToolbarButton(window, "Conferma");
        EXPECT_TRUE(window->isVisible());
        EXPECT_EQ(boxes_.messages.back().text, "Warning: Fill in everything !!" + QString(15, u' '));
        QTest::keyClicks(child<QLineEdit>(window, "txtDesc"), " franco ");
        test::clickToolbarButton(window, "Conferma");
    });
    click(&form, "cmdValuta");
    EXPECT_EQ(currency->currentText(), "SWFR= FRANCO");

    retype(box(&form, 5), "");
    test::clickToolbarButton(&form, "Conferma");
    EXPECT_TRUE(form.isVisible());
    EXPECT_EQ(boxes_.messages.back().text, "Enter  ==>  Sign!!");
    retype(box(&form, 5), "tonne");
    QTest::keyClick(box(&form, 5), Qt::Key_Return);
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_EQ(boxes_.messages.back().text, "Applied to every language !!");
    for (int language = 1; language <= 15; ++language) {
        const auto saved = units::UnitSettings(db, language).values();
        EXPECT_EQ(saved[units::Currency] + '|' + saved[units::Volume], "SWFRFRANCO|tonn1728") << language;
    }
}

}  // namespace
}  // namespace paramcor
