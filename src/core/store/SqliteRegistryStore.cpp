// The registry store of POSIX systems: each hive is an SQLite file in WAL mode.
//
// A read through SQLite costs several microseconds, and the programs read their
// parameters all the time, so each store keeps in memory the key ids and the values
// (missing ones too) it has read (HiveCache.h), for as long as the hive's change
// counter has not moved (ChangeCounter.h). The files, their permissions and their
// checks are in HiveFiles, the connections in HiveConnection, what is inside a hive
// in HiveSchema, and listing in Enumeration. SqliteHives.cpp uses the hive files,
// SqliteAdministration.cpp lists, deletes and batches; this file opens keys and
// reads and writes values.
#include "SqliteStoreState.h"

#include "HiveSchema.h"
#include "KeyPaths.h"
#include "NameFolding.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

namespace paramcor {

using store::bindText;
using store::stepOnce;
using store::succeeded;

namespace {

long deliver(const store::CachedValue& value, std::uint32_t* type, std::vector<std::uint8_t>* data,
             std::uint32_t capacity, std::uint32_t* size) {
    const auto needed = static_cast<std::uint32_t>(value.data.size());
    if (type)
        *type = value.type;
    if (size)
        *size = needed;
    if (!data)
        return regerr::Success;
    if (needed > capacity)
        return regerr::MoreData;
    data->assign(value.data.begin(), value.data.end());
    return regerr::Success;
}

}  // namespace

long SqliteRegistryStore::Impl::createKeys(HiveState& h, const std::string& path, std::int64_t& id) {
    if (const long rc = readyToWrite(h))
        return rc;
    std::string clean;
    store::normalizePath(path, clean, false);
    const std::string folded = store::foldName(clean);  // same length, same backslashes
    std::vector<std::size_t> ends;                      // where each name of the path ends
    for (std::size_t i = 0; i < clean.size(); ++i)
        if (clean[i] == '\\')
            ends.push_back(i);
    ends.push_back(clean.size());
    const auto prefixLength = [&](std::size_t names) { return names == 0 ? 0 : ends[names - 1]; };

    Connection& c = *h.conn;
    const bool ownTransaction = h.batch != Batch::Open;
    quietenLargeBatch(h);
    int rc = ownTransaction ? stepOnce(c.begin.get()) : SQLITE_OK;
    if (!succeeded(rc))
        return failure(h, rc);

    // Start from the deepest key that exists now: another process may have created
    // some of them since we looked. Within a batch nobody else writes: the key itself
    // was just found missing.
    std::size_t existing = ownTransaction ? ends.size() + 1 : ends.size();
    std::int64_t parentId = 0;
    std::string parentPath;
    while (parentId == 0 && existing > 0) {
        --existing;
        const std::string_view prefix = std::string_view(folded).substr(0, prefixLength(existing));
        if (const auto* known = ownTransaction ? nullptr : c.recentKey(prefix)) {
            parentId = known->id;
            parentPath = known->path;
            break;
        }
        rc = lookUpKey(c, prefix, parentId, &parentPath);
        if (!succeeded(rc))
            return abandon(h, rc);
    }
    if (parentId == 0) {  // not even the root key
        h.problem = file(h) + " is damaged: it has no root key";
        return abandon(h, SQLITE_CORRUPT);
    }

    if (!ownTransaction)
        c.recentKeys[0] = {folded.substr(0, prefixLength(existing)), parentPath, parentId};
    std::vector<std::pair<std::string, std::int64_t>> created;
    for (std::size_t names = existing + 1; names <= ends.size(); ++names) {
        const std::size_t start = names == 1 ? 0 : ends[names - 2] + 1;
        const std::string_view name = std::string_view(clean).substr(start, ends[names - 1] - start);
        std::string keyPath = parentPath.empty() ? std::string(name) : parentPath + '\\' + std::string(name);
        std::string keyFolded = folded.substr(0, ends[names - 1]);
        bindText(c.insertKey.get(), 1, keyPath);
        bindText(c.insertKey.get(), 2, keyFolded);
        rc = stepOnce(c.insertKey.get());
        if (!succeeded(rc))
            return abandon(h, rc);
        parentId = sqlite3_last_insert_rowid(c.db.get());
        parentPath = std::move(keyPath);
        created.emplace_back(std::move(keyFolded), parentId);
    }
    if (ownTransaction) {
        rc = stepOnce(c.commit.get());
        if (!succeeded(rc))
            return abandon(h, rc);
    } else if (!created.empty()) {
        c.recentKeys[1] = {created.back().first, parentPath, parentId};
    }

    id = parentId;
    if (created.empty()) {  // someone else made it meanwhile
        if (h.caching())
            h.cache.rememberKey(folded, id);
    } else if (committed(h)) {
        for (auto& [keyFolded, keyId] : created)
            h.cache.rememberKey(std::move(keyFolded), keyId);
    }
    return regerr::Success;
}

long SqliteRegistryStore::Impl::openOrCreate(Hive hive, const std::string& path, KeyHandle* key, bool create) {
    const int index = store::hiveIndex(hive);
    if (index < 0)
        return regerr::InvalidHandle;
    if (!key)
        return regerr::InvalidParameter;
    // A read-only open of the classes root skips one leading backslash, as Windows
    // does there and nowhere else; createKey refuses it there too.
    const bool skipBackslash = hive == Hive::ClassesRoot && !create && !path.empty() && path.front() == '\\';

    const std::lock_guard lock(mutex);
    // Programs open the same few keys again and again: the last path is not folded twice.
    LastPath& last = lastPath;
    if (!last.names || last.skipBackslash != skipBackslash || last.names->raw != path) {
        auto names = std::make_shared<store::KeyPathNames>();
        if (const long rc = store::normalizePath(skipBackslash ? path.substr(1) : path, names->folded, true))
            return rc;
        names->raw = path;
        last.names = std::move(names);
        last.skipBackslash = skipBackslash;
    }
    const std::string& folded = last.names->folded;
    HiveState& h = hives[index];
    h.problem.clear();
    // Opening a key that is there writes nothing: whether the hive's file is still
    // the one opened is for the write through it to ask (reopenForWrite), not for
    // every read of the suite, which opens its keys to write.
    if (const long rc = openToRead(h, create))
        return rc;
    std::int64_t id = 0;
    if (!h.conn) {  // no file yet: only the root key exists
        if (!folded.empty())
            return regerr::FileNotFound;
        id = store::kRootKeyId;
    } else {
        // A connection that may only read may be one to files since put right.
        if (create && !h.conn->writable() && forgetIfReplaced(h))
            if (const long rc = openToWrite(h, true))
                return rc;
        if (create && h.conn && !h.conn->writable()) {
            h.problem = h.readOnlyWhy;
            if (options.refused)
                options.refused(file(h));
            return regerr::AccessDenied;
        }
        if (const long rc = findKey(h, folded, id))
            return rc;
        if (id == 0 && !create)
            return regerr::FileNotFound;
        if (id == 0) {
            // Making keys is a write: into the file that is there now.
            if (forgetIfReplaced(h)) {
                if (const long rc = openToWrite(h, true))
                    return rc;
                if (const long rc = findKey(h, folded, id))
                    return rc;
            }
            if (id == 0)
                if (const long rc = createKeys(h, path, id))
                    return rc;
        }
    }
    *key = nextHandle++;
    handles.emplace(*key, OpenKey{index, id, create, h.generation, create ? last.names : nullptr,
                                  h.batch == Batch::Open ? h.batchSerial : 0});
    return regerr::Success;
}

long SqliteRegistryStore::Impl::fetchValue(HiveState& h, std::int64_t key, const std::string& folded,
                                           CachedValue& out) {
    sqlite3_stmt* select = h.conn->selectValue.get();
    sqlite3_bind_int64(select, 1, key);
    bindText(select, 2, folded);
    out.present = false;
    const int rc = stepOnce(select, [&](sqlite3_stmt* row) {
        out.present = true;
        out.type = static_cast<std::uint32_t>(sqlite3_column_int64(row, 0));
        const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(row, 1));
        const int count = sqlite3_column_bytes(row, 1);
        if (bytes && count > 0)
            out.data.assign(bytes, bytes + count);
        else
            out.data.clear();
    });
    return succeeded(rc) ? regerr::Success : failure(h, rc);
}

long SqliteRegistryStore::Impl::queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                                           std::vector<std::uint8_t>* data, std::uint32_t capacity,
                                           std::uint32_t* size) {
    std::string folded = store::foldName(store::cutAtNul(name));
    const std::lock_guard lock(mutex);
    const auto it = handles.find(key);
    if (it == handles.end())
        return regerr::InvalidHandle;
    const OpenKey open = it->second;
    HiveState& h = hives[open.hive];
    h.problem.clear();
    if (const long rc = openToRead(h))
        return rc;
    if (!h.conn)  // no file yet: the root key has no values
        return regerr::FileNotFound;
    if (open.stale(h))
        return regerr::KeyDeleted;  // its id means another key, or none, in the file there now

    h.refresh();
    if (h.caching())
        if (const CachedValue* cached = h.cache.findValue(open.id, folded))
            return cached->present ? deliver(*cached, type, data, capacity, size) : regerr::FileNotFound;
    CachedValue fetched;
    if (const long rc = fetchValue(h, open.id, folded, fetched))
        return rc;
    const CachedValue& value =
        h.caching() ? h.cache.rememberValue(open.id, std::move(folded), std::move(fetched)) : fetched;
    if (!value.present)
        return regerr::FileNotFound;
    return deliver(value, type, data, capacity, size);
}

long SqliteRegistryStore::Impl::setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                                         const std::vector<std::uint8_t>& data) {
    if (data.size() > std::numeric_limits<std::uint32_t>::max())
        return regerr::InvalidParameter;
    const std::string_view plainName = store::cutAtNul(name);
    if (plainName.size() > reglimit::ValueName && store::nameLength(plainName) > reglimit::ValueName)
        return regerr::InvalidParameter;
    std::string folded = store::foldName(plainName);
    const std::lock_guard lock(mutex);
    OpenKey open{};
    HiveState* hive = nullptr;
    if (const long rc = writableHive(key, open, hive, regerr::IoFailed))
        return rc;
    HiveState& h = *hive;
    const bool inBatch = h.batch == Batch::Open;
    // A key opened before the batch may have been deleted by another process since;
    // one opened within it only by the batch itself.
    if (inBatch && (open.batch != h.batchSerial || h.conn->batchRemovedKeys)) {
        bool there = false;
        sqlite3_bind_int64(h.conn->selectFolded.get(), 1, open.id);
        const int rc = stepOnce(h.conn->selectFolded.get(), [&](sqlite3_stmt*) { there = true; });
        if (!succeeded(rc))
            return failure(h, rc);
        if (!there)
            return regerr::KeyDeleted;
    }
    sqlite3_stmt* upsert = inBatch ? h.conn->upsertValueInBatch.get() : h.conn->upsertValue.get();
    sqlite3_bind_int64(upsert, 1, open.id);
    bindText(upsert, 2, folded);
    bindText(upsert, 3, plainName);
    sqlite3_bind_int64(upsert, 4, type);
    if (data.empty())
        sqlite3_bind_zeroblob(upsert, 5, 0);  // a null pointer would bind NULL
    else
        sqlite3_bind_blob64(upsert, 5, data.data(), data.size(), SQLITE_STATIC);
    const int rc = stepOnce(upsert);
    if (!succeeded(rc))
        return failure(h, rc);
    if (sqlite3_changes(h.conn->db.get()) == 0)
        return regerr::KeyDeleted;
    // A batch writes too much to keep: what it writes is read from the file.
    if (inBatch)
        h.cache.forgetValue(open.id, folded);
    else if (committed(h))
        h.cache.rememberValue(open.id, std::move(folded), CachedValue{true, type, data});
    return regerr::Success;
}

long SqliteRegistryStore::Impl::closeKey(KeyHandle key) {
    const std::lock_guard lock(mutex);
    if (!keyCursors.empty())
        keyCursors.erase(key);
    if (!valueCursors.empty())
        valueCursors.erase(key);
    return handles.erase(key) != 0 ? regerr::Success : regerr::InvalidHandle;
}

namespace {

// Waits for the disk to hold what was written to the file; a file that is not there
// holds nothing to wait for.
bool synced(const std::string& path, bool folder = false) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | (folder ? O_DIRECTORY : O_NONBLOCK));
    if (fd < 0)
        return errno == ENOENT;
    const bool done = ::fsync(fd) == 0;
    const int error = errno;
    ::close(fd);
    errno = error;
    return done;
}

}  // namespace

long SqliteRegistryStore::Impl::flushKey(KeyHandle key) {
    const std::lock_guard lock(mutex);
    const auto it = handles.find(key);
    if (it == handles.end())
        return regerr::InvalidHandle;
    HiveState& h = hives[it->second.hive];
    h.problem.clear();
    // The committed writes are in the -wal, or copied from it into the hive; the
    // folder holds their names.
    for (const auto& [path, folder] : {std::pair(file(h) + "-wal", false), std::pair(file(h), false),
                                       std::pair(h.place.folder, true)})
        if (!synced(path, folder)) {
            h.problem = path + " cannot be written to the disk: " + std::strerror(errno);
            return regerr::IoFailed;
        }
    return regerr::Success;
}

SqliteRegistryStore::SqliteRegistryStore(const std::string& folder) : SqliteRegistryStore(folder, folder, Options{}) {}

SqliteRegistryStore::SqliteRegistryStore(const std::string& folder, Options options)
    : SqliteRegistryStore(folder, folder, options) {}

SqliteRegistryStore::SqliteRegistryStore(const std::string& userFolder, const std::string& machineFolder)
    : SqliteRegistryStore(userFolder, machineFolder, Options{}) {}

SqliteRegistryStore::SqliteRegistryStore(const std::string& userFolder, const std::string& machineFolder,
                                         Options options)
    : d(std::make_unique<Impl>(userFolder, machineFolder, options)) {}

SqliteRegistryStore::~SqliteRegistryStore() = default;

long SqliteRegistryStore::createKey(Hive hive, const std::string& path, KeyHandle* key) {
    return d->openOrCreate(hive, path, key, true);
}

long SqliteRegistryStore::openKey(Hive hive, const std::string& path, KeyHandle* key) {
    return d->openOrCreate(hive, path, key, false);
}

long SqliteRegistryStore::queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                                     std::vector<std::uint8_t>* data, std::uint32_t capacity, std::uint32_t* size) {
    return d->queryValue(key, name, type, data, capacity, size);
}

long SqliteRegistryStore::setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                                   const std::vector<std::uint8_t>& data) {
    return d->setValue(key, name, type, data);
}

long SqliteRegistryStore::closeKey(KeyHandle key) {
    return d->closeKey(key);
}

long SqliteRegistryStore::flushKey(KeyHandle key) {
    return d->flushKey(key);
}

long SqliteRegistryStore::enumKey(KeyHandle key, std::uint32_t index, std::string* name) {
    return d->enumKey(key, index, name);
}

long SqliteRegistryStore::enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                                    std::vector<std::uint8_t>* data) {
    return d->enumValue(key, index, name, type, data);
}

long SqliteRegistryStore::deleteValue(KeyHandle key, const std::string& name) {
    return d->deleteValue(key, name);
}

long SqliteRegistryStore::deleteTree(KeyHandle key, const std::string& path) {
    return d->deleteTree(key, path);
}

long SqliteRegistryStore::beginBatch(Hive hive) {
    return d->beginBatch(hive);
}

long SqliteRegistryStore::commitBatch(Hive hive) {
    return d->commitBatch(hive);
}

long SqliteRegistryStore::abortBatch(Hive hive) {
    return d->abortBatch(hive);
}

long SqliteRegistryStore::beginReading(Hive hive) {
    return d->beginReading(hive);
}

long SqliteRegistryStore::endReading(Hive hive) {
    return d->endReading(hive);
}

std::string SqliteRegistryStore::diagnostic(Hive hive) {
    return d->diagnostic(hive);
}

long SqliteRegistryStore::changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes) {
    return d->changesSince(hive, position, changes);
}

std::string SqliteRegistryStore::changeFile(Hive hive) const {
    const int index = store::hiveIndex(hive);
    return index < 0 ? std::string() : d->hives[index].place.file + "-changes";
}

std::string SqliteRegistryStore::hiveFile(Hive hive) const {
    const int index = store::hiveIndex(hive);
    return index < 0 ? std::string() : d->hives[index].place.file;
}

}  // namespace paramcor
