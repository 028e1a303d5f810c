// Small helpers over the SQLite C API that the POSIX store's files share: owners
// for connections and statements, one-step statements, and the registry's result
// code for an SQLite one.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace paramcor::store {

struct DatabaseCloser {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Database = std::unique_ptr<sqlite3, DatabaseCloser>;

struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

inline int prepare(sqlite3* db, const char* sql, Statement& out) {
    sqlite3_stmt* raw = nullptr;
    const int rc = sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
    out.reset(raw);
    return rc;
}

// A statement prepared at its first use: a short command uses few of those of a
// connection, and each costs a parse. One that cannot be prepared stays null, which
// SQLite's calls and stepOnce refuse with SQLITE_MISUSE, the connection keeping
// the cause.
class LazyStatement {
public:
    void define(sqlite3* db, const char* sql) {
        db_ = db;
        sql_ = sql;
    }
    sqlite3_stmt* get() const {
        if (!statement_ && db_)
            prepare(db_, sql_, statement_);
        return statement_.get();
    }

private:
    sqlite3* db_ = nullptr;
    const char* sql_ = nullptr;
    mutable Statement statement_;
};

// Steps a statement once and resets it at once, so that it never holds a read
// transaction open: that would pin an old snapshot of the hive. `onRow` reads the
// row, if there is one, before the reset.
template <class OnRow>
int stepOnce(sqlite3_stmt* statement, OnRow&& onRow) {
    if (!statement)
        return SQLITE_MISUSE;
    const int rc = sqlite3_step(statement);
    if (rc == SQLITE_ROW)
        onRow(statement);
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    return rc;
}

inline int stepOnce(sqlite3_stmt* statement) {
    return stepOnce(statement, [](sqlite3_stmt*) {});
}

inline bool succeeded(int rc) {
    return rc == SQLITE_OK || rc == SQLITE_DONE || rc == SQLITE_ROW;
}

inline bool isBusy(int rc) {
    return (rc & 0xFF) == SQLITE_BUSY || (rc & 0xFF) == SQLITE_LOCKED;
}

// The first column of the first row; `value` stays as it was when there is none.
inline int queryInt(sqlite3* db, const char* sql, std::int64_t& value) {
    Statement statement;
    int rc = prepare(db, sql, statement);
    if (rc != SQLITE_OK)
        return rc;
    rc = stepOnce(statement.get(), [&](sqlite3_stmt* row) { value = sqlite3_column_int64(row, 0); });
    return succeeded(rc) ? SQLITE_OK : rc;
}

inline void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
    sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

inline std::string columnText(sqlite3_stmt* row, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return std::string(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

inline long fromSqlite(int rc) {
    switch (rc & 0xFF) {
        case SQLITE_OK:
        case SQLITE_DONE:
        case SQLITE_ROW:
            return regerr::Success;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return regerr::SharingViolation;
        case SQLITE_NOTADB:
        case SQLITE_CORRUPT:
        case SQLITE_ERROR:
            return regerr::BadDatabase;  // a statement of ours no longer fits the file
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return regerr::AccessDenied;
        default:
            return regerr::IoFailed;  // CANTOPEN, IOERR, FULL, NOMEM...
    }
}

}  // namespace paramcor::store
