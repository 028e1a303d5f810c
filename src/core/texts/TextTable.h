// The layout of the text database: table Testi, one row per text and one column
// per language, its two indexes, and table Versione with the format version.
#pragma once

#include "base/SqlDatabase.h"

#include <CVLParamcor/Languages.h>

#include <QString>
#include <QStringList>

#include <optional>

namespace paramcor::texts {

constexpr int kLanguages = kLanguageColumns;
constexpr int kColumns = 23;
constexpr int kFirstLanguageColumn = 2;  // TESTO_01; language n is at n + 1
constexpr int kTradottiColumn = 19;
constexpr int kDataModificaColumn = 18;
constexpr int kModificatoColumn = 20;
inline const QString kFormatVersion = QStringLiteral("6.0.0");

// The 23 column names in their order.
const QStringList& columnNames();

// The column of language n (1 to 15): "TESTO_01", "Testo_02" ...
QString languageColumn(int language);

// The conditions of the lookups by Italian wording and by key, with their first
// parameter number. They compare without regard to case whatever collation a file
// declares for its columns, so that the indexes TestiK2 and TestiK1 serve them.
QString wordingIs(int parameter);
QString keyIs(int firstParameter);

// Creates the tables, indexes and version row in an empty database.
void createLayout(SqlDatabase& db);

// Why a file cannot be used as a text database; empty when it can. Looks at the
// file's first bytes before any engine touches it, so that a file of another kind
// is never changed; a journal left beside a text database is rolled back when the
// file may be written.
QString unusableReason(const QString& path);

// The same, in two steps for a caller that goes on with the file: the checks made
// before any engine touches it, then the opening, which leaves `problem` empty and
// the database open only when the file holds the text table.
QString unusableFileReason(const QString& path);
std::optional<SqlDatabase> openTextTable(const QString& path, SqlDatabase::Mode mode, QString& problem);

// Whether this process may write the file and so roll back a journal left in it.
bool mayRollBack(const QString& path);

// Whether a program that died while writing the file left a journal that this
// process may not roll back: until someone who may does, nothing reads the file.
bool waitsForRollback(const QString& path);

// Copies the file and the journal left beside it into `folder` and rolls the
// journal back there: the texts as last committed, for a process that may not roll
// back the file itself. Empty when no such copy can be made.
QString lastCommittedCopy(const QString& path, const QString& folder);

// Whether Testi has exactly the 23 columns of the layout, by name.
bool hasTheLayoutColumns(SqlDatabase& db);

// The format version in the first row of Versione; empty when there is none.
QString formatVersion(SqlDatabase& db);

// Today as the text database writes dates.
QString today();

}  // namespace paramcor::texts
