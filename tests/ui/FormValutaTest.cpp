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
    test::onNextModal([](QWidget* form) {
        QTest::keyClicks(child<QLineEdit>(form, "txtSimbolo"), "CHF");
        test::clickToolbarButton(form, "Esci");
    });
    EXPECT_FALSE(ui::FormValuta::ask(par));
    ui::FormValuta form(par);
    form.show();
    auto* symbol = child<QLineEdit>(&form, "txtSimbolo");
    QTest::keyClicks(symbol, "  chf ");
    test::clickToolbarButton(&form, "Conferma");  // no name yet
    EXPECT_TRUE(form.isVisible());
    ASSERT_EQ(installation.platform().messages().size(), 1u);
    EXPECT_EQ(installation.platform().messages()[0].text, "Warning: Fill in everything !!" + QString(15, u' '));
    EXPECT_EQ(installation.platform().messages()[0].title, "Currency");
    QTest::keyClicks(child<QLineEdit>(&form, "txtDesc"), " franco svizzero  ");
    QTest::keyClick(symbol, Qt::Key_Return);
    EXPECT_EQ(form.result(), QDialog::Accepted);
    ASSERT_TRUE(form.currency());
    EXPECT_EQ(form.currency()->symbol + '|' + form.currency()->name, "CHF|FRANCO SVIZZERO");
}

}  // namespace
}  // namespace paramcor
