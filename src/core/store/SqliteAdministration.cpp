// The POSIX store's operations for administrators' tools: listing a key's subkeys
// and values, deleting, and batches of writes kept whole or not at all.
#include "SqliteStoreState.h"

#include "NameFolding.h"
#include "KeyPaths.h"
#include "SqliteDeletion.h"

#include <utility>

namespace paramcor {

using store::stepOnce;
using store::succeeded;

long SqliteRegistryStore::Impl::writableHive(KeyHandle key, OpenKey& open, HiveState*& hive, long whenRemoved) {
    const auto it = handles.find(key);
    if (it == handles.end())
        return regerr::InvalidHandle;
    open = it->second;
    if (!open.writable)
        return regerr::AccessDenied;
    HiveState& h = hives[open.hive];
    h.problem.clear();
    if (h.batch == Batch::Lost)
        return readyToWrite(h);
    if (const long rc = openHive(h, false))
        return rc;
    if (!h.conn) {
        if (whenRemoved != regerr::FileNotFound)
            h.problem = file(h) + " was removed";
        return whenRemoved;
    }
    if (const long rc = readyToWrite(h))
        return rc;
    h.refresh();
    hive = &h;
    return regerr::Success;
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
    if (const long rc = openHive(h, false))
        return rc;
    if (!h.conn)
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
        if (const long rc = openHive(h, true))
            return rc;
        if (const long rc = readyToWrite(h))
            return rc;
        h.refresh();
        const int rc = stepOnce(h.conn->begin.get());
        if (!succeeded(rc))
            return failure(h, rc);
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
        const int rc = stepOnce(h.conn->commit.get());
        if (!succeeded(rc)) {
            stepOnce(h.conn->rollback.get());
            h.dropCaches();
            return failure(h, rc);
        }
        if (!h.publish())
            h.dropCaches();
        return regerr::Success;
    });
}

long SqliteRegistryStore::Impl::abortBatch(Hive hive) {
    return onBatchHive(hive, true, [](HiveState& h) {
        if (h.batch == Batch::Open && h.conn)
            stepOnce(h.conn->rollback.get());
        h.batch = Batch::None;
        h.dropCaches();
        return regerr::Success;
    });
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
