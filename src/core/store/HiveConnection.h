// An open SQLite connection to a hive file, with the statements the store runs on
// it and the hive's change counter.
#pragma once

#include "ChangeCounter.h"
#include "HiveFiles.h"
#include "SqliteSupport.h"

#include <memory>
#include <string>

namespace paramcor::store {

enum class Access {
    Write,     // reads and writes, the hive in WAL mode
    Read,      // reads through SQLite's shared index of the WAL (-shm), which SQLite may
               // create or only read
    Snapshot,  // reads the hive file alone, opened immutable: there is no -shm to read
               // and this process may not create one, while nobody writes the hive
};

// The statements are declared after the database, so they are finalized before it
// is closed.
struct Connection {
    Database db;
    Access access = Access::Read;
    ChangeCounter counter;
    Statement selectKey;
    Statement selectValue;
    Statement selectFolded;
    Statement enumChildren;      // of a key other than the root
    Statement enumRootChildren;  // of the root key
    Statement enumValues;
    // Write connections only.
    Statement insertKey;
    Statement upsertValue;
    Statement begin;
    Statement commit;
    Statement rollback;

    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    bool writable() const { return access == Access::Write; }

    // For a snapshot: whether the hive file still holds every write, that is, whether
    // nobody has begun to write the hive since it was opened.
    bool stillWhole(const std::string& file) const;

    int snapshotLock = -1;  // a descriptor whose read lock keeps writers from checkpointing into the file
};

struct Opened {
    long rc = 0;
    std::string why;         // for a failure, and for a writer that may only read
    bool refolded = false;   // names were folded again: others must forget what they read
};

// Opens a hive file that is there, regular and ours by its header. With `write`
// the connection may write, unless the file, its folder or its change counter turn
// out not to allow it.
Opened openConnection(const HiveFile& hive, bool write, int busyTimeoutMs, std::unique_ptr<Connection>& out);

}  // namespace paramcor::store
