// The text database as the tool opens it: the library's layout and SQLite wrapper,
// with failures told as the tool tells them, naming the file.
#pragma once

#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <QString>
#include <QTemporaryDir>

#include <memory>

namespace paramcor::tool {

class Session;

using texts::kLanguages;
using texts::languageColumn;

class TextFile {
public:
    enum class Mode { ReadOnly, ReadWrite };

    // Opens a text database; a file that is not one is refused before SQLite
    // touches it.
    TextFile(const QString& path, Mode mode);

    const QString& path() const { return path_; }
    SqlStatement prepare(const char* sql);
    void exec(const char* sql);

    // Refuses a table Testi without the key columns and the column of `language`.
    void requireLanguage(int language);

    // Makes a new, empty text database at `path`, which must not exist yet; the file
    // appears whole or not at all.
    static void create(const QString& path);

private:
    QString path_;
    std::unique_ptr<QTemporaryDir> copyFolder_;  // outlives db_
    SqlDatabase db_;
};

// The user's text database of the installation: CvlTradU.mdb in the folder "Testi",
// or the file of --file.
QString textFilePath(Session& session, const QString& given);

}  // namespace paramcor::tool
