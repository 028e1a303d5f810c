#include "support/TextFiles.h"

#include "support/TestPlatform.h"
#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <QFile>

#include <gtest/gtest.h>

namespace paramcor::test {

void writeTextFile(const QString& path, const std::vector<TextRow>& rows, const QString& version) {
    QFile::remove(path);
    createTextDatabase(path);
    SqlDatabase db(path, SqlDatabase::Mode::ReadWrite);
    if (version != texts::kFormatVersion) {
        auto set = db.prepare(version.isEmpty() ? "DELETE FROM Versione" : "UPDATE Versione SET Versione = ?1");
        if (!version.isEmpty())
            set.bind(1, version);
        set.run();
    }
    SqlTransaction transaction(db);
    auto insert = db.prepare(
        "INSERT INTO Testi(Programma, Progressivo, TESTO_01, Testo_02, Testo_03, DataCreazione, DataModifica, "
        "Tradotti, ModificatoDalCliente, Commento, ChiaviRicerca) VALUES(?1, ?2, ?3, ?4, ?5, '20250101', ?6, "
        "'TTFFFFFFFFFFFFF', ?7, '', '')");
    for (const TextRow& r : rows)
        insert.bind(1, r.programma)
            .bind(2, r.progressivo)
            .bind(3, r.italiano)
            .bind(4, r.inglese)
            .bind(5, r.tedesco)
            .bind(6, r.dataModifica)
            .bind(7, qint64(r.corretto ? 1 : 0))
            .run();
    transaction.commit();
}

void redeclarePlain(const QString& path) {
    SqlDatabase db(path, SqlDatabase::Mode::ReadWrite);
    const QStringList columns = texts::columnNames();
    QStringList declared;
    for (const QString& column : columns)
        declared << column + (column == "ModificatoDalCliente" ? " INTEGER NOT NULL DEFAULT 0" : " TEXT");
    db.exec(("ALTER TABLE Testi RENAME TO Made; CREATE TABLE Testi(" + declared.join(", ") +
             "); INSERT INTO Testi SELECT " + columns.join(", ") +
             " FROM Made ORDER BY rowid; DROP TABLE Made; "
             "CREATE UNIQUE INDEX TestiK1 ON Testi(Programma COLLATE NOCASE, Progressivo COLLATE NOCASE); "
             "CREATE INDEX TestiK2 ON Testi(TESTO_01 COLLATE NOCASE);")
                .toUtf8()
                .constData());
}

std::vector<TextRow> readTextFile(const QString& path) {
    SqlDatabase db(path, SqlDatabase::Mode::ReadOnly);
    auto select = db.prepare(
        "SELECT Programma, Progressivo, TESTO_01, Testo_02, DataModifica, ModificatoDalCliente, Testo_03 "
        "FROM Testi WHERE Programma <> 'PARAM' ORDER BY Programma, Progressivo");
    std::vector<TextRow> rows;
    while (select.step())
        rows.push_back({select.text(0), select.text(1), select.text(2), select.text(3), select.text(4),
                        select.integer(5) != 0, select.text(6)});
    return rows;
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray fileBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace paramcor::test
