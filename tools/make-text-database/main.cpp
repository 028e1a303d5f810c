// Builds a text database from its reviewable form, a UTF-8 CSV file whose header
// names the columns it gives (Programma, Progressivo, Testo_01 ... Testo_15,
// Commento, ...). Used by the build for the sample texts.
//
//     make-text-database TEXTS.csv OUT.mdb [YYYYMMDD]
//
// Columns the file leaves out take: both dates the given day (today when omitted),
// Tradotti a T for each language with a text and an F for the others,
// ModificatoDalCliente false, the rest empty.
#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <QFile>
#include <QFileInfo>
#include <QDir>
#include <QStringList>

#include <cstdio>
#include <optional>

using namespace paramcor;

namespace {

// One record of RFC 4180 CSV from `text` at `at`; `line` counts the lines read.
std::optional<QStringList> readRecord(const QString& text, qsizetype& at, int& line, QString& error) {
    QStringList fields;
    QString field;
    bool quoted = false;
    bool wasQuoted = false;
    const int startLine = line;
    while (at < text.size()) {
        const QChar c = text.at(at++);
        if (quoted) {
            if (c == u'"' && at < text.size() && text.at(at) == u'"') {
                field += u'"';
                ++at;
            } else if (c == u'"') {
                quoted = false;
            } else {
                if (c == u'\n')
                    ++line;
                field += c;
            }
        } else if (c == u'"' && field.isEmpty() && !wasQuoted) {
            quoted = wasQuoted = true;
        } else if (c == u',') {
            fields << field;
            field.clear();
            wasQuoted = false;
        } else if (c == u'\n' || c == u'\r') {
            if (c == u'\r' && at < text.size() && text.at(at) == u'\n')
                ++at;
            ++line;
            fields << field;
            return fields;
        } else if (wasQuoted) {
            error = QStringLiteral("line %1: text after a closing quote").arg(line);
            return std::nullopt;
        } else {
            field += c;
        }
    }
    if (quoted) {
        error = QStringLiteral("line %1: a quoted field is not closed").arg(startLine);
        return std::nullopt;
    }
    fields << field;
    return fields;
}

int fail(const QString& message) {
    std::fprintf(stderr, "make-text-database: %s\n", qUtf8Printable(message));
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4)
        return fail("usage: make-text-database TEXTS.csv OUT.mdb [YYYYMMDD]");
    const QString csvPath = QString::fromLocal8Bit(argv[1]);
    const QString outPath = QString::fromLocal8Bit(argv[2]);
    const QString date = argc == 4 ? QString::fromLatin1(argv[3]) : texts::today();

    QFile csv(csvPath);
    if (!csv.open(QIODevice::ReadOnly))
        return fail(csvPath + ": " + csv.errorString());
    const QString text = QString::fromUtf8(csv.readAll());

    qsizetype at = 0;
    int line = 1;
    QString error;
    const auto header = readRecord(text, at, line, error);
    if (!header)
        return fail(csvPath + ": " + error);
    QList<int> columnOf;  // layout column of each CSV field
    for (const QString& name : *header) {
        int column = -1;
        for (int c = 0; c < texts::kColumns; ++c)
            if (texts::columnNames().at(c).compare(name.trimmed(), Qt::CaseInsensitive) == 0)
                column = c;
        if (column < 0)
            return fail(QStringLiteral("%1: line 1: unknown column %2").arg(csvPath, name));
        columnOf << column;
    }

    const QString partial = outPath + ".partial";
    QFile::remove(partial);
    QDir().mkpath(QFileInfo(outPath).path());
    try {
        SqlDatabase db(partial, SqlDatabase::Mode::Create);
        texts::createLayout(db);
        SqlTransaction transaction(db);
        QStringList marks;
        for (int i = 1; i <= texts::kColumns; ++i)
            marks << QStringLiteral("?%1").arg(i);
        SqlStatement insert =
            db.prepare(("INSERT INTO Testi(" + texts::columnNames().join(", ") + ") VALUES(" + marks.join(", ") + ")")
                           .toUtf8()
                           .constData());
        int rows = 0;
        while (at < text.size()) {
            const int recordLine = line;
            const auto record = readRecord(text, at, line, error);
            if (!record)
                return fail(csvPath + ": " + error);
            if (record->size() == 1 && record->first().isEmpty())
                continue;  // a blank line
            if (record->size() != header->size())
                return fail(QStringLiteral("%1: line %2: %3 fields where the header has %4")
                                .arg(csvPath)
                                .arg(recordLine)
                                .arg(record->size())
                                .arg(header->size()));
            QVariantList row(texts::kColumns, QVariant(QString("")));
            row[17] = date;
            row[18] = date;
            row[20] = 0;
            for (qsizetype i = 0; i < record->size(); ++i)
                row[columnOf[i]] = record->at(i);
            QString translated;
            for (int n = 1; n <= texts::kLanguages; ++n)
                translated += row[texts::kFirstLanguageColumn + n - 1].toString().isEmpty() ? u'F' : u'T';
            if (!columnOf.contains(texts::kTradottiColumn))
                row[texts::kTradottiColumn] = translated;
            for (int c = 0; c < texts::kColumns; ++c)
                insert.bind(c + 1, row[c]);
            try {
                insert.run();
            } catch (const TextDatabaseError& e) {
                return fail(QStringLiteral("%1: line %2: %3").arg(csvPath).arg(recordLine).arg(e.message()));
            }
            ++rows;
        }
        transaction.commit();
        std::printf("%s: %d texts\n", qUtf8Printable(outPath), rows);
    } catch (const TextDatabaseError& e) {
        QFile::remove(partial);
        return fail(outPath + ": " + e.message());
    }
    QFile::remove(outPath);
    if (!QFile::rename(partial, outPath))
        return fail(outPath + ": cannot be written");
    return 0;
}
