#include "texts/TextTable.h"

#include "texts/SharedFolderFiles.h"

#include <QDate>
#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

namespace paramcor::texts {

const QStringList& columnNames() {
    static const QStringList names = [] {
        QStringList list{"Programma", "Progressivo"};
        for (int n = 1; n <= kLanguages; ++n)
            list << languageColumn(n);
        list << "DataCreazione"
             << "DataModifica"
             << "Tradotti"
             << "ModificatoDalCliente"
             << "Commento"
             << "ChiaviRicerca";
        return list;
    }();
    return names;
}

QString languageColumn(int language) {
    return (language == 1 ? QStringLiteral("TESTO_") : QStringLiteral("Testo_")) +
           QStringLiteral("%1").arg(language, 2, 10, QLatin1Char('0'));
}

QString wordingIs(int parameter) {
    return QStringLiteral("TESTO_01 = ?%1 COLLATE NOCASE").arg(parameter);
}

QString keyIs(int firstParameter) {
    return QStringLiteral("Programma = ?%1 COLLATE NOCASE AND Progressivo = ?%2 COLLATE NOCASE")
        .arg(firstParameter)
        .arg(firstParameter + 1);
}

void createLayout(SqlDatabase& db) {
    // Keys and the Italian wording compare without regard to case, as the indexes
    // of the suite's original database engine did.
    QString sql = QStringLiteral(
        "CREATE TABLE Testi(Programma TEXT COLLATE NOCASE, Progressivo TEXT COLLATE NOCASE, "
        "TESTO_01 TEXT COLLATE NOCASE");
    for (int n = 2; n <= kLanguages; ++n)
        sql += QStringLiteral(", %1 TEXT").arg(languageColumn(n));
    sql += QStringLiteral(
        ", DataCreazione TEXT, DataModifica TEXT, Tradotti TEXT, "
        "ModificatoDalCliente INTEGER NOT NULL DEFAULT 0, Commento TEXT, ChiaviRicerca TEXT);"
        "CREATE UNIQUE INDEX TestiK1 ON Testi(Programma COLLATE NOCASE, Progressivo COLLATE NOCASE);"
        "CREATE INDEX TestiK2 ON Testi(TESTO_01 COLLATE NOCASE);"
        "CREATE TABLE Versione(Versione TEXT);");
    sql += QStringLiteral("INSERT INTO Versione VALUES('%1');").arg(kFormatVersion);
    db.exec(sql.toUtf8().constData());
}

bool mayRollBack(const QString& path) {
    const QFileInfo info(path);
    return (info.permissions() & (QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther)) && info.isWritable() &&
           QFileInfo(info.absolutePath()).isWritable();
}

bool waitsForRollback(const QString& path) {
    if (mayRollBack(path) || !QFileInfo::exists(path + QStringLiteral("-journal")))
        return false;
    try {
        SqlDatabase db(path, SqlDatabase::Mode::ReadOnly);
        db.prepare("SELECT count(*) FROM sqlite_master").step();
    } catch (const TextDatabaseError& error) {
        return error.code() == SQLITE_READONLY_ROLLBACK;
    }
    return false;
}

QString lastCommittedCopy(const QString& path, const QString& folder) {
    const QString copy = folder + QStringLiteral("/") + QFileInfo(path).fileName();
    const QString journal = QStringLiteral("-journal");
    if (!QFile::copy(path + journal, copy + journal) || !QFile::copy(path, copy))
        return QString();
    try {
        SqlDatabase rollBack(copy, SqlDatabase::Mode::ReadWrite);
        rollBack.prepare("SELECT count(*) FROM sqlite_master").step();
    } catch (const TextDatabaseError&) {
        return QString();
    }
    return QFile::exists(copy + journal) ? QString() : copy;
}

QString unusableFileReason(const QString& path) {
    // Checked before SQLite opens it, since SQLite follows a link and writes through it.
    const QString refused = refusedFileReason(path);
    if (!refused.isEmpty())
        return refused;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("the file cannot be read (%1)").arg(file.errorString());
    const QByteArray header = file.read(100);
    if (header.isEmpty())
        return QStringLiteral("the file is empty");
    if (header.mid(4, 15) == "Standard Jet DB" || header.mid(4, 15) == "Standard ACE DB")
        return QStringLiteral(
            "it is an Access database made on Windows; convert it to the new text database format first");
    if (!header.startsWith(QByteArrayLiteral("SQLite format 3\0")))
        return QStringLiteral("it is not a text database");
    return QString();
}

std::optional<SqlDatabase> openTextTable(const QString& path, SqlDatabase::Mode mode, QString& problem) {
    try {
        SqlDatabase db(path, mode);
        auto statement = db.prepare("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'Testi'");
        const bool holdsTexts = statement.step() && statement.integer(0) != 0;
        statement = SqlStatement();
        if (holdsTexts)
            return db;
        problem = QStringLiteral("it is a database of another program: it has no table Testi");
    } catch (const TextDatabaseError& error) {
        problem = QStringLiteral("it cannot be read as a database (%1)").arg(error.message());
    }
    return std::nullopt;
}

QString unusableReason(const QString& path) {
    QString problem = unusableFileReason(path);
    // A journal left by a program that died must be rolled back before anything
    // can be read, and only a connection that may write does that.
    if (problem.isEmpty())
        openTextTable(path, mayRollBack(path) ? SqlDatabase::Mode::ReadWrite : SqlDatabase::Mode::ReadOnly, problem);
    return problem;
}

bool hasTheLayoutColumns(SqlDatabase& db) {
    auto statement = db.prepare("SELECT name FROM pragma_table_info('Testi')");
    QStringList names;
    while (statement.step())
        names << statement.text(0).toUpper();
    if (names.size() != kColumns)
        return false;
    for (const QString& name : columnNames())
        if (!names.contains(name.toUpper()))
            return false;
    return true;
}

QString formatVersion(SqlDatabase& db) {
    try {
        auto statement = db.prepare("SELECT Versione FROM Versione LIMIT 1");
        return statement.step() ? statement.text(0) : QString();
    } catch (const TextDatabaseError&) {
        return QString();  // no table Versione: no version
    }
}

QString today() {
    return QDate::currentDate().toString(QStringLiteral("yyyyMMdd"));
}

}  // namespace paramcor::texts
