#include "SqliteDeletion.h"

#include <sqlite3.h>

#include <memory>
#include <string>

namespace paramcor::store {
namespace {

struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

// Runs one statement to its end with texts and one id bound in order (?1, ?2...):
// `texts` first, then `id` when it is not 0. `row` receives the first row's first
// column as an integer.
int run(sqlite3* db, const char* sql, std::initializer_list<std::string_view> texts, std::int64_t id = 0,
        std::int64_t* row = nullptr) {
    sqlite3_stmt* raw = nullptr;
    int rc = sqlite3_prepare_v2(db, sql, -1, &raw, nullptr);
    const Statement statement(raw);
    if (rc != SQLITE_OK)
        return rc;
    int index = 1;
    for (const std::string_view text : texts)
        sqlite3_bind_text64(raw, index++, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    if (id != 0)
        sqlite3_bind_int64(raw, index, id);
    while ((rc = sqlite3_step(raw)) == SQLITE_ROW)
        if (row) {
            *row = sqlite3_column_int64(raw, 0);
            row = nullptr;
        }
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
}

// The folded path of a key, or false when the key is gone.
bool keyPath(sqlite3* db, std::int64_t key, std::string& path, int& rc) {
    sqlite3_stmt* raw = nullptr;
    rc = sqlite3_prepare_v2(db, "SELECT folded FROM keys WHERE id = ?1", -1, &raw, nullptr);
    const Statement statement(raw);
    if (rc != SQLITE_OK)
        return false;
    sqlite3_bind_int64(raw, 1, key);
    rc = sqlite3_step(raw);
    const bool found = rc == SQLITE_ROW;
    if (found)
        path.assign(reinterpret_cast<const char*>(sqlite3_column_text(raw, 0)),
                    static_cast<std::size_t>(sqlite3_column_bytes(raw, 0)));
    rc = found || rc == SQLITE_DONE ? SQLITE_OK : rc;
    return found;
}

int deleteTree(sqlite3* db, std::int64_t key, std::string_view foldedPath, Deleted& outcome) {
    std::string top;
    int rc = SQLITE_OK;
    if (!keyPath(db, key, top, rc)) {
        outcome = Deleted::KeyGone;
        return rc;
    }
    std::int64_t target = key;
    if (!foldedPath.empty()) {
        top = top.empty() ? std::string(foldedPath) : top + '\\' + std::string(foldedPath);
        target = 0;
        if ((rc = run(db, "SELECT id FROM keys WHERE folded = ?1", {top}, 0, &target)) != SQLITE_OK)
            return rc;
        if (target == 0) {
            outcome = Deleted::NothingThere;
            return SQLITE_OK;
        }
    }
    // The keys below lie between "PATH\" and "PATH]" ("]" follows the backslash);
    // below the root key, every other key.
    const std::string from = top.empty() ? std::string() : top + '\\';
    const std::string to = top.empty() ? std::string("\xFF") : top + ']';
    if ((rc = run(db, "DELETE FROM vals WHERE key IN (SELECT id FROM keys WHERE folded > ?1 AND folded < ?2)",
                  {from, to})) != SQLITE_OK ||
        (rc = run(db, "DELETE FROM keys WHERE folded > ?1 AND folded < ?2", {from, to})) != SQLITE_OK ||
        (rc = run(db, "DELETE FROM vals WHERE key = ?1", {}, target)) != SQLITE_OK)
        return rc;
    if (!foldedPath.empty() && (rc = run(db, "DELETE FROM keys WHERE id = ?1", {}, target)) != SQLITE_OK)
        return rc;
    outcome = Deleted::Done;
    return SQLITE_OK;
}

}  // namespace

int deleteValueRow(sqlite3* db, std::int64_t key, std::string_view foldedName, Deleted& outcome) {
    const int rc = run(db, "DELETE FROM vals WHERE folded = ?1 AND key = ?2", {foldedName}, key);
    outcome = sqlite3_changes(db) > 0 ? Deleted::Done : Deleted::NothingThere;
    return rc;
}

int deleteKeyTree(sqlite3* db, std::int64_t key, std::string_view foldedPath, Deleted& outcome) {
    // Inside a batch, whose transaction is open already, a savepoint keeps it whole.
    const bool nested = sqlite3_get_autocommit(db) == 0;
    int rc = sqlite3_exec(db, nested ? "SAVEPOINT tree" : "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        return rc;
    rc = deleteTree(db, key, foldedPath, outcome);
    if (rc == SQLITE_OK && outcome == Deleted::Done)
        rc = sqlite3_exec(db, nested ? "RELEASE tree" : "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK || outcome != Deleted::Done)
        sqlite3_exec(db, nested ? "ROLLBACK TO tree; RELEASE tree" : "ROLLBACK", nullptr, nullptr, nullptr);
    return rc;
}

}  // namespace paramcor::store
