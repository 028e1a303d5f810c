#include "HiveSchema.h"

#include "NameFolding.h"
#include "SqliteSupport.h"

#include <utility>
#include <vector>

namespace paramcor::store {

namespace {

// Table "about" holds what the file says of itself: the edition of the folding
// table its names were folded with (hives made before it was kept have none: 1).
// The change log: each committed change of a key, by its path, so that a watcher
// reads what changed since it last looked instead of its whole subtree. `subtree`
// marks a change of everything below the key too (a tree deleted, names folded
// again). Triggers write it, so that every way of writing does, and trim it: a
// watcher further behind reads its subtree again.
constexpr int kChangesKept = 4096;

std::string changeLogSql() {
    return "CREATE TABLE changes(seq INTEGER PRIMARY KEY AUTOINCREMENT, path TEXT NOT NULL,"
           " subtree INTEGER NOT NULL);"
           "CREATE TRIGGER changes_trim AFTER INSERT ON changes BEGIN"
           " DELETE FROM changes WHERE seq <= NEW.seq - " +
           std::to_string(kChangesKept) +
           "; END;"
           "CREATE TRIGGER keys_made AFTER INSERT ON keys BEGIN"
           " INSERT INTO changes(path, subtree) VALUES(NEW.path, 0); END;"
           "CREATE TRIGGER keys_renamed AFTER UPDATE ON keys BEGIN"
           " INSERT INTO changes(path, subtree) VALUES(NEW.path, 1); END;"
           "CREATE TRIGGER keys_deleted AFTER DELETE ON keys BEGIN"
           " INSERT INTO changes(path, subtree) VALUES(OLD.path, 1); END;"
           "CREATE TRIGGER vals_made AFTER INSERT ON vals BEGIN"
           " INSERT INTO changes(path, subtree) SELECT path, 0 FROM keys WHERE id = NEW.key; END;"
           "CREATE TRIGGER vals_set AFTER UPDATE ON vals BEGIN"
           " INSERT INTO changes(path, subtree) SELECT path, 0 FROM keys WHERE id = NEW.key; END;"
           "CREATE TRIGGER vals_deleted AFTER DELETE ON vals BEGIN"
           " INSERT INTO changes(path, subtree) SELECT path, 0 FROM keys WHERE id = OLD.key; END;";
}

std::string schemaSql() {
    return "CREATE TABLE keys("
           " id INTEGER PRIMARY KEY,"
           " path TEXT NOT NULL,"
           " folded TEXT NOT NULL UNIQUE);"
           "INSERT INTO keys(id, path, folded) VALUES(" +
           std::to_string(kRootKeyId) +
           ", '', '');"
           "CREATE TABLE vals("
           " key INTEGER NOT NULL REFERENCES keys(id),"
           " folded TEXT NOT NULL,"
           " name TEXT NOT NULL,"
           " type INTEGER NOT NULL,"
           " data BLOB NOT NULL,"
           " PRIMARY KEY(key, folded)) WITHOUT ROWID;"
           "CREATE TABLE about(name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;"
           "INSERT INTO about VALUES('folding', " +
           std::to_string(kFoldingEdition) +
           ");" +
           changeLogSql() +
           "PRAGMA application_id = " +
           std::to_string(kApplicationId) +
           ";"
           "PRAGMA user_version = " +
           std::to_string(kSchemaVersion) + ";";
}

int foldingEdition(sqlite3* db, std::int64_t& edition) {
    edition = 1;
    std::int64_t tables = 0;
    int rc = queryInt(db, "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'about'", tables);
    if (rc == SQLITE_OK && tables != 0)
        rc = queryInt(db, "SELECT value FROM about WHERE name = 'folding'", edition);
    return rc;
}

struct Row {
    std::int64_t key;
    std::string text;    // the name as written
    std::string folded;  // as it was folded
};

// The rows of `select` (owner, name as written, name as folded) whose names fold
// otherwise now.
int staleRows(Statement& select, std::vector<Row>& stale) {
    int rc;
    while ((rc = sqlite3_step(select.get())) == SQLITE_ROW) {
        Row row{sqlite3_column_int64(select.get(), 0), columnText(select.get(), 1), columnText(select.get(), 2)};
        if (foldName(row.text) != row.folded)
            stale.push_back(std::move(row));
    }
    select.reset();
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
}

int refoldKeys(sqlite3* db, bool& changed) {
    Statement select;
    Statement find;
    Statement update;
    Statement moveValues;
    Statement dropValues;
    Statement dropKey;
    int rc = prepare(db, "SELECT id, path, folded FROM keys ORDER BY id", select);
    if (rc == SQLITE_OK)
        rc = prepare(db, "SELECT id FROM keys WHERE folded = ?1", find);
    if (rc == SQLITE_OK)
        rc = prepare(db, "UPDATE keys SET folded = ?2 WHERE id = ?1", update);
    if (rc == SQLITE_OK)
        rc = prepare(db, "UPDATE OR IGNORE vals SET key = ?2 WHERE key = ?1", moveValues);
    if (rc == SQLITE_OK)
        rc = prepare(db, "DELETE FROM vals WHERE key = ?1", dropValues);
    if (rc == SQLITE_OK)
        rc = prepare(db, "DELETE FROM keys WHERE id = ?1", dropKey);
    if (rc != SQLITE_OK)
        return rc;

    std::vector<Row> stale;
    if ((rc = staleRows(select, stale)) != SQLITE_OK)
        return rc;

    // By id: a parent comes before its subkeys, so a subkey of a key that joined
    // another finds its new parent's subkeys already folded.
    for (const Row& row : stale) {
        const std::string folded = foldName(row.text);
        std::int64_t other = 0;
        bindText(find.get(), 1, folded);
        rc = stepOnce(find.get(), [&](sqlite3_stmt* r) { other = sqlite3_column_int64(r, 0); });
        if (!succeeded(rc))
            return rc;
        if (other == 0) {
            sqlite3_bind_int64(update.get(), 1, row.key);
            bindText(update.get(), 2, folded);
            rc = stepOnce(update.get());
        } else {
            for (sqlite3_stmt* s : {moveValues.get(), dropValues.get(), dropKey.get()}) {
                sqlite3_bind_int64(s, 1, row.key);
                if (s == moveValues.get())
                    sqlite3_bind_int64(s, 2, other);
                rc = stepOnce(s);
                if (!succeeded(rc))
                    break;
            }
        }
        if (!succeeded(rc))
            return rc;
        changed = true;
    }
    return SQLITE_OK;
}

int refoldValues(sqlite3* db, bool& changed) {
    Statement select;
    Statement update;
    int rc = prepare(db, "SELECT key, name, folded FROM vals", select);
    if (rc == SQLITE_OK)
        rc = prepare(db, "UPDATE OR IGNORE vals SET folded = ?3 WHERE key = ?1 AND folded = ?2", update);
    if (rc != SQLITE_OK)
        return rc;
    std::vector<Row> stale;
    if ((rc = staleRows(select, stale)) != SQLITE_OK)
        return rc;
    Statement drop;
    rc = prepare(db, "DELETE FROM vals WHERE key = ?1 AND folded = ?2", drop);
    if (rc != SQLITE_OK)
        return rc;
    for (const Row& row : stale) {
        // A value already folded so stays; the stale one goes, moved or not.
        sqlite3_bind_int64(update.get(), 1, row.key);
        bindText(update.get(), 2, row.folded);
        const std::string folded = foldName(row.text);
        bindText(update.get(), 3, folded);
        rc = stepOnce(update.get());
        if (succeeded(rc)) {
            sqlite3_bind_int64(drop.get(), 1, row.key);
            bindText(drop.get(), 2, row.folded);
            rc = stepOnce(drop.get());
        }
        if (!succeeded(rc))
            return rc;
        changed = true;
    }
    return SQLITE_OK;
}

}  // namespace

int initializeHive(sqlite3* db, bool& foreign) {
    // The pragma takes the write lock, as BEGIN IMMEDIATE would, and on a file still
    // empty makes it one whose freed pages can be given back (shrinkAfterLargeChange);
    // after BEGIN IMMEDIATE it would be too late for that, and on its own it would
    // write a header that other processes take for a foreign database.
    int rc = sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        return rc;
    rc = sqlite3_exec(db, "PRAGMA auto_vacuum=INCREMENTAL", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        return rc;
    }
    std::int64_t applicationId = 0;
    std::int64_t objects = 0;
    rc = queryInt(db, "PRAGMA application_id", applicationId);
    if (rc == SQLITE_OK)
        rc = queryInt(db, "SELECT count(*) FROM sqlite_master", objects);
    foreign = rc == SQLITE_OK && applicationId != kApplicationId && (applicationId != 0 || objects != 0);
    if (rc == SQLITE_OK && !foreign && applicationId == 0)
        rc = sqlite3_exec(db, schemaSql().c_str(), nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK && !foreign)
        rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK || foreign)
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    return rc;
}

bool isOurHive(sqlite3* db, const std::string& file, int& rc, std::string& why) {
    std::int64_t applicationId = 0;
    std::int64_t version = 0;
    rc = queryInt(db, "PRAGMA application_id", applicationId);
    if (rc == SQLITE_OK)
        rc = queryInt(db, "PRAGMA user_version", version);
    if (rc != SQLITE_OK) {
        why = file + " cannot be read: " + sqlite3_errmsg(db);
        return false;
    }
    if (applicationId != kApplicationId) {
        why = file + " is not a hive of CVLParamcor: it is the SQLite database of another program";
        return false;
    }
    if (version != kSchemaVersion) {
        why = file + " is a hive of another version of CVLParamcor (format " + std::to_string(version) +
              "; this one reads format " + std::to_string(kSchemaVersion) + ")";
        return false;
    }
    return true;
}

int addChangeLog(sqlite3* db) {
    const auto present = [db](int& rc) {
        std::int64_t tables = 0;
        rc = queryInt(db, "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'changes'", tables);
        return tables != 0;
    };
    int rc = SQLITE_OK;
    if (present(rc) || rc != SQLITE_OK)
        return rc;
    rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        return rc;
    if (!present(rc) && rc == SQLITE_OK)  // another process may have done it meanwhile
        rc = sqlite3_exec(db, changeLogSql().c_str(), nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    return rc;
}

int logEachChange(sqlite3* db, bool on) {
    // The triggers are the log's only ones: turning them off leaves nothing else out.
    // SQLite prepares the connection's statements again, with or without them.
    return sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_TRIGGER, on ? 1 : 0, nullptr);
}

int logWholeHiveChanged(sqlite3* db) {
    return sqlite3_exec(db, "INSERT INTO changes(path, subtree) VALUES('', 1)", nullptr, nullptr, nullptr);
}

bool isUnfinishedHive(sqlite3* db) {
    std::int64_t applicationId = -1;
    std::int64_t objects = -1;
    return queryInt(db, "PRAGMA application_id", applicationId) == SQLITE_OK && applicationId == 0 &&
           queryInt(db, "SELECT count(*) FROM sqlite_master", objects) == SQLITE_OK && objects == 0;
}

int refoldNames(sqlite3* db, bool& changed) {
    changed = false;
    std::int64_t edition = 0;
    int rc = foldingEdition(db, edition);
    if (rc != SQLITE_OK || edition >= kFoldingEdition)
        return rc;
    rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        return rc;
    rc = foldingEdition(db, edition);  // another process may have done it meanwhile
    if (rc == SQLITE_OK && edition < kFoldingEdition) {
        rc = refoldKeys(db, changed);
        if (rc == SQLITE_OK)
            rc = refoldValues(db, changed);
        if (rc == SQLITE_OK)
            rc = sqlite3_exec(db,
                              ("CREATE TABLE IF NOT EXISTS about(name TEXT PRIMARY KEY, value INTEGER NOT NULL)"
                               " WITHOUT ROWID;"
                               "INSERT OR REPLACE INTO about VALUES('folding', " +
                               std::to_string(kFoldingEdition) + ")")
                                  .c_str(),
                              nullptr, nullptr, nullptr);
    }
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        changed = false;
    }
    return rc;
}

}  // namespace paramcor::store
