// The state of a SqliteRegistryStore, shared by the files that run it:
// SqliteHives.cpp opens, checks and connects the hive files and keeps their caches
// and change counters; SqliteRegistryStore.cpp opens keys and reads and writes
// values; SqliteAdministration.cpp lists, deletes and runs batches.
#pragma once

#include <CVLParamcor/SqliteRegistryStore.h>

#include "Enumeration.h"
#include "HiveCache.h"
#include "HiveConnection.h"
#include "HiveFiles.h"
#include "HiveSchema.h"
#include "PublishedCopy.h"
#include "SqliteSupport.h"

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace paramcor {
namespace store {

enum HiveIndex { ClassesRootIndex, CurrentUserIndex, LocalMachineIndex, HiveCount };

inline int hiveIndex(Hive hive) {
    switch (hive) {
        case Hive::ClassesRoot:
            return ClassesRootIndex;
        case Hive::CurrentUser:
            return CurrentUserIndex;
        case Hive::LocalMachine:
            return LocalMachineIndex;
    }
    return -1;
}

enum class Batch {
    None,
    Open,
    Lost,  // the connection failed inside it: writes refused until abortBatch or commitBatch
};

struct HiveState {
    store::HiveFile place;
    std::unique_ptr<Connection> conn;  // null until the file is opened, and while it does not exist
    store::HiveCache cache;
    Batch batch = Batch::None;
    std::uint64_t batchSerial = 0;  // counts the batches begun
    bool reading = false;  // within beginReading: one read transaction, the cache set aside
    std::string problem;      // why the last operation could not use the hive as it should
    std::string readOnlyWhy;  // why a connection that should write may only read
    struct stat lastFile {};        // the file last connected
    std::uint64_t generation = 0;  // counts the files the hive's name has led to: key ids hold in one only
    bool makingHive = false;       // createHive runs: connect must not start it again

    bool caching() const { return conn && conn->counter.mapped() && !reading; }

    void dropCaches() { cache.clear(); }

    // Forgets what was read when anyone has written since.
    void refresh() {
        if (caching())
            cache.follow(conn->counter.load());
    }

    // Tells the other stores that this one has committed a write. Returns whether the
    // write may go into this store's cache: not when someone else wrote since the
    // last refresh, whose data may be newer than ours.
    bool publish() {
        // The copy first: a reader who sees the count move opens the new copy.
        if (conn->publishLock.get() >= 0)
            store::publishCopy(conn->db.get(), conn->publishLock.get(), place.file, problem);
        store::ChangeCounter& counter = conn->counter;
        if (!counter.writable())
            return false;  // then nobody keeps values in memory (HiveConnection.cpp)
        const std::uint64_t before = counter.bump();
        const bool alone = before == cache.seen();
        cache.setSeen(before + 1);
        if (!alone)
            dropCaches();
        return alone;
    }
};

// A key's path as the caller gave it and as the store looks it up.
struct KeyPathNames {
    std::string raw;
    std::string folded;
};

struct OpenKey {
    int hive;
    std::int64_t id;
    bool writable;
    std::uint64_t generation;  // HiveState::generation when opened
    // Kept by keys opened to write: a write that finds the hive's file replaced or
    // removed since finds, or makes, the key again in the file that is there now.
    std::shared_ptr<const KeyPathNames> path;
    std::uint64_t batch = 0;  // HiveState::batchSerial of the batch it was opened in

    // Whether the id may name another key, or none, in the file the hive is now; the
    // root key is the same in every file.
    bool stale(const HiveState& h) const { return id != kRootKeyId && generation != h.generation; }
};

}  // namespace store

struct SqliteRegistryStore::Impl {
    using Batch = store::Batch;
    using CachedValue = store::CachedValue;
    using Connection = store::Connection;
    using Cursor = store::Cursor;
    using HiveState = store::HiveState;
    using OpenKey = store::OpenKey;

    Options options;
    std::mutex mutex;
    std::array<HiveState, store::HiveCount> hives;
    std::unordered_map<KeyHandle, OpenKey> handles;
    std::unordered_map<KeyHandle, Cursor> keyCursors;
    std::unordered_map<KeyHandle, Cursor> valueCursors;
    KeyHandle nextHandle = 1;
    struct LastPath {
        std::shared_ptr<const store::KeyPathNames> names;  // shared with the keys opened on it
        bool skipBackslash = false;
    } lastPath;

    Impl(const std::string& userFolder, const std::string& machineFolder, Options opts);

    // --- The hive files (SqliteHives.cpp) ---------------------------------------------

    const std::string& file(const HiveState& h) const { return h.place.file; }
    HiveState* hiveOf(Hive hive);

    // Returns the error of an SQLite call. The connection is dropped unless the hive
    // is only busy: the next call opens and checks the file again. A batch dies with
    // its connection.
    long failure(HiveState& h, int rc);
    // Rolls back the transaction of one write (not a batch's) and fails.
    long abandon(HiveState& h, int rc);

    // Makes sure the hive's file is open. Without `create` a missing file is no
    // error: the hive is empty, and h.conn stays null.
    long openHive(HiveState& h, bool create);
    // openHive for a write: first drops a connection to a file that the hive's name
    // no longer leads to (the hive removed or replaced under the program), so that
    // the write lands where every other program will look.
    long openToWrite(HiveState& h, bool create);
    // openHive for a read: the same check, but only when the change counter moved,
    // as a writer that finds its file replaced moves the old file's counter.
    long openToRead(HiveState& h, bool create = false);
    // The key of a handle opened to write, in the hive's current file: the same key
    // again after the file was replaced or removed (made again if need be).
    long reopenForWrite(HiveState& h, store::OpenKey& open);
    // Drops the connection if its file is no longer the hive's; true when it did.
    bool forgetIfReplaced(HiveState& h);
    long createHive(HiveState& h);
    // Opens a file that is ours, or empty and being made ours.
    long connect(HiveState& h, bool writable);
    // For a shared hive this process may not open: its published copy.
    long connectToCopy(HiveState& h);

    // Before a write outside a batch, or a batch: the counter must be one this
    // process bumps, or one nobody has. A missing one may have appeared since.
    long readyToWrite(HiveState& h);
    // A committed write: tell the others, and keep what was written if we may.
    bool committed(HiveState& h) { return h.batch == Batch::Open ? h.caching() : h.publish() && h.caching(); }

    // Past kQuietBatch changes, a batch stops logging each change...
    static void quietenLargeBatch(HiveState& h);
    // ...and logs its whole hive as changed when it commits; either way the
    // connection logs each change again after the batch.
    static int endQuietBatch(Connection& c, bool committing);

    // Looks a key up by its folded path; `id` is 0 when there is no such key.
    int lookUpKey(Connection& c, std::string_view folded, std::int64_t& id, std::string* path);
    // The same through the cache.
    long findKey(HiveState& h, const std::string& folded, std::int64_t& id);

    // --- Keys and values (SqliteRegistryStore.cpp) ------------------------------------

    long openOrCreate(Hive hive, const std::string& path, KeyHandle* key, bool create);
    // Creates the key and its missing parents in one transaction (the batch's, when
    // one is open).
    long createKeys(HiveState& h, const std::string& path, std::int64_t& id);
    long closeKey(KeyHandle key);
    long flushKey(KeyHandle key);
    long fetchValue(HiveState& h, std::int64_t key, const std::string& folded, CachedValue& out);
    long queryValue(KeyHandle key, const std::string& name, std::uint32_t* type, std::vector<std::uint8_t>* data,
                    std::uint32_t capacity, std::uint32_t* size);
    long setValue(KeyHandle key, const std::string& name, std::uint32_t type, const std::vector<std::uint8_t>& data);

    // --- Listing, deletion and batches (SqliteAdministration.cpp) ---------------------

    // The hive of an open key, ready to be read; null, with NoMoreItems, while the
    // hive has no file: then the root key is all there is, without values.
    long enumerable(KeyHandle key, OpenKey& open, HiveState*& hive);
    long enumKey(KeyHandle key, std::uint32_t index, std::string* name);
    long enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                   std::vector<std::uint8_t>* data);

    // The open key's hive, ready for a write. A hive file removed under the key gives
    // whenRemoved: nothing to delete for a deletion, a failure for a value written.
    long writableHive(KeyHandle key, OpenKey& open, HiveState*& hive, long whenRemoved);
    long deleteValue(KeyHandle key, const std::string& name);
    long deleteTree(KeyHandle key, const std::string& path);

    // The hive a batch call names, under the lock: InvalidHandle for no hive, and
    // InvalidParameter unless its batch is open (`open`) or not, as the call needs.
    template <class Call>
    long onBatchHive(Hive hive, bool open, Call call) {
        const std::lock_guard lock(mutex);
        HiveState* h = hiveOf(hive);
        if (!h)
            return regerr::InvalidHandle;
        if ((h->batch != Batch::None) != open)
            return regerr::InvalidParameter;
        return call(*h);
    }
    long beginBatch(Hive hive);
    long commitBatch(Hive hive);
    long abortBatch(Hive hive);
    long beginReading(Hive hive);
    long endReading(Hive hive);

    std::string diagnostic(Hive hive);

    // The change log read for a watcher (SqliteAdministration.cpp).
    long changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes);
};

}  // namespace paramcor
