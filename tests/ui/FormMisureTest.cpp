// The units window: its controls reach the unit settings, confirming saves them
// and leaving saves nothing.
#include "WindowTesting.h"
#include "units/ui/FormMisure.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
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
QString line(QWidget* form, int n) {
    return child<QLabel>(form, QStringLiteral("lblEsempio_%1").arg(n))->text();
}
QComboBox* currencies(QWidget* form) {
    return child<QComboBox>(form, "cboValuta");
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

TEST(UnitsWindow, ShowsTheStoredSettingsAndLeavingChangesNothing) {
    test::WindowInstallation installation;
    { Parametri creating; }  // the unit rows, with their metric defaults
    installation.setLanguage(2);
    const QString db = installation.textDatabase();
    test::writeUnitValue(db, "01_SYS", "1", {2});
    test::writeUnitValue(db, "03_LIN", "yd  36", {2});
    const QByteArray before = test::fileBytes(db);
    for (const char* how : {"Esc in a box", "Esci"}) {
        ui::FormMisure form;
        form.show();
        EXPECT_TRUE(child<QRadioButton>(&form, "optSistema_1")->isChecked());
        EXPECT_FALSE(child<QPushButton>(&form, "cmdDefault_0")->isEnabled());
        EXPECT_EQ(boxes(&form), QString::fromUtf8("yd|36|m²|1000000|kg|1000000"));
        EXPECT_EQ(currencies(&form)->currentText(), QString::fromUtf8("€   = EURO"));
        EXPECT_EQ(line(&form, 0), "Typing  --> inches");
        EXPECT_EQ(line(&form, 1), "   180 inches   ==>       180/36     = 5 yd");
        EXPECT_FALSE(test::toolbarButtonEnabled(&form, "Conferma"));
        retype(box(&form, 2), "4'5x");  // a factor box refuses what is no digit
        EXPECT_EQ(box(&form, 2)->text(), "45");
        EXPECT_TRUE(test::toolbarButtonEnabled(&form, "Conferma"));
        if (QString(how) == "Esci")
            test::clickToolbarButton(&form, "Esci");
        else
            QTest::keyClick(box(&form, 2), Qt::Key_Escape);
        EXPECT_EQ(form.result(), QDialog::Rejected) << how;
    }
    EXPECT_EQ(test::fileBytes(db), before);
    EXPECT_TRUE(installation.platform().messages().empty());

    // Rows the window cannot show keep it from opening.
    test::writeUnitValue(db, "03_LIN", "m   0", {2});
    EXPECT_THROW(ui::FormMisure form, std::domain_error);
    test::writeUnitValue(db, "01_SYS", "3", {2});
    EXPECT_THROW(ui::FormMisure form, std::out_of_range);
    for (const QWidget* window : QApplication::topLevelWidgets())
        EXPECT_NE(window->objectName(), "FormMisure");
}

TEST(UnitsWindow, DefaultsCurrencyChecksAndConfirming) {
    test::WindowInstallation installation;
    { Parametri creating; }
    auto& boxes_ = installation.platform().boxes();
    const QString db = installation.textDatabase();
    ui::FormMisure form;
    form.show();
    test::activate(&form);

    click(&form, "optSistema_2");
    EXPECT_EQ(form.Sistema(), 2);
    EXPECT_EQ(boxes(&form), QString::fromUtf8("ft|12|ft²|144|lb|1728"));
    EXPECT_EQ(currencies(&form)->currentText(), "$   = USD");
    EXPECT_EQ(line(&form, 1), "   180 pollici   ==>      180/12      = 15  ft");

    // Leaving a box works the examples out again.
    box(&form, 2)->setFocus();
    retype(box(&form, 2), "36");
    QTest::keyClick(box(&form, 2), Qt::Key_Tab);
    EXPECT_EQ(line(&form, 1), "   180 pollici   ==>       180/36     = 5 ft");

    boxes_.answers = {mb::No, mb::Yes};
    click(&form, "cmdDefault_2");
    EXPECT_EQ(box(&form, 2)->text(), "36");
    click(&form, "cmdDefault_2");
    EXPECT_EQ(box(&form, 2)->text(), "12");
    EXPECT_EQ(boxes_.messages[0].text, "Ripristino dati originali?");
    EXPECT_EQ(boxes_.messages[0].flags, mb::YesNo | mb::Question | mb::DefaultButton2);

    test::onNextModal([](QWidget* currency) {
        QTest::keyClicks(child<QLineEdit>(currency, "txtSimbolo"), " swfrs ");
        QTest::keyClicks(child<QLineEdit>(currency, "txtDesc"), " franco ");
        test::clickToolbarButton(currency, "Conferma");
    });
    click(&form, "cmdValuta");
    EXPECT_EQ(currencies(&form)->currentIndex(), 0);
    EXPECT_EQ(currencies(&form)->currentText(), "SWFR= FRANCO");
    EXPECT_EQ(test::readUnitRows(db)[1].languages[0], "SWFRFRANCO");

    retype(box(&form, 5), "");
    test::clickToolbarButton(&form, "Conferma");
    EXPECT_TRUE(form.isVisible());
    EXPECT_EQ(boxes_.messages.back().text, "Inserire  ==>  Simbolo!!");
    EXPECT_EQ(boxes_.messages.back().title, QString::fromUtf8("Unità di misura"));

    retype(box(&form, 5), "tonne");
    boxes_.messages.clear();
    QTest::keyClick(box(&form, 5), Qt::Key_Return);
    EXPECT_EQ(form.result(), QDialog::Accepted);
    ASSERT_EQ(boxes_.messages.size(), 1u);
    EXPECT_EQ(boxes_.messages[0].text, "Applico valori impostati a tutte le lingue !!");
    const auto rows = test::readUnitRows(db);
    EXPECT_EQ(rows[0].languages, QStringList(15, "2"));
    EXPECT_EQ(rows[1].languages, QStringList(15, "SWFRFRANCO"));
    EXPECT_EQ(rows[4].languages, QStringList(15, "tonn1728"));
}

}  // namespace
}  // namespace paramcor
