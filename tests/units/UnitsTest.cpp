// The unit settings rows of the text database, and the units window's logic:
// defaults, checks, worked examples with their fixed-width quotients, loading and
// saving.
#include "base/SqlDatabase.h"
#include "support/TestPlatform.h"
#include "texts/TextTable.h"
#include "units/NumberMask.h"
#include "units/UnitRows.h"
#include "units/UnitSettings.h"

#include <CVLParamcor/Parametri.h>

#include <QDate>
#include <QFile>

#include <gtest/gtest.h>

#include <stdexcept>

namespace paramcor {
namespace {

// Each PARAM row: key, the 15 languages, then creation, change, translated, comment,
// search keys and the customer's correction.
std::vector<QStringList> unitRows(const QString& path) {
    SqlDatabase db(path, SqlDatabase::Mode::ReadOnly);
    QString sql = "SELECT Progressivo";
    for (int n = 1; n <= 15; ++n)
        sql += ", " + texts::languageColumn(n);
    sql += ", DataCreazione, DataModifica, Tradotti, Commento, ChiaviRicerca, ModificatoDalCliente "
           "FROM Testi WHERE Programma = 'PARAM' ORDER BY Progressivo";
    auto select = db.prepare(sql.toUtf8().constData());
    std::vector<QStringList> rows;
    while (select.step()) {
        rows.emplace_back();
        for (int c = 0; c < 22; ++c)
            rows.back() << select.text(c);
    }
    return rows;
}

TEST(ControllaValori, AddsTheFiveMetricRowsOnlyToADatabaseWithoutAnyAndReportsFailures) {
    test::TestPlatform platform;
    Parametri par;
    const QString db = platform.folder() + "/units.mdb";
    test::createTextDatabase(db);
    par.ControllaValori(db);
    par.ControllaValori(db);  // nothing more the second time
    const auto rows = unitRows(db);
    ASSERT_EQ(rows.size(), 5u);
    const char* const expected[][2] = {{"01_SYS", "0"}, {"02_VAL", "€   euro"}, {"03_LIN", "m   1000"},
                                       {"04_SUP", "m²  1000000"}, {"05_VOL", "kg  1000000"}};
    const QString today = QDate::currentDate().toString("yyyyMMdd");
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i], QStringList(expected[i][0]) + QStringList(15, QString::fromUtf8(expected[i][1])) +
                               QStringList({today, today, "TTTTTTTTTTTTTTT", " ", "020", "0"}));

    // One PARAM row is enough to leave the database alone.
    const QString partial = platform.folder() + "/partial.mdb";
    test::createTextDatabase(partial);
    SqlDatabase(partial, SqlDatabase::Mode::ReadWrite)
        .exec("INSERT INTO Testi(Programma, Progressivo, TESTO_01) VALUES('PARAM', '01_SYS', '2')");
    par.ControllaValori(partial);
    EXPECT_EQ(unitRows(partial).size(), 1u);

    // Database failures reach the caller.
    EXPECT_THROW(par.ControllaValori(platform.folder() + "/missing.mdb"), TextDatabaseError);
    const QString other = platform.folder() + "/other.mdb";
    SqlDatabase(other, SqlDatabase::Mode::Create).exec("CREATE TABLE Clienti(Nome TEXT)");
    EXPECT_THROW(par.ControllaValori(other), TextDatabaseError);
}

const units::Translate kItalian = [](const QString& wording) { return wording; };

using Entries = units::UnitEntries;
const QString kUsd = "$   = USD";

struct Worked {
    units::UnitEntries entries;
    QChar decimal;
    std::array<QString, 3> lines;
};

TEST(UnitEntries, DefaultsAndExamplesWorkedOutWithTheFactorsAndSymbols) {
    EXPECT_THROW(units::systemDefaults(3), std::out_of_range);

    const auto metric = units::defaultExamples(0, kItalian);
    EXPECT_EQ(metric[1], "    3.200 mm  ==>     3.200/1.000     = 3,20 m  ");
    EXPECT_EQ(metric[3], QString::fromUtf8("2.000.000 mm³ ==> 2.000.000/1.000.000 = 2,00 dm³ * Peso Specifico = kg"));
    const auto inches = units::defaultExamples(2, kItalian);
    EXPECT_EQ(inches[0], "Digitazione misure  --> pollici");
    EXPECT_EQ(inches[3], QString::fromUtf8(" 9,504 pollici³  ==>    9,504/1,728   = 5.5 piedi³ * Peso Specifico = peso"));
    const QString m2 = QString::fromUtf8("m²");
    const Worked cases[] = {
        {Entries{0, kUsd, {"m", m2, "kg"}, {" 2,5 ", "2", "3"}}, u',',
         {"    3.200 mm  ==>     3.200/2,5    = 1280 m", QString::fromUtf8("6.500.000 mm² ==> 6.500.000/2 = 3.250.000 m²"),
          QString::fromUtf8("2.000.000 mm³ ==> 2.000.000/3  = (666.666,667) * Peso Specifico= kg")}},
        {Entries{1, kUsd, {"yd", QString::fromUtf8("yd²"), "lb"}, {"36", "1296", "1728"}}, u'.',
         {"   180 pollici   ==>       180/36     = 5 yd",
          QString::fromUtf8(" 1,440 pollici²  ==>     1,440/1296    = 1.111 yd²"),
          QString::fromUtf8(" 9,504 pollici³  ==>     9,504/1728   = 5.5) * Peso Specifico= lb")}},
    };
    for (const Worked& c : cases) {
        const auto lines = units::workedExamples(c.entries, c.decimal, kItalian);
        EXPECT_EQ(QStringList(lines.begin(), lines.end()), QStringList(c.lines.begin(), c.lines.end()));
    }
    EXPECT_THROW(units::workedExamples(Entries{0, kUsd, {"m", "m", "m"}, {"1", "0", "1"}}, u'.', kItalian),
                 std::domain_error);
    EXPECT_THROW(units::workedExamples(Entries{0, kUsd, {"m", "m", "m"}, {"1", "1", "1O0"}}, u'.', kItalian),
                 std::invalid_argument);
}

TEST(UnitEntries, WhatTheBoxesTakeAndWhatMustBeFilledIn) {
    const std::tuple<bool, QChar, QChar, bool> keys[] = {  // factor box, typed, decimal separator, refused
        {true, u'.', u',', true},   {true, u',', u',', false},  {true, u'0', u'.', false},   {true, u'9', u'.', false},
        {true, u'/', u'.', true},   {true, u':', u'.', true},   {true, u'a', u'.', true},
        {true, u' ', u'.', false},  {true, u'\b', u'.', false}, {false, u'a', u'.', false}, {false, u'\'', u'.', true}};
    for (const auto& [factorBox, typed, decimal, refused] : keys)
        EXPECT_EQ(units::refusesCharacter(factorBox, typed, decimal), refused) << factorBox << QString(typed).toStdString();

    const std::tuple<const char*, QChar, std::optional<double>> factors[] = {
        {"1,5", u',', 1.5}, {"1.5", u',', std::nullopt}, {"4 5", u'.', 45}, {".", u'.', std::nullopt},
        {"+.5", u'.', 0.5}, {"", u'.', std::nullopt}, {"1e3", u'.', std::nullopt}};
    for (const auto& [text, decimal, value] : factors)
        EXPECT_EQ(units::factorValue(text, decimal), value) << text;

    const QString factor = "Fattore di Conversione", symbol = "Simbolo";
    const std::pair<units::UnitEntries, QString> checks[] = {
        {Entries{0, kUsd, {"m", "m", "m"}, {"1", "1", "1"}}, ""},
        {Entries{0, kUsd, {"m", "m", "m"}, {"0", "1", "1"}}, factor},
        {Entries{0, kUsd, {"m", "m", "m"}, {"1", "1", "."}}, factor},
        {Entries{0, kUsd, {"   ", "m", "m"}, {"1", "1", "1"}}, symbol},
        {Entries{0, kUsd, {"", "m", "m"}, {"1", "1", "0"}}, factor},  // a factor before a symbol
        {Entries{0, "  ", {"m", "m", "m"}, {"1", "1", "1"}}, "Valuta"},
    };
    for (const auto& [e, missing] : checks)
        EXPECT_EQ(units::missingEntry(e, u'.'), missing);

    const auto rows = units::rowValues(Entries{2, "SWFR= FRANCO", {"yd", "ft", "tonne"}, {"36", "144", "1000000"}});
    EXPECT_EQ(QStringList(rows.begin(), rows.end()), QStringList({"2", "SWFRFRANCO", "yd  36", "ft  144", "tonn1000000"}));
    EXPECT_EQ(units::currencyEntry(QString::fromUtf8("€"), "euro"), QString::fromUtf8("€   = EURO"));
}

class UnitSettingsFile : public ::testing::Test {
protected:
    void SetUp() override {
        test::createTextDatabase(db);
        units::ControllaValori(db);
    }
    void write(const QString& key, const QString& value, const std::vector<int>& languages) {
        SqlDatabase writer(db, SqlDatabase::Mode::ReadWrite);
        for (const int n : languages)
            writer.prepare(("UPDATE Testi SET " + texts::languageColumn(n) + " = ?1 WHERE Progressivo = ?2").toUtf8())
                .bind(1, value)
                .bind(2, key)
                .run();
    }

    test::TestPlatform platform;
    const QString db = platform.folder() + "/units.mdb";
    const QString today = QDate::currentDate().toString("yyyyMMdd");
};

TEST_F(UnitSettingsFile, LoadsOneLanguageAndListsTheCurrenciesOfAll) {
    write("03_LIN", "yd  36", {2});
    write("02_VAL", " $   usd ", {2, 4});
    write("02_VAL", QString::fromUtf8("£   POUND"), {3});
    write("02_VAL", "$   USD", {5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
    units::UnitSettings settings(db, 2);
    EXPECT_EQ(settings.values()[units::Linear], "yd  36");
    EXPECT_EQ(settings.currency(), "$   USD");
    EXPECT_EQ(settings.currencyList(),
              (QStringList{QString::fromUtf8("€   = EURO"), "$   = USD", QString::fromUtf8("£   = POUND")}));

    SqlDatabase writer(db, SqlDatabase::Mode::ReadWrite);
    for (int k = 6; k <= 12; ++k)  // more rows than the window has places for
        writer.exec(QStringLiteral("INSERT INTO Testi(Programma, Progressivo) VALUES('PARAM', '%1_X')").arg(k, 2).toUtf8());
    EXPECT_THROW(units::UnitSettings(db, 1), std::out_of_range);
    EXPECT_THROW(units::UnitSettings(platform.folder() + "/missing.mdb", 1), TextDatabaseError);
}

TEST_F(UnitSettingsFile, SavesEveryLanguageOrOneAndANewCurrency) {
    const std::array<QString, 5> imperial{"1", QString::fromUtf8("£   POUND"), "ft  12", QString::fromUtf8("ft² 144"),
                                          "lb  1728"};
    units::UnitSettings(db, 1).save(imperial, true);
    const auto metric = units::rowValues(units::systemDefaults(0));
    units::UnitSettings(db, 3).save(metric, false);
    auto rows = unitRows(db);
    for (int k = 0; k < 5; ++k) {
        EXPECT_EQ(rows[k][17], today);
        EXPECT_EQ(rows[k].mid(19, 2), QStringList({" ", " "}));  // comment and search keys
        for (int n = 0; n < 15; ++n)
            EXPECT_EQ(rows[k][n + 1], n == 2 ? metric[k] : imperial[k]) << k << ' ' << n;
    }

    units::UnitSettings(db, 3).saveCurrency("SWFR", "FRANCO");
    rows = unitRows(db);
    EXPECT_EQ(rows[1][3], "SWFRFRANCO");
    EXPECT_EQ(rows[1][2], imperial[1]);
}

struct Formatted {
    double value;
    QChar decimal;
    const char* text;
};

TEST(NumberMask, RoundsGroupsAndRightAlignsAndRefusesMalformedMasks) {
    const Formatted cases[] = {
        {15, u'.', "          15"},          {5.5, u'.', "         5.5"},        {3.2, u',', "         3,2"},
        {1.0 / 3, u'.', "       0.333"},     {2.0 / 3, u',', "       0,667"},    {0.0005, u'.', "       0.001"},
        {0.0004, u'.', "           0"},      {-0.0004, u'.', "           0"},    {-2.5, u'.', "        -2.5"},
        {1440, u'.', "        1440"},        {12500, u'.', "      12,500"},      {3250000, u',', "   3.250.000"},
        {666666.6667, u',', " 666.666,667"}, {999999.999, u'.', " 999,999.999"}, {1e8, u'.', " 100,000,000"},
        {9999999.999, u'.', "************"}, {1e11, u'.', "************"},
    };
    for (const Formatted& c : cases)
        EXPECT_EQ(units::formatNumber(c.value, "12.3.4", c.decimal, c.decimal == u'.' ? u',' : u'.'),
                  QString::fromLatin1(c.text))
            << c.value;

    EXPECT_EQ(units::formatNumber(1234.5678, "8.2.3", u'.', u','), "1,234.57");
    EXPECT_EQ(units::formatNumber(2.5, "4.0.9", u'.', u','), "   3");
    EXPECT_EQ(units::formatNumber(123456, "5.0.9", u'.', u','), "*****");
    EXPECT_EQ(units::formatNumber(7, "1.0.9", u'.', u','), "7");
    for (const char* mask : {"12.3", "12.x.4", "12.3.x", "0.3.4", "", "12.3.4.5"})
        EXPECT_THROW(units::parseNumberMask(mask), std::invalid_argument) << mask;
}

}  // namespace
}  // namespace paramcor
