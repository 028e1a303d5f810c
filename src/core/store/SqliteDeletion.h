// Deleting values and key trees in a hive file of the POSIX store.
#pragma once

#include <cstdint>
#include <string_view>

struct sqlite3;

namespace paramcor::store {

enum class Deleted { Done, NothingThere, KeyGone };

// Both return an SQLite result code and say in `outcome` what they found. Names and
// paths come folded, as the hive keeps them.
int deleteValueRow(sqlite3* db, std::int64_t key, std::string_view foldedName, Deleted& outcome);

// The subkey `foldedPath` of the key with id `key` and all below it, in one write
// transaction: a process killed meanwhile leaves the tree whole or gone. An empty
// path empties the key itself and keeps it.
int deleteKeyTree(sqlite3* db, std::int64_t key, std::string_view foldedPath, Deleted& outcome);

}  // namespace paramcor::store
