// The text database as the tool opens it: straight with SQLite, every value a bound
// parameter. Its layout is the suite's: table Testi, one row per text and one column
// per language, and table Versione.
#pragma once

#include <CVLParamcor/Languages.h>

#include <QString>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

namespace paramcor::tool {

class Session;

constexpr int kLanguages = kLanguageColumns;

// "TESTO_01" for Italian, "Testo_02" ... "Testo_15".
QString languageColumn(int language);

class Statement {
public:
    Statement(sqlite3* db, const char* sql, const QString& file);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int index, const QString& text);
    Statement& bind(int index, qint64 number);
    bool step();  // true while there is a row
    void run();   // steps to the end and resets
    void reset();
    QString text(int column) const;  // NULL reads as empty
    qint64 integer(int column) const;

private:
    sqlite3* db_;
    sqlite3_stmt* statement_ = nullptr;
    QString file_;
};

class TextFile {
public:
    enum class Mode { ReadOnly, ReadWrite };

    // Opens a text database; a file that is not one is refused before SQLite
    // touches it.
    TextFile(const QString& path, Mode mode);
    ~TextFile();
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;

    const QString& path() const { return path_; }
    std::unique_ptr<Statement> prepare(const char* sql);
    void exec(const char* sql);

    // Refuses a table Testi without the key columns and the column of `language`.
    void requireLanguage(int language);

    // Makes a new, empty text database at `path`, which must not exist yet; the file
    // appears whole or not at all.
    static void create(const QString& path);

private:
    struct Closer {
        void operator()(sqlite3* db) const;
    };
    QString path_;
    std::unique_ptr<sqlite3, Closer> db_;
};

// The user's text database of the installation: CvlTradU.mdb in the folder "Testi",
// or the file of --file.
QString textFilePath(Session& session, const QString& given);

}  // namespace paramcor::tool
