// An open SQLite connection to a hive file, with the statements the store runs on
// it and the hive's change counter.
#pragma once

#include "ChangeCounter.h"
#include "HiveFiles.h"
#include "SqliteSupport.h"

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <memory>
#include <utility>
#include <string>

namespace paramcor::store {

enum class Access {
    Write,     // reads and writes, the hive in WAL mode
    Read,      // reads through SQLite's shared index of the WAL (-shm), which SQLite may
               // create or only read
    Published,  // reads the copy published for users outside the hive's group, opened
                // immutable: it is never written, only replaced
    Snapshot,  // reads the hive file alone, opened immutable: there is no -shm to read
               // and this process may not create one, while nobody writes the hive
};

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    int get() const { return fd_; }

private:
    int fd_;
};

// The statements are declared after the database, so they are finalized before it
// is closed.
struct Connection {
    // Closed after the database: closing any descriptor of the hive file drops the
    // process's fcntl locks on it, SQLite's included.
    Descriptor publishLock;  // writers of a hive that publishes its copy
    Database db;
    Access access = Access::Read;
    ChangeCounter counter;
    LazyStatement selectKey;
    LazyStatement selectValue;
    LazyStatement selectFolded;
    LazyStatement enumChildren;      // of a key other than the root
    LazyStatement enumRootChildren;  // of the root key
    LazyStatement enumValues;
    Statement selectChanges;  // prepared at the first use: a hive of a process that may not add the log has none
    // Write connections only.
    LazyStatement insertKey;
    LazyStatement upsertValue;
    LazyStatement upsertValueInBatch;
    LazyStatement begin;
    LazyStatement commit;
    LazyStatement rollback;
    // Within a batch: the connection's count of changes when it began, and whether
    // it has stopped logging each change (kQuietBatch).
    std::int64_t batchStart = 0;
    bool quietBatch = false;
    bool batchRemovedKeys = false;  // until then, every key a handle names is there
    // Within a batch: the parent the last new key was made in, and that key. The next
    // key of an import is most often a sibling or a child: its parent needs no lookup.
    struct KnownKey {
        std::string folded;
        std::string path;
        std::int64_t id = 0;
    };
    std::array<KnownKey, 2> recentKeys;
    const KnownKey* recentKey(std::string_view folded) const {
        for (const KnownKey& known : recentKeys)
            if (known.id != 0 && known.folded == folded)
                return &known;
        return nullptr;
    }

    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    bool writable() const { return access == Access::Write; }

    // For a snapshot: whether the hive file still holds every write, that is, whether
    // nobody has begun to write the hive since it was opened.
    bool stillWhole(const std::string& file) const;

    // For a reader of the published copy: the copy it opened, and the change count
    // read before opening it (the copy is renamed into place before the count moves).
    struct stat copy {};
    std::uint64_t copyCount = 0;
    bool copyReplaced(const std::string& hiveFile) const;

    int snapshotLock = -1;  // a descriptor whose read lock keeps writers from checkpointing into the file

    // The file opened, by device and inode: a hive removed or replaced under the
    // program leaves the connection on a file nobody else will ever read.
    dev_t device = 0;
    ino_t inode = 0;
    bool isFile(const struct stat& st) const { return st.st_dev == device && st.st_ino == inode; }

    // The files beside it when the connection was made (an inode of 0: there was none).
    // SQLite keeps using the -wal and -shm it opened, and the counter stays mapped: one
    // removed or replaced leaves this process apart from the others.
    struct stat wal {};
    struct stat shm {};
    struct stat changes {};
    void noteFiles(const std::string& file);

    enum class Moved { Nothing, SideFiles, Hive };
    Moved moved(const std::string& file) const;

    // Whether a second has begun since the last time: a counter removed or replaced
    // under a reader is bumped by nobody who comes later, so a reader that keeps
    // values looks whether its files are still the hive's once a second, whatever the
    // counter says.
    bool timeToLookAtFiles() {
        timespec now {};
        ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        if (now.tv_sec == lastLook)
            return false;
        lastLook = now.tv_sec;
        return true;
    }
    time_t lastLook = 0;
};

struct Opened {
    long rc = 0;
    std::string why;         // for a failure, and for a writer that may only read
    bool refolded = false;   // names were folded again: others must forget what they read
    bool unfinished = false; // the hive's creation never committed: it is to be made again
};

// Opens a hive file that is there, regular and ours by its header. With `write`
// the connection may write, unless the file, its folder or its change counter turn
// out not to allow it.
Opened openConnection(const HiveFile& hive, bool write, int busyTimeoutMs, std::unique_ptr<Connection>& out);

// After a committed change: when it left many free pages or a large -wal, gives the
// space back, so that a hive shrinks after a large delete and its log after a large
// import. Failures are left for the next time: the change itself is committed.
void shrinkAfterLargeChange(sqlite3* db);
// Opens the copy of a shared hive published for those who may not open the hive.
Opened openPublishedCopy(const HiveFile& hive, std::unique_ptr<Connection>& out);

}  // namespace paramcor::store
