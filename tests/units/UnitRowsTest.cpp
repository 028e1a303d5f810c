// The unit settings rows of the text database.
#include "support/TestPlatform.h"
#include "texts/SqlDatabase.h"
#include "texts/TextTable.h"

#include <CVLParamcor/Parametri.h>

#include <QDate>
#include <QFile>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

struct UnitRow {
    QString key;
    QStringList languages;
    QString created, changed, translated, comment, searchKeys;
    qint64 corrected;
};

std::vector<UnitRow> unitRows(const QString& path) {
    SqlDatabase db(path, SqlDatabase::Mode::ReadOnly);
    QString sql = "SELECT Progressivo";
    for (int n = 1; n <= 15; ++n)
        sql += ", " + texts::languageColumn(n);
    sql +=
        ", DataCreazione, DataModifica, Tradotti, Commento, ChiaviRicerca, ModificatoDalCliente "
        "FROM Testi WHERE Programma = 'PARAM' ORDER BY Progressivo";
    auto select = db.prepare(sql.toUtf8().constData());
    std::vector<UnitRow> rows;
    while (select.step()) {
        UnitRow row;
        row.key = select.text(0);
        for (int n = 1; n <= 15; ++n)
            row.languages << select.text(n);
        row.created = select.text(16);
        row.changed = select.text(17);
        row.translated = select.text(18);
        row.comment = select.text(19);
        row.searchKeys = select.text(20);
        row.corrected = select.integer(21);
        rows.push_back(row);
    }
    return rows;
}

TEST(ControllaValori, AddsTheFiveMetricRowsOnlyToADatabaseWithoutAny) {
    test::TestPlatform platform;
    Parametri par;
    const QString db = platform.folder() + "/units.mdb";
    test::createTextDatabase(db);
    par.ControllaValori(db);
    par.ControllaValori(db);  // nothing more the second time
    const auto rows = unitRows(db);
    ASSERT_EQ(rows.size(), 5u);
    const std::pair<QString, QString> expected[] = {{"01_SYS", "0"},
                                                    {"02_VAL", QString::fromUtf8("€   euro")},
                                                    {"03_LIN", "m   1000"},
                                                    {"04_SUP", QString::fromUtf8("m²  1000000")},
                                                    {"05_VOL", "kg  1000000"}};
    const QString today = QDate::currentDate().toString("yyyyMMdd");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].key, expected[i].first);
        EXPECT_EQ(rows[i].languages, QStringList(15, expected[i].second));
        EXPECT_EQ(rows[i].created, today);
        EXPECT_EQ(rows[i].changed, today);
        EXPECT_EQ(rows[i].translated, "TTTTTTTTTTTTTTT");
        EXPECT_EQ(rows[i].comment, " ");
        EXPECT_EQ(rows[i].searchKeys, "020");
        EXPECT_EQ(rows[i].corrected, 0);
    }

    // One PARAM row is enough to leave the database alone.
    const QString partial = platform.folder() + "/partial.mdb";
    test::createTextDatabase(partial);
    {
        SqlDatabase writer(partial, SqlDatabase::Mode::ReadWrite);
        writer.exec("INSERT INTO Testi(Programma, Progressivo, TESTO_01) VALUES('PARAM', '01_SYS', '2')");
    }
    par.ControllaValori(partial);
    ASSERT_EQ(unitRows(partial).size(), 1u);
    EXPECT_EQ(unitRows(partial)[0].languages[0], "2");
}

TEST(ControllaValori, DatabaseFailuresReachTheCaller) {
    test::TestPlatform platform;
    Parametri par;
    EXPECT_THROW(par.ControllaValori(platform.folder() + "/missing.mdb"), TextDatabaseError);
    const QString other = platform.folder() + "/other.mdb";
    {
        SqlDatabase db(other, SqlDatabase::Mode::Create);
        db.exec("CREATE TABLE Clienti(Nome TEXT)");
    }
    try {
        par.ControllaValori(other);
        FAIL() << "no error";
    } catch (const TextDatabaseError& error) {
        EXPECT_NE(error.code(), 0);
        EXPECT_TRUE(error.message().contains("Testi")) << error.message().toStdString();
    }
}

}  // namespace
}  // namespace paramcor
