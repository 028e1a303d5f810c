// The units window and the currency window it opens: their controls reach the
// unit settings, confirming saves them and leaving saves nothing.
#include "WindowTesting.h"
#include "base/SqlDatabase.h"
#include "units/UnitSettings.h"
#include "units/ui/FormMisure.h"

#include <QAbstractButton>
#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::child;

QLineEdit* box(QWidget* form, int n) {
    return child<QLineEdit>(form, QStringLiteral("txtMisure_%1").arg(n));
}
QString boxes(QWidget* form) {
    QStringList texts;
    for (int n = 1; n <= 6; ++n)
        texts << box(form, n)->text();
    return texts.join(u'|');
}
// Clicks near the left edge, where an option button has its circle and caption.
void click(QWidget* form, const QString& name) {
    QAbstractButton* button = child<QAbstractButton>(form, name);
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
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
    SqlDatabase(db, SqlDatabase::Mode::ReadWrite).exec("UPDATE Testi SET Testo_02 = 'yd  36' WHERE Progressivo = '03_LIN'");
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
    form.show();
    test::activate(&form);
    click(&form, "optSistema_2");
    EXPECT_EQ(boxes(&form), QString::fromUtf8("ft|12|ft²|144|lb|1728"));
    // Leaving a box works the examples out again.
    box(&form, 2)->setFocus();
    retype(box(&form, 2), "36");
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
