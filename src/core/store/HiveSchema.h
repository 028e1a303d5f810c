// What is inside a hive file: the tables, the marks that tell our hives from other
// files, and the names folded again when the folding table has grown.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>

namespace paramcor::store {

constexpr std::int64_t kApplicationId = 0x43564C50;  // "CVLP", at offset 68 of the file
constexpr std::int64_t kSchemaVersion = 1;
constexpr std::int64_t kRootKeyId = 1;

// Fills a new file with our schema, unless another process did it while this one
// waited for the lock. It runs in rollback-journal mode, so that the application id
// lands in the main file, where openers check it before SQLite sees the file.
// `foreign` tells that somebody else's database took the place meanwhile.
int initializeHive(sqlite3* db, bool& foreign);

// Whether the open file is a hive of this version; `why` says what it is instead.
// `rc` gets an SQLite failure, if that is what happened.
bool isOurHive(sqlite3* db, const std::string& file, int& rc, std::string& why);

// Gives a hive made before changes were logged its change log.
int addChangeLog(sqlite3* db);

// The log's triggers cost a large batch more than its writes, and a log that long
// is trimmed before watchers read it: past kQuietBatch changes a batch stops logging
// each one and logs the whole hive as changed just before it commits.
constexpr std::int64_t kQuietBatch = 1024;
// Turns this connection's logging of each change off or on again.
int logEachChange(sqlite3* db, bool on);
// Logs, within the transaction, that anything in the hive may have changed.
int logWholeHiveChanged(sqlite3* db);

// Whether the open file is an empty database: what SQLite leaves of a hive whose
// creation was killed before it committed, once it has rolled the creation back.
// Its header bore our mark before SQLite saw the file, so it is ours to make again.
bool isUnfinishedHive(sqlite3* db);

// Folds the names of a hive written with an older folding table again, in one
// transaction, so that they are found whatever their case. Two keys or two values
// whose names now fold alike become one: the one whose name was already folded so
// wins, with its values. `changed` tells whether anything changed.
int refoldNames(sqlite3* db, bool& changed);

}  // namespace paramcor::store
