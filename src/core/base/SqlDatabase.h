// A thin RAII layer over the SQLite C API for the text database: connections and
// prepared statements with QString values, and failures as TextDatabaseError.
#pragma once

#include <CVLParamcor/TextDatabaseError.h>

#include <QString>
#include <QVariant>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

namespace paramcor {

class SqlStatement {
public:
    SqlStatement() = default;
    SqlStatement(sqlite3* db, const char* sql);  // throws TextDatabaseError
    SqlStatement(SqlStatement&&) noexcept = default;
    SqlStatement& operator=(SqlStatement&&) noexcept = default;

    SqlStatement& bind(int index, const QString& value);  // a null QString binds NULL
    SqlStatement& bind(int index, qint64 value);
    SqlStatement& bind(int index, const QVariant& value);

    // One step: true with a row, false when done. Throws on failure.
    bool step();
    // Steps to the end and resets, for statements that return nothing.
    void run();
    // Ready for new values; what was bound is cleared.
    void reset();

    QString text(int column) const;  // NULL reads as a null QString
    qint64 integer(int column) const;
    bool isNull(int column) const;
    QVariant value(int column) const;
    int columnCount() const;

    explicit operator bool() const { return statement_ != nullptr; }

private:
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };
    std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
    sqlite3* db_ = nullptr;
};

class SqlDatabase {
public:
    enum class Mode { ReadOnly, ReadWrite, Create };

    SqlDatabase() = default;
    // Opens an existing file (or creates one with Mode::Create). Throws.
    SqlDatabase(const QString& path, Mode mode);

    void exec(const char* sql);  // throws
    SqlStatement prepare(const char* sql) const { return SqlStatement(db_.get(), sql); }
    sqlite3* handle() const { return db_.get(); }
    explicit operator bool() const { return db_ != nullptr; }

    // Incremented whenever another connection has committed a change.
    qint64 dataVersion() const;

    [[noreturn]] static void fail(sqlite3* db, int code);

private:
    struct Closer {
        void operator()(sqlite3* db) const;
    };
    std::unique_ptr<sqlite3, Closer> db_;
};

// BEGIN ... COMMIT, rolled back when left by an exception.
class SqlTransaction {
public:
    explicit SqlTransaction(SqlDatabase& db, const char* begin = "BEGIN IMMEDIATE");
    ~SqlTransaction();
    void commit();

private:
    SqlDatabase& db_;
    bool open_ = true;
};

}  // namespace paramcor
