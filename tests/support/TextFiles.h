// Text databases made and read by tests, through SQL of their own.
#pragma once

#include <QString>

#include <vector>

namespace paramcor::test {

struct TextRow {
    QString programma;
    QString progressivo;
    QString italiano;
    QString inglese;
    QString dataModifica = "20260101";
    bool corretto = false;  // ModificatoDalCliente
    QString tedesco = {};
    bool operator==(const TextRow&) const = default;
};

// A text database with these rows; `version` empty leaves Versione without a row.
void writeTextFile(const QString& path, const std::vector<TextRow>& rows, const QString& version = "6.0.0");

// Declares the file's table again as other tools make it: plain TEXT columns, and
// the case-insensitive comparison in the indexes only.
void redeclarePlain(const QString& path);

// Rows of a text database, ordered by key; the unit rows (PARAM) left out.
std::vector<TextRow> readTextFile(const QString& path);

// Writes a file whole, replacing it.
void writeFile(const QString& path, const QByteArray& bytes);

// A file's bytes, to show that something was left exactly as it was.
QByteArray fileBytes(const QString& path);

}  // namespace paramcor::test
