// The currency window: what it hands back, and when it refuses to close.
#include "WindowTesting.h"
#include "units/ui/FormValuta.h"

#include <QLineEdit>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::child;

TEST(CurrencyWindow, HandsBackATrimmedUpperCasedCurrencyOnlyWhenBothAreGiven) {
    test::WindowInstallation installation;
    installation.setLanguage(2);
    Parametri par;
    {
        ui::FormValuta form(par);
        form.show();
        auto* symbol = child<QLineEdit>(&form, "txtSimbolo");
        auto* name = child<QLineEdit>(&form, "txtDesc");
        QTest::keyClicks(name, "   ");
        QTest::keyClick(name, Qt::Key_Return);  // no symbol yet: Enter does nothing
        EXPECT_TRUE(installation.platform().messages().empty());
        QTest::keyClicks(symbol, "  chf ");
        test::clickToolbarButton(&form, "Conferma");  // a blank name
        EXPECT_TRUE(form.isVisible());
        EXPECT_FALSE(form.currency());
        ASSERT_EQ(installation.platform().messages().size(), 1u);
        EXPECT_EQ(installation.platform().messages()[0].text, "Warning: Fill in everything !!" + QString(15, u' '));
        EXPECT_EQ(installation.platform().messages()[0].flags, mb::OkOnly);
        EXPECT_EQ(installation.platform().messages()[0].title, "Currency");
        QTest::keyClicks(name, " franco svizzero  ");
        QTest::keyClick(symbol, Qt::Key_Return);
        EXPECT_EQ(form.result(), QDialog::Accepted);
        ASSERT_TRUE(form.currency());
        EXPECT_EQ(form.currency()->symbol, "CHF");
        EXPECT_EQ(form.currency()->name, "FRANCO SVIZZERO");
    }
    for (const bool byKey : {true, false}) {
        test::onNextModal([byKey](QWidget* form) {
            QTest::keyClicks(child<QLineEdit>(form, "txtSimbolo"), "CHF");
            QTest::keyClicks(child<QLineEdit>(form, "txtDesc"), "Franco");
            if (byKey)
                QTest::keyClick(child<QLineEdit>(form, "txtDesc"), Qt::Key_Escape);
            else
                test::clickToolbarButton(form, "Esci");
        });
        EXPECT_FALSE(ui::FormValuta::ask(par)) << byKey;
    }
}

}  // namespace
}  // namespace paramcor
