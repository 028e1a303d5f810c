// The POSIX store's operations for administrators' tools: listing a key's subkeys
// and values, deleting, and batches of writes kept whole or not at all.
#include "SqliteStoreState.h"

#include "NameFolding.h"
#include "KeyPaths.h"
#include "SqliteDeletion.h"

#include <utility>

namespace paramcor {

using store::stepOnce;
using KeyChange = RegistryStore::KeyChange;
using store::succeeded;

long SqliteRegistryStore::Impl::writableHive(KeyHandle key, OpenKey& open, HiveState*& hive, long whenRemoved) {
    const auto it = handles.find(key);
    if (it == handles.end())
        return regerr::InvalidHandle;
    OpenKey& handle = it->second;
    if (!handle.writable)
        return regerr::AccessDenied;
    HiveState& h = hives[handle.hive];
    h.problem.clear();
    if (h.batch == Batch::Lost)
        return readyToWrite(h);
    if (const long rc = openToWrite(h, false))
        return rc;
    // The file was removed or replaced since the key was opened: the key again, in
    // the file that is there now, made with it if need be.
    if ((handle.stale(h) || (!h.conn && whenRemoved != regerr::FileNotFound)) && handle.path &&
        h.batch != Batch::Open)
        if (const long rc = reopenForWrite(h, handle))
            return rc;
    open = handle;
    if (!h.conn) {
        if (whenRemoved != regerr::FileNotFound)
            h.problem = file(h) + " was removed";
        return whenRemoved;
    }
    if (open.stale(h)) {
        h.problem = file(h) + " was replaced since the key was opened: open it again";
        return regerr::KeyDeleted;
    }
    if (const long rc = readyToWrite(h))
        return rc;
    h.refresh();
    quietenLargeBatch(h);
    hive = &h;
    return regerr::Success;
}

void SqliteRegistryStore::Impl::quietenLargeBatch(HiveState& h) {
    Connection& c = *h.conn;
    if (h.batch == Batch::Open && !c.quietBatch &&
        sqlite3_total_changes64(c.db.get()) - c.batchStart >= store::kQuietBatch)
        c.quietBatch = store::logEachChange(c.db.get(), false) == SQLITE_OK;
}

int SqliteRegistryStore::Impl::endQuietBatch(Connection& c, bool committing) {
    if (!c.quietBatch)
        return SQLITE_OK;
    c.quietBatch = false;
    int rc = store::logEachChange(c.db.get(), true);
    if (rc == SQLITE_OK && committing)
        rc = store::logWholeHiveChanged(c.db.get());
    return rc;
}

long SqliteRegistryStore::Impl::deleteValue(KeyHandle key, const std::string& name) {
    std::string folded = store::foldName(store::cutAtNul(name));
    const std::lock_guard lock(mutex);
    OpenKey open{};
    HiveState* hive = nullptr;
    if (const long rc = writableHive(key, open, hive, regerr::FileNotFound))
        return rc;
    store::Deleted outcome{};
    const int rc = store::deleteValueRow(hive->conn->db.get(), open.id, folded, outcome);
    if (!succeeded(rc))
        return failure(*hive, rc);
    if (outcome != store::Deleted::Done)
        return regerr::FileNotFound;
    if (committed(*hive))
        hive->cache.rememberValue(open.id, std::move(folded), CachedValue{});
    return regerr::Success;
}

long SqliteRegistryStore::Impl::deleteTree(KeyHandle key, const std::string& path) {
    std::string folded;
    if (const long rc = store::normalizePath(path, folded, true))
        return rc;
    const std::lock_guard lock(mutex);
    OpenKey open{};
    HiveState* hive = nullptr;
    if (const long rc = writableHive(key, open, hive, regerr::FileNotFound))
        return rc;
    store::Deleted outcome{};
    const int rc = store::deleteKeyTree(hive->conn->db.get(), open.id, folded, outcome);
    if (!succeeded(rc))
        return failure(*hive, rc);
    if (outcome == store::Deleted::KeyGone)
        return regerr::KeyDeleted;
    if (outcome == store::Deleted::NothingThere)
        return regerr::FileNotFound;
    committed(*hive);
    hive->dropCaches();  // key ids and values of the whole tree
    hive->conn->recentKeys = {};
    hive->conn->batchRemovedKeys = true;
    store::shrinkAfterLargeChange(hive->conn->db.get());
    return regerr::Success;
}

long SqliteRegistryStore::Impl::enumerable(KeyHandle key, OpenKey& open, HiveState*& hive) {
    hive = nullptr;
    const auto it = handles.find(key);
    if (it == handles.end())
        return regerr::InvalidHandle;
    open = it->second;
    HiveState& h = hives[open.hive];
    h.problem.clear();
    if (const long rc = openToRead(h))
        return rc;
    if (!h.conn || open.stale(h))
        return regerr::NoMoreItems;
    hive = &h;
    return regerr::Success;
}

long SqliteRegistryStore::Impl::enumKey(KeyHandle key, std::uint32_t index, std::string* name) {
    const std::lock_guard lock(mutex);
    OpenKey open{};
    HiveState* hive = nullptr;
    if (const long rc = enumerable(key, open, hive))
        return rc;
    HiveState& h = *hive;
    Connection& c = *h.conn;

    std::string folded;
    bool known = false;
    sqlite3_bind_int64(c.selectFolded.get(), 1, open.id);
    int rc = stepOnce(c.selectFolded.get(), [&](sqlite3_stmt* row) {
        known = true;
        folded = store::columnText(row, 0);
    });
    if (!succeeded(rc))
        return failure(h, rc);
    if (!known)
        return regerr::NoMoreItems;  // the file was replaced under the open key

    store::Subkey subkey;
    bool found = false;
    rc = store::findSubkey(c, folded, index, keyCursors[key], subkey, found);
    if (!succeeded(rc))
        return failure(h, rc);
    if (!found) {
        keyCursors.erase(key);
        return regerr::NoMoreItems;
    }
    if (name) {
        const std::size_t slash = subkey.path.rfind('\\');
        name->assign(slash == std::string::npos ? subkey.path : subkey.path.substr(slash + 1));
    }
    return regerr::Success;
}

long SqliteRegistryStore::Impl::enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                                          std::vector<std::uint8_t>* data) {
    const std::lock_guard lock(mutex);
    OpenKey open{};
    HiveState* hive = nullptr;
    if (const long rc = enumerable(key, open, hive))
        return rc;
    HiveState& h = *hive;
    store::Value value;
    bool found = false;
    const int rc = store::findValue(*h.conn, open.id, index, valueCursors[key], &value, found);
    if (!succeeded(rc))
        return failure(h, rc);
    if (!found) {
        valueCursors.erase(key);
        return regerr::NoMoreItems;
    }
    if (name)
        *name = std::move(value.name);
    if (type)
        *type = value.type;
    if (data)
        *data = std::move(value.data);
    return regerr::Success;
}

long SqliteRegistryStore::Impl::beginBatch(Hive hive) {
    return onBatchHive(hive, false, [this](HiveState& h) {
        h.problem.clear();
        if (const long rc = openToWrite(h, true))
            return rc;
        if (const long rc = readyToWrite(h))
            return rc;
        h.refresh();
        const int rc = stepOnce(h.conn->begin.get());
        if (!succeeded(rc))
            return failure(h, rc);
        h.conn->batchStart = sqlite3_total_changes64(h.conn->db.get());
        h.conn->recentKeys = {};
        h.conn->batchRemovedKeys = false;
        ++h.batchSerial;
        h.batch = Batch::Open;
        return regerr::Success;
    });
}

long SqliteRegistryStore::Impl::commitBatch(Hive hive) {
    return onBatchHive(hive, true, [this](HiveState& h) {
        if (h.batch == Batch::Lost) {
            const long rc = readyToWrite(h);  // tells why
            h.batch = Batch::None;
            return rc;
        }
        h.batch = Batch::None;
        h.problem.clear();
        if (forgetIfReplaced(h)) {  // the batch went into a file nobody will read
            h.problem = file(h) + " was removed or replaced while the batch was written: nothing was kept";
            return regerr::IoFailed;
        }
        int rc = endQuietBatch(*h.conn, true);
        if (succeeded(rc))
            rc = stepOnce(h.conn->commit.get());
        if (!succeeded(rc)) {
            stepOnce(h.conn->rollback.get());
            h.dropCaches();
            return failure(h, rc);
        }
        if (!h.publish())
            h.dropCaches();
        store::shrinkAfterLargeChange(h.conn->db.get());
        return regerr::Success;
    });
}

long SqliteRegistryStore::Impl::abortBatch(Hive hive) {
    return onBatchHive(hive, true, [](HiveState& h) {
        if (h.batch == Batch::Open && h.conn) {
            stepOnce(h.conn->rollback.get());
            endQuietBatch(*h.conn, false);
        }
        h.batch = Batch::None;
        h.dropCaches();
        return regerr::Success;
    });
}

long SqliteRegistryStore::Impl::beginReading(Hive hive) {
    const std::lock_guard lock(mutex);
    HiveState* found = hiveOf(hive);
    if (!found)
        return regerr::InvalidHandle;
    HiveState& h = *found;
    if (h.reading || h.batch != Batch::None)
        return regerr::InvalidParameter;
    h.problem.clear();
    if (const long rc = openToRead(h))
        return rc;
    if (!h.conn)
        return regerr::Success;  // no file: the empty hive stays empty for the reader
    // A deferred transaction takes its snapshot at its first read: read at once.
    int rc = sqlite3_exec(h.conn->db.get(), "BEGIN; SELECT count(*) FROM keys WHERE id = 1", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_exec(h.conn->db.get(), "ROLLBACK", nullptr, nullptr, nullptr);
        return failure(h, rc);
    }
    h.reading = true;
    return regerr::Success;
}

long SqliteRegistryStore::Impl::endReading(Hive hive) {
    const std::lock_guard lock(mutex);
    HiveState* h = hiveOf(hive);
    if (!h)
        return regerr::InvalidHandle;
    if (h->reading && h->conn)
        sqlite3_exec(h->conn->db.get(), "COMMIT", nullptr, nullptr, nullptr);
    h->reading = false;
    return regerr::Success;
}

namespace {

// A position in the change log of one of the files the hive's name has led to.
constexpr int kSequenceBits = 48;
std::uint64_t logPosition(std::uint64_t generation, std::int64_t sequence) {
    return (generation << kSequenceBits) | static_cast<std::uint64_t>(sequence);
}

}  // namespace

long SqliteRegistryStore::Impl::changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes) {
    const std::lock_guard lock(mutex);
    changes.clear();
    HiveState* found = hiveOf(hive);
    if (!found)
        return regerr::InvalidHandle;
    HiveState& h = *found;
    h.problem.clear();
    // Called once for each notification, not for each read: the place to look whether
    // the hive's files are still those this process uses.
    forgetIfReplaced(h);
    if (const long rc = openHive(h, false))
        return rc;
    const std::uint64_t seen = position;
    const auto everything = [&](std::int64_t last) {
        position = logPosition(h.generation, last);
        if (position != seen)
            changes.push_back({std::string(), true});
        return regerr::Success;
    };
    if (!h.conn)
        return everything(0);
    const std::uint64_t generation = seen >> kSequenceBits;
    const auto since = static_cast<std::int64_t>(seen & ((std::uint64_t(1) << kSequenceBits) - 1));
    // Prepared once: parsing it at each notification cost a watcher more than reading.
    store::Statement& select = h.conn->selectChanges;
    int rc = select ? SQLITE_OK
                    : store::prepare(h.conn->db.get(), "SELECT seq, path, subtree FROM changes WHERE seq > ?1 ORDER BY seq",
                                     select);
    if (rc != SQLITE_OK)  // a hive that keeps no log yet, read by a process that may not add it
        return everything(0);
    sqlite3_bind_int64(select.get(), 1, generation == h.generation ? since : 0);
    std::int64_t last = since;
    bool whole = seen == 0 || generation != h.generation;
    while ((rc = sqlite3_step(select.get())) == SQLITE_ROW) {
        const std::int64_t sequence = sqlite3_column_int64(select.get(), 0);
        whole = whole || (last == since && sequence != since + 1);  // trimmed past what was seen
        last = sequence;
        if (!whole)
            changes.push_back({store::columnText(select.get(), 1), sqlite3_column_int(select.get(), 2) != 0});
    }
    sqlite3_reset(select.get());  // no read transaction left open between notifications
    if (rc != SQLITE_DONE)
        return failure(h, rc);
    if (whole) {
        changes.clear();
        return everything(last);
    }
    position = logPosition(h.generation, last);
    return regerr::Success;
}

std::string SqliteRegistryStore::Impl::diagnostic(Hive hive) {
    const std::lock_guard lock(mutex);
    const HiveState* h = hiveOf(hive);
    if (!h)
        return std::string();
    if (!h->problem.empty() || !h->conn)
        return h->problem;
    return h->conn->counter.problem();
}

}  // namespace paramcor
