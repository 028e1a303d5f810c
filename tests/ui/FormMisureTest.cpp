// The units window: what it loads, the unit systems and their defaults, the keys
// each box takes, the worked examples, the checks before confirming, and what it
// writes to the text database.
#include "WindowTesting.h"
#include "units/ui/FormMisure.h"

#include <QApplication>
#include <QComboBox>
#include <QDate>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QToolBar>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::child;
using test::onNextModal;

const QString kToday = QDate::currentDate().toString("yyyyMMdd");

class UnitsWindow : public ::testing::Test {
protected:
    void SetUp() override {
        Parametri creating;  // the unit rows, with their metric defaults
    }

    QString db() const { return installation.textDatabase(); }
    const std::vector<test::RecordedMessage>& messages() { return installation.platform().messages(); }

    void useDecimalSeparator(const QString& decimal) {
        Platform p = platform();
        p.separators = [decimal] { return Separators{decimal, decimal == "," ? "." : ","}; };
        installPlatform(p);
    }

    static QLineEdit* box(QWidget* form, int n) {
        return child<QLineEdit>(form, QStringLiteral("txtMisure_%1").arg(n));
    }
    static QString boxes(QWidget* form) {
        QStringList texts;
        for (int n = 1; n <= 6; ++n)
            texts << box(form, n)->text();
        return texts.join(u'|');
    }
    static QString line(QWidget* form, int n) {
        return child<QLabel>(form, QStringLiteral("lblEsempio_%1").arg(n))->text();
    }
    static QComboBox* currencies(QWidget* form) { return child<QComboBox>(form, "cboValuta"); }
    static QStringList entries(QWidget* form) {
        QStringList list;
        for (int i = 0; i < currencies(form)->count(); ++i)
            list << currencies(form)->itemText(i);
        return list;
    }
    // Clicks near the left edge, where an option button has its circle and caption.
    static void click(QWidget* form, const QString& name) {
        QAbstractButton* button = child<QAbstractButton>(form, name);
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
    }
    // What a user does to empty a box: to the end, then back over every character.
    static void erase(QLineEdit* edit) {
        QTest::keyClick(edit, Qt::Key_End);
        for (qsizetype i = edit->text().size(); i > 0; --i)
            QTest::keyClick(edit, Qt::Key_Backspace);
    }
    static void retype(QLineEdit* edit, const QString& text) {
        erase(edit);
        QTest::keyClicks(edit, text);
    }
    static std::vector<test::UnitRowTexts> allLanguages(const QStringList& values) {
        const char* keys[] = {"01_SYS", "02_VAL", "03_LIN", "04_SUP", "05_VOL"};
        std::vector<test::UnitRowTexts> rows;
        for (int k = 0; k < 5; ++k) {
            QStringList languages;
            for (int n = 0; n < 15; ++n)
                languages << values[k];
            rows.push_back({keys[k], languages, kToday, " ", " "});
        }
        return rows;
    }

    test::WindowInstallation installation;
};

TEST_F(UnitsWindow, LoadsTheValuesOfTheCurrentLanguageAndWorksTheExamplesOut) {
    installation.setLanguage(2);
    test::writeUnitValue(db(), "01_SYS", "1", {2});
    test::writeUnitValue(db(), "02_VAL", "£   pound", {2});
    test::writeUnitValue(db(), "03_LIN", "yd  36", {2});
    test::writeUnitValue(db(), "04_SUP", "yd² 1296", {2});
    test::writeUnitValue(db(), "05_VOL", "lb  1728", {2});

    ui::FormMisure form;
    form.show();
    EXPECT_FALSE(child<QRadioButton>(&form, "optSistema_0")->isChecked());
    EXPECT_TRUE(child<QRadioButton>(&form, "optSistema_1")->isChecked());
    EXPECT_FALSE(child<QRadioButton>(&form, "optSistema_2")->isChecked());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(child<QPushButton>(&form, QStringLiteral("cmdDefault_%1").arg(i))->isEnabled(), i == 1) << i;
    EXPECT_EQ(boxes(&form), QString::fromUtf8("yd|36|yd²|1296|lb|1728"));
    EXPECT_EQ(entries(&form), (QStringList{QString::fromUtf8("€   = EURO"), QString::fromUtf8("£   = POUND")}));
    EXPECT_EQ(currencies(&form)->currentText(), QString::fromUtf8("£   = POUND"));
    EXPECT_FALSE(test::toolbarButtonEnabled(&form, "Conferma"));
    EXPECT_TRUE(test::toolbarButtonEnabled(&form, "Esci"));

    EXPECT_EQ(line(&form, 0), "Typing  --> inches");
    EXPECT_EQ(line(&form, 1), "   180 inches   ==>       180/36     = 5 yd");
    EXPECT_EQ(line(&form, 2), QString::fromUtf8(" 1,440 inches²  ==>     1,440/1296    = 1.111 yd²"));
    EXPECT_EQ(line(&form, 3), QString::fromUtf8(" 9,504 inches³  ==>     9,504/1728   = 5.5) * Density= lb"));
    EXPECT_TRUE(messages().empty());
}

TEST_F(UnitsWindow, ChoosingTheUnitedStatesShowsTheirDefaultsAndEnablesOnlyTheirDefaultButton) {
    ui::FormMisure form;
    form.show();
    EXPECT_EQ(boxes(&form), QString::fromUtf8("m|1000|m²|1000000|kg|1000000"));
    EXPECT_EQ(line(&form, 1), "    3.200 mm  ==>     3.200/1000    = 3.2 m");
    EXPECT_EQ(line(&form, 3), QString::fromUtf8("2.000.000 mm³ ==> 2.000.000/1000000  = (2) * Peso Specifico= kg"));

    click(&form, "optSistema_2");
    EXPECT_EQ(form.Sistema(), 2);
    EXPECT_EQ(boxes(&form), QString::fromUtf8("ft|12|ft²|144|lb|1728"));
    EXPECT_EQ(currencies(&form)->currentText(), "$   = USD");
    EXPECT_EQ(currencies(&form)->currentIndex(), 0);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(child<QPushButton>(&form, QStringLiteral("cmdDefault_%1").arg(i))->isEnabled(), i == 2) << i;
    EXPECT_TRUE(test::toolbarButtonEnabled(&form, "Conferma"));
    EXPECT_EQ(line(&form, 0), "Digitazione misure  --> pollici");
    EXPECT_EQ(line(&form, 1), "   180 pollici   ==>      180/12      = 15  ft");
    EXPECT_EQ(line(&form, 2), QString::fromUtf8(" 1,440 pollici²  ==>    1,440/144     = 10  ft²"));
    EXPECT_EQ(line(&form, 3),
              QString::fromUtf8(" 9,504 pollici³  ==>    9,504/1,728   = 5.5 piedi³ * Peso Specifico = peso"));

    // Back to metric: the euro is found in the list, not added again.
    click(&form, "optSistema_0");
    EXPECT_EQ(boxes(&form), QString::fromUtf8("m|1000|m²|1000000|kg|1000000"));
    EXPECT_EQ(entries(&form), (QStringList{"$   = USD", QString::fromUtf8("€   = EURO")}));
    EXPECT_EQ(currencies(&form)->currentText(), QString::fromUtf8("€   = EURO"));
    EXPECT_EQ(line(&form, 1), "    3.200 mm  ==>     3.200/1.000     = 3,20 m  ");
}

struct KeyCase {
    QString separator;
    QString typed;
    QString kept;
};

TEST_F(UnitsWindow, FactorBoxesTakeDigitsBlanksAndTheWorkstationsDecimalSeparatorOnly) {
    const KeyCase cases[] = {
        {",", "1.5", "15"},  {",", "1,5", "1,5"},    {".", "1,5", "15"},
        {".", "1.5", "1.5"}, {",", "2a-b+3e", "23"}, {".", "4 5", "4 5"},
    };
    for (const KeyCase& c : cases) {
        SCOPED_TRACE((c.separator + " " + c.typed).toStdString());
        useDecimalSeparator(c.separator);
        ui::FormMisure form;
        form.show();
        for (const int n : {2, 4, 6}) {
            retype(box(&form, n), c.typed);
            EXPECT_EQ(box(&form, n)->text(), c.kept) << n;
        }
        // The symbol boxes take letters, signs and either separator.
        retype(box(&form, 1), c.typed);
        EXPECT_EQ(box(&form, 1)->text(), c.typed);
    }
}

TEST_F(UnitsWindow, ApostropheAndBarAreRefusedInEveryBox) {
    ui::FormMisure form;
    form.show();
    for (int n = 1; n <= 6; ++n) {
        retype(box(&form, n), "1'2|3");
        EXPECT_EQ(box(&form, n)->text(), "123") << n;
    }
    retype(box(&form, 3), QString::fromUtf8("m²'"));
    EXPECT_EQ(box(&form, 3)->text(), QString::fromUtf8("m²"));
}

TEST_F(UnitsWindow, ConfirmingWritesAllFifteenLanguagesOfAllFiveRows) {
    ui::FormMisure form;
    form.show();
    click(&form, "optSistema_2");
    retype(box(&form, 1), "yd");
    retype(box(&form, 2), "36");
    test::clickToolbarButton(&form, "Conferma");

    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_FALSE(form.isVisible());
    EXPECT_EQ(test::readUnitRows(db()),
              allLanguages({"2", "$   USD", "yd  36", QString::fromUtf8("ft² 144"), "lb  1728"}));
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0].text, "Applico valori impostati a tutte le lingue !!");
    EXPECT_EQ(messages()[0].flags, mb::Information);
    EXPECT_EQ(messages()[0].title, QString::fromUtf8("Unità di misura"));
}

TEST_F(UnitsWindow, ASymbolOfFiveCharactersIsStoredCutToFourAndEnterConfirms) {
    ui::FormMisure form;
    form.show();
    retype(box(&form, 5), "tonne");
    QTest::keyClick(box(&form, 5), Qt::Key_Return);
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_EQ(test::readUnitRows(db()), allLanguages({"0", QString::fromUtf8("€   EURO"), "m   1000",
                                                      QString::fromUtf8("m²  1000000"), "tonn1000000"}));
}

TEST_F(UnitsWindow, OnlyTheCurrentLanguageIsWrittenWhenTheMessageIsNotAnsweredOk) {
    installation.setLanguage(2);
    installation.platform().boxes().answers = {mb::Cancel};
    const auto before = test::readUnitRows(db());
    ui::FormMisure form;
    form.show();
    click(&form, "optSistema_1");
    test::clickToolbarButton(&form, "Conferma");

    const auto after = test::readUnitRows(db());
    const QStringList imperial{"1", QString::fromUtf8("£   POUND"), "ft  12", QString::fromUtf8("ft² 144"), "lb  1728"};
    ASSERT_EQ(after.size(), 5u);
    for (int k = 0; k < 5; ++k) {
        QStringList expected = before[k].languages;
        expected[1] = imperial[k];
        EXPECT_EQ(after[k].languages, expected) << k;
        EXPECT_EQ(after[k].changed, kToday);
    }
}

struct CheckCase {
    int box;
    QString text;
    QString message;
};

TEST_F(UnitsWindow, ConfirmingChecksFactorsThenSymbolsAndSaysWhatIsMissing) {
    const CheckCase cases[] = {
        {2, "0", "Inserire  ==>  Fattore di Conversione!!"},
        {4, "", "Inserire  ==>  Fattore di Conversione!!"},
        {6, "0.000", "Inserire  ==>  Fattore di Conversione!!"},
        {6, ".", "Inserire  ==>  Fattore di Conversione!!"},
        {1, "   ", "Inserire  ==>  Simbolo!!"},
        {5, "", "Inserire  ==>  Simbolo!!"},
    };
    const auto before = test::readUnitRows(db());
    for (const CheckCase& c : cases) {
        SCOPED_TRACE(c.box);
        installation.platform().boxes().messages.clear();
        ui::FormMisure form;
        form.show();
        retype(box(&form, c.box), c.text);
        test::clickToolbarButton(&form, "Conferma");
        ASSERT_EQ(messages().size(), 1u);
        EXPECT_EQ(messages()[0].text, c.message);
        EXPECT_EQ(messages()[0].flags, mb::OkOnly);
        EXPECT_EQ(messages()[0].title, QString::fromUtf8("Unità di misura"));
        EXPECT_TRUE(form.isVisible());
        EXPECT_EQ(test::readUnitRows(db()), before);
    }

    // A missing factor is reported before a missing symbol.
    installation.platform().boxes().messages.clear();
    ui::FormMisure form;
    form.show();
    retype(box(&form, 3), "");
    retype(box(&form, 6), "0");
    test::clickToolbarButton(&form, "Conferma");
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0].text, "Inserire  ==>  Fattore di Conversione!!");
}

TEST_F(UnitsWindow, EscAndExitLeaveEverythingUnchanged) {
    const QByteArray before = test::fileBytes(db());
    for (const char* how : {"Esc in a box", "Esc", "Esci"}) {
        SCOPED_TRACE(how);
        ui::FormMisure form;
        form.show();
        click(&form, "optSistema_1");
        retype(box(&form, 2), "99");
        if (QString(how) == "Esc in a box")
            QTest::keyClick(box(&form, 2), Qt::Key_Escape);
        else if (QString(how) == "Esc")
            QTest::keyClick(&form, Qt::Key_Escape);
        else
            test::clickToolbarButton(&form, "Esci");
        EXPECT_EQ(form.result(), QDialog::Rejected);
        EXPECT_FALSE(form.isVisible());
    }
    EXPECT_EQ(test::fileBytes(db()), before);
    EXPECT_TRUE(messages().empty());
}

TEST_F(UnitsWindow, LeavingABoxWorksTheExamplesOutAgainWhenEveryFactorAndSymbolIsThere) {
    useDecimalSeparator(",");
    ui::FormMisure form;
    form.show();
    test::activate(&form);
    box(&form, 2)->setFocus();
    retype(box(&form, 2), "2,5");
    QTest::keyClick(box(&form, 2), Qt::Key_Tab);
    EXPECT_EQ(line(&form, 1), "    3.200 mm  ==>     3.200/2,5    = 1280 m");

    box(&form, 4)->setFocus();
    retype(box(&form, 4), "2");
    QTest::keyClick(box(&form, 4), Qt::Key_Tab);
    EXPECT_EQ(line(&form, 2), QString::fromUtf8("6.500.000 mm² ==> 6.500.000/2 = 3.250.000 m²"));

    box(&form, 6)->setFocus();
    retype(box(&form, 6), "3");
    QTest::keyClick(box(&form, 6), Qt::Key_Tab);
    EXPECT_EQ(line(&form, 3), QString::fromUtf8("2.000.000 mm³ ==> 2.000.000/3  = (666.666,667) * Peso Specifico= kg"));

    // A zero factor or a blank symbol leaves the examples as they were.
    const QString shown = line(&form, 1);
    box(&form, 2)->setFocus();
    retype(box(&form, 2), "0");
    QTest::keyClick(box(&form, 2), Qt::Key_Tab);
    EXPECT_EQ(line(&form, 1), shown);
    box(&form, 1)->setFocus();
    erase(box(&form, 1));
    retype(box(&form, 2), "4");
    QTest::keyClick(box(&form, 1), Qt::Key_Tab);
    EXPECT_EQ(line(&form, 1), shown);
    EXPECT_FALSE(form.failure());
}

TEST_F(UnitsWindow, TheDefaultButtonAsksAndRestoresOnYesOnly) {
    ui::FormMisure form;
    form.show();
    retype(box(&form, 2), "5");
    installation.platform().boxes().answers = {mb::No, mb::Yes};
    click(&form, "cmdDefault_0");
    EXPECT_EQ(box(&form, 2)->text(), "5");
    click(&form, "cmdDefault_0");
    EXPECT_EQ(box(&form, 2)->text(), "1000");
    ASSERT_EQ(messages().size(), 2u);
    EXPECT_EQ(messages()[0].text, "Ripristino dati originali?");
    EXPECT_EQ(messages()[0].flags, mb::YesNo | mb::Question | mb::DefaultButton2);
    EXPECT_EQ(messages()[0].title, QString::fromUtf8("Unità di misura"));
}

TEST_F(UnitsWindow, ListsEachCurrencyOfTheFifteenLanguagesOnceInLanguageOrder) {
    test::writeUnitValue(db(), "02_VAL", QString::fromUtf8("€   EURO"), {2});
    test::writeUnitValue(db(), "02_VAL", " $   usd ", {3});
    test::writeUnitValue(db(), "02_VAL", QString::fromUtf8("£   POUND"), {4});
    test::writeUnitValue(db(), "02_VAL", "$   USD", {5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
    installation.setLanguage(3);
    ui::FormMisure form;
    form.show();
    EXPECT_EQ(entries(&form),
              (QStringList{QString::fromUtf8("€   = EURO"), "$   = USD", QString::fromUtf8("£   = POUND")}));
    EXPECT_EQ(currencies(&form)->currentText(), "$   = USD");
}

TEST_F(UnitsWindow, ANewCurrencyIsStoredForTheCurrentLanguageAndListedFirst) {
    installation.setLanguage(2);
    const auto before = test::readUnitRows(db());
    ui::FormMisure form;
    form.show();
    onNextModal([](QWidget* currency) {
        EXPECT_EQ(currency->objectName(), "FormValuta");
        QTest::keyClicks(child<QLineEdit>(currency, "txtSimbolo"), " swfrs ");
        QTest::keyClicks(child<QLineEdit>(currency, "txtDesc"), " franco ");
        test::clickToolbarButton(currency, "Conferma");
    });
    click(&form, "cmdValuta");

    EXPECT_EQ(currencies(&form)->currentIndex(), 0);
    EXPECT_EQ(currencies(&form)->currentText(), "SWFR= FRANCO");
    EXPECT_TRUE(test::toolbarButtonEnabled(&form, "Conferma"));
    const auto after = test::readUnitRows(db());
    QStringList expected = before[1].languages;
    expected[1] = "SWFRFRANCO";
    EXPECT_EQ(after[1].languages, expected);
    EXPECT_EQ(after[1].changed, kToday);
    EXPECT_EQ(after[1].comment, " ");
    EXPECT_EQ(after[1].searchKeys, " ");

    // A currency the list holds already is listed again, first.
    onNextModal([](QWidget* currency) {
        // A character beyond Latin-1, as a keyboard layout with the euro sends it.
        QTest::sendKeyEvent(QTest::Click, child<QLineEdit>(currency, "txtSimbolo"), Qt::Key_unknown,
                            QString::fromUtf8("€"), Qt::NoModifier);
        QTest::keyClicks(child<QLineEdit>(currency, "txtDesc"), "euro");
        QTest::keyClick(currency, Qt::Key_Return);
    });
    click(&form, "cmdValuta");
    EXPECT_EQ(entries(&form),
              (QStringList{QString::fromUtf8("€   = EURO"), "SWFR= FRANCO", QString::fromUtf8("€   = EURO")}));
    EXPECT_EQ(test::readUnitRows(db())[1].languages[1], QString::fromUtf8("€   EURO"));
}

TEST_F(UnitsWindow, LeavingTheCurrencyWindowChangesNothing) {
    const QByteArray before = test::fileBytes(db());
    ui::FormMisure form;
    form.show();
    const QStringList listed = entries(&form);
    for (const bool byKey : {true, false}) {
        onNextModal([byKey](QWidget* currency) {
            QTest::keyClicks(child<QLineEdit>(currency, "txtSimbolo"), "CHF");
            QTest::keyClicks(child<QLineEdit>(currency, "txtDesc"), "Franco");
            if (byKey)
                QTest::keyClick(currency, Qt::Key_Escape);
            else
                test::clickToolbarButton(currency, "Esci");
        });
        click(&form, "cmdValuta");
    }
    EXPECT_EQ(entries(&form), listed);
    EXPECT_FALSE(test::toolbarButtonEnabled(&form, "Conferma"));
    EXPECT_EQ(test::fileBytes(db()), before);
}

TEST_F(UnitsWindow, CannotLoadWithoutUsableRows) {
    {
        test::writeUnitValue(db(), "03_LIN", "m   0", {1});
        EXPECT_THROW(ui::FormMisure form, std::domain_error);
        test::writeUnitValue(db(), "03_LIN", "m   1O00", {1});
        EXPECT_THROW(ui::FormMisure form, std::invalid_argument);
        test::writeUnitValue(db(), "03_LIN", "m   1000", {1});
    }
    test::writeUnitValue(db(), "01_SYS", "3", {1});
    EXPECT_THROW(ui::FormMisure form, std::out_of_range);
    test::writeUnitValue(db(), "01_SYS", "0", {1});
    test::deleteUnitRows(db(), {"05_VOL"});
    EXPECT_THROW(ui::FormMisure form, std::invalid_argument);
    for (const QWidget* window : QApplication::topLevelWidgets())
        EXPECT_NE(window->objectName(), "FormMisure");
}

TEST_F(UnitsWindow, CaptionsAndTooltipsAreInTheCurrentLanguage) {
    for (const short language : {2, 3}) {
        SCOPED_TRACE(language);
        installation.setLanguage(language);
        auto text = [language](const char* italian) { return test::windowText(QString::fromUtf8(italian), language); };
        ui::FormMisure form;
        form.show();
        EXPECT_EQ(form.windowTitle(), text("Unità di misura"));
        EXPECT_EQ(child<QRadioButton>(&form, "optSistema_0")->text(), text("Sistema Metrico Decimale"));
        EXPECT_EQ(child<QRadioButton>(&form, "optSistema_1")->text(), text("Sistema Anglosassone"));
        EXPECT_EQ(child<QRadioButton>(&form, "optSistema_2")->text(), "USA");
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(child<QPushButton>(&form, QStringLiteral("cmdDefault_%1").arg(i))->text(), text("Default"));
        const char* rows[] = {"Valuta", "lineare", "superfici", "volume"};
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(child<QLabel>(&form, QStringLiteral("lblMisure_%1").arg(i))->text(), text(rows[i]));
        EXPECT_EQ(child<QLabel>(&form, "lblMisure_4")->text(), "(" + text("per calcolo peso") + ")");
        EXPECT_EQ(child<QLabel>(&form, "lblFattore")->text(), text("Fattore di Conversione"));
        EXPECT_EQ(child<QLabel>(&form, "lblSimbolo")->text(), text("Simbolo"));
        EXPECT_EQ(child<QGroupBox>(&form, "frmEsempio")->title(), text("Esempio"));
        auto* toolbar = child<QToolBar>(&form, "tlbPulsanti");
        EXPECT_EQ(child<QAction>(toolbar, "Conferma")->toolTip(), text("Conferma"));
        EXPECT_EQ(child<QAction>(toolbar, "Esci")->toolTip(), text("Esci"));
        EXPECT_EQ(line(&form, 0), text("Digitazione misure") + "  --> " + text("millimetri"));
        EXPECT_EQ(line(&form, 3),
                  QString::fromUtf8("2.000.000 mm³ ==> 2.000.000/1000000  = (2) * ") + text("Peso Specifico") + "= kg");

        installation.platform().boxes().messages.clear();
        retype(box(&form, 1), "");
        test::clickToolbarButton(&form, "Conferma");
        ASSERT_EQ(messages().size(), 1u);
        EXPECT_EQ(messages()[0].text, text("Inserire") + "  ==>  " + text("Simbolo") + "!!");
        EXPECT_EQ(messages()[0].title, text("Unità di misura"));
    }
}

}  // namespace
}  // namespace paramcor
