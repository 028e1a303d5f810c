#include "units/UnitRows.h"

#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <QStringList>

namespace paramcor::units {
namespace {

struct DefaultRow {
    const char* key;
    const char* text;
};

// The metric defaults, the same in every language.
constexpr DefaultRow kMetricRows[] = {
    {"01_SYS", "0"},           {"02_VAL", "€   euro"},    {"03_LIN", "m   1000"},
    {"04_SUP", "m²  1000000"}, {"05_VOL", "kg  1000000"},
};

QByteArray insertSql() {
    QStringList values{"'PARAM'", "?1"};
    for (int n = 1; n <= texts::kLanguages; ++n)
        values << "?2";
    values << "?3"
           << "?3"
           << "'TTTTTTTTTTTTTTT'"
           << "0"
           << "' '"
           << "'020'";
    return ("INSERT INTO Testi(" + texts::columnNames().join(", ") + ") VALUES(" + values.join(", ") + ")").toUtf8();
}

}  // namespace

void ControllaValori(const QString& DB) {
    SqlDatabase db(DB, SqlDatabase::Mode::ReadWrite);
    addMissingRows(db);
}

void addMissingRows(SqlDatabase& db) {
    const auto present = [&db] { return db.prepare("SELECT 1 FROM Testi WHERE Programma = 'PARAM' LIMIT 1").step(); };
    // Rows that exist are not checked one by one, and a program that finds them
    // takes no lock: most starts only read.
    if (present())
        return;
    // Programs starting together on a new database must not both add the rows: the
    // check and the additions hold the write lock together. Rows added before a
    // failure are kept all the same.
    db.exec("BEGIN IMMEDIATE");
    try {
        if (!present()) {
            const QString today = texts::today();
            SqlStatement insert = db.prepare(insertSql().constData());
            for (const DefaultRow& row : kMetricRows)
                insert.bind(1, QString::fromLatin1(row.key)).bind(2, QString::fromUtf8(row.text)).bind(3, today).run();
        }
    } catch (const TextDatabaseError&) {
        db.exec("COMMIT");
        throw;
    }
    db.exec("COMMIT");
}

}  // namespace paramcor::units
