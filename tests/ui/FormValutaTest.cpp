// The currency window: what it hands back, and when it refuses to close.
#include "WindowTesting.h"
#include "units/ui/FormValuta.h"

#include <QLabel>
#include <QLineEdit>
#include <QToolBar>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::child;

class CurrencyWindow : public ::testing::Test {
protected:
    static QLineEdit* symbol(QWidget* form) { return child<QLineEdit>(form, "txtSimbolo"); }
    static QLineEdit* name(QWidget* form) { return child<QLineEdit>(form, "txtDesc"); }

    test::WindowInstallation installation;
};

TEST_F(CurrencyWindow, HandsBackTheSymbolAndNameTrimmedAndUpperCased) {
    Parametri par;
    ui::FormValuta form(par);
    form.show();
    EXPECT_EQ(symbol(&form)->text(), "");
    EXPECT_EQ(name(&form)->text(), "");
    EXPECT_FALSE(test::toolbarButtonEnabled(&form, "Conferma"));
    QTest::keyClicks(symbol(&form), "  chf ");
    EXPECT_TRUE(test::toolbarButtonEnabled(&form, "Conferma"));
    QTest::keyClicks(name(&form), " franco svizzero  ");
    test::clickToolbarButton(&form, "Conferma");
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_EQ(ui::NuovoSimbolo, "CHF");
    EXPECT_EQ(ui::NuovaDescrizione, "FRANCO SVIZZERO");
    EXPECT_TRUE(installation.platform().messages().empty());
}

TEST_F(CurrencyWindow, EnterConfirmsOnlyOnceASymbolHasBeenTyped) {
    Parametri par;
    ui::FormValuta form(par);
    form.show();
    QTest::keyClicks(name(&form), "Dollaro");
    QTest::keyClick(name(&form), Qt::Key_Return);
    EXPECT_TRUE(form.isVisible());
    EXPECT_TRUE(installation.platform().messages().empty());
    QTest::keyClicks(symbol(&form), "usd");
    QTest::keyClick(symbol(&form), Qt::Key_Return);
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_EQ(ui::NuovoSimbolo, "USD");
    EXPECT_EQ(ui::NuovaDescrizione, "DOLLARO");
}

TEST_F(CurrencyWindow, ABlankSymbolOrNameIsReportedAndTheWindowStaysOpen) {
    for (const short language : {1, 2}) {
        SCOPED_TRACE(language);
        installation.setLanguage(language);
        installation.platform().boxes().messages.clear();
        Parametri par;
        ui::FormValuta form(par);
        form.show();
        QTest::keyClicks(symbol(&form), "CHF");
        QTest::keyClicks(name(&form), "   ");
        test::clickToolbarButton(&form, "Conferma");
        for (int i = 0; i < 3; ++i)
            QTest::keyClick(symbol(&form), Qt::Key_Backspace);
        QTest::keyClicks(symbol(&form), "  ");
        QTest::keyClicks(name(&form), "Franco");
        QTest::keyClick(&form, Qt::Key_Return);

        EXPECT_TRUE(form.isVisible());
        EXPECT_EQ(ui::NuovoSimbolo, "");
        const QString expected = (language == 1 ? QStringLiteral("Attenzione: Inserire tutti i dati")
                                                : QStringLiteral("Warning: Fill in everything")) +
                                 " !!" + QString(15, u' ');
        const auto& messages = installation.platform().messages();
        ASSERT_EQ(messages.size(), 2u);
        for (const auto& m : messages) {
            EXPECT_EQ(m.text, expected);
            EXPECT_EQ(m.flags, mb::OkOnly);
            EXPECT_EQ(m.title, language == 1 ? "Valuta" : "Currency");
        }
    }
}

TEST_F(CurrencyWindow, EscAndExitLeaveNoCurrency) {
    Parametri par;
    for (const bool byKey : {true, false}) {
        ui::NuovoSimbolo = "OLD";
        ui::NuovaDescrizione = "OLD";
        ui::FormValuta form(par);
        form.show();
        QTest::keyClicks(symbol(&form), "CHF");
        QTest::keyClicks(name(&form), "Franco");
        if (byKey)
            QTest::keyClick(name(&form), Qt::Key_Escape);
        else
            test::clickToolbarButton(&form, "Esci");
        EXPECT_EQ(form.result(), QDialog::Rejected);
        EXPECT_FALSE(form.isVisible());
        EXPECT_EQ(ui::NuovoSimbolo, "");
        EXPECT_EQ(ui::NuovaDescrizione, "");
    }
}

TEST_F(CurrencyWindow, CaptionsAndTooltipsAreInTheCurrentLanguage) {
    for (const short language : {2, 3}) {
        SCOPED_TRACE(language);
        installation.setLanguage(language);
        Parametri par;
        auto text = [language](const char* italian) { return test::windowText(QString::fromUtf8(italian), language); };
        ui::FormValuta form(par);
        EXPECT_EQ(form.windowTitle(), text("Valuta"));
        EXPECT_EQ(child<QLabel>(&form, "lblSimbolo")->text(), text("Simbolo"));
        EXPECT_EQ(child<QLabel>(&form, "lblDesc")->text(), text("Descrizione"));
        auto* toolbar = child<QToolBar>(&form, "tlbPulsanti");
        EXPECT_EQ(child<QAction>(toolbar, "Conferma")->toolTip(), text("Conferma"));
        EXPECT_EQ(child<QAction>(toolbar, "Esci")->toolTip(), text("Esci"));
    }
}

}  // namespace
}  // namespace paramcor
