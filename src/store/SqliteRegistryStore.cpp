// The registry store of POSIX systems: each hive is an SQLite file in WAL mode.
//
// A read through SQLite costs several microseconds, and the programs read their
// parameters all the time, so each store keeps in memory the key ids and the values
// (missing ones too) it has read (HiveCache.h), for as long as the hive's change
// counter has not moved (ChangeCounter.h). The files, their permissions and their
// checks are in HiveFiles, the connections in HiveConnection, what is inside a hive
// in HiveSchema, and listing in Enumeration; this file runs the operations.
#include <CVLParamcor/SqliteRegistryStore.h>

#include "Enumeration.h"
#include "HiveCache.h"
#include "HiveConnection.h"
#include "HiveFiles.h"
#include "HiveSchema.h"
#include "KeyPaths.h"
#include "NameFolding.h"
#include "SqliteDeletion.h"
#include "SqliteSupport.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace paramcor {

using store::Access;
using store::bindText;
using store::CachedValue;
using store::Connection;
using store::Cursor;
using store::FileAccess;
using store::fromSqlite;
using store::isBusy;
using store::stepOnce;
using store::succeeded;

namespace {

enum HiveIndex { ClassesRootIndex, CurrentUserIndex, LocalMachineIndex, HiveCount };

int hiveIndex(Hive hive) {
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
    std::string problem;        // why the last operation could not use the hive as it should
    std::string readOnlyWhy;    // why a connection that should write may only read

    bool caching() const { return conn && conn->counter.mapped(); }

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

struct OpenKey {
    int hive;
    std::int64_t id;
    bool writable;
};

long deliver(const CachedValue& value, std::uint32_t* type, std::vector<std::uint8_t>* data, std::uint32_t capacity,
             std::uint32_t* size) {
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

std::string describeFileType(mode_t mode) {
    if (S_ISDIR(mode))
        return "a folder";
    if (S_ISFIFO(mode))
        return "a pipe";
    if (S_ISSOCK(mode))
        return "a socket";
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return "a device";
    return "not a regular file";
}

}  // namespace

struct SqliteRegistryStore::Impl {
    Options options;
    std::mutex mutex;
    std::array<HiveState, HiveCount> hives;
    std::unordered_map<KeyHandle, OpenKey> handles;
    std::unordered_map<KeyHandle, Cursor> keyCursors;
    std::unordered_map<KeyHandle, Cursor> valueCursors;
    KeyHandle nextHandle = 1;

    Impl(const std::string& userFolder, const std::string& machineFolder, Options opts) : options(opts) {
        const auto place = [this](int index, const std::string& folder, const char* name, FileAccess access) {
            hives[index].place = {folder, (std::filesystem::path(folder) / name).string(), access};
        };
        // In the user's folder the machine hive is the user's too.
        const FileAccess machine = machineFolder == userFolder ? opts.userFiles : opts.machineFiles;
        place(ClassesRootIndex, userFolder, "HKEY_CLASSES_ROOT.db", opts.userFiles);
        place(CurrentUserIndex, userFolder, "HKEY_CURRENT_USER.db", opts.userFiles);
        place(LocalMachineIndex, machineFolder, "HKEY_LOCAL_MACHINE.db", machine);
    }

    const std::string& file(const HiveState& h) const { return h.place.file; }

    // Returns the error of an SQLite call. The connection is dropped unless the hive
    // is only busy: the next call opens and checks the file again. A batch dies with
    // its connection.
    long failure(HiveState& h, int rc) {
        if (isBusy(rc)) {
            h.problem = file(h) + " is held by another process for longer than this one waits (" +
                        std::to_string(options.busyTimeoutMs) + " ms)";
            return fromSqlite(rc);
        }
        const char* message = h.conn ? sqlite3_errmsg(h.conn->db.get()) : "";
        const int primary = rc & 0xFF;
        h.problem = file(h) + (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB ? " is damaged: " : " failed: ") +
                    message;
        if (h.batch == Batch::Open)
            h.batch = Batch::Lost;
        h.conn.reset();
        h.dropCaches();
        return fromSqlite(rc);
    }

    // Makes sure the hive's file is open. Without `create` a missing file is no
    // error: the hive is empty, and h.conn stays null.
    long openHive(HiveState& h, bool create) {
        if (h.conn && h.conn->access == Access::Snapshot && !h.conn->stillWhole(file(h))) {
            h.conn.reset();  // somebody writes the hive now: read it with them
            h.dropCaches();
        }
        if (h.conn)
            return regerr::Success;
        struct stat st {};
        if (::stat(file(h).c_str(), &st) != 0) {
            if (errno != ENOENT && errno != ENOTDIR) {
                h.problem = file(h) + " cannot be reached: " + std::strerror(errno);
                return regerr::IoFailed;
            }
            return create ? createHive(h) : regerr::Success;
        }
        if (!S_ISREG(st.st_mode)) {
            h.problem = file(h) + " is " + describeFileType(st.st_mode) + ", not a hive file";
            return regerr::IoFailed;
        }
        if (st.st_size == 0)  // left by a creator that did not get to commit
            return create ? createHive(h) : regerr::Success;
        if (const long rc = store::checkHeader(file(h), store::kApplicationId, h.problem))
            return rc;
        return connect(h, store::mayWrite(file(h), st));
    }

    long createHive(HiveState& h) {
        if (const long rc = store::makeFolder(h.place, h.problem))
            return rc;
        struct stat st {};
        if (::stat(file(h).c_str(), &st) == 0 && !store::mayWrite(file(h), st)) {
            h.problem = file(h) + " may not be written";
            return regerr::AccessDenied;
        }
        if (const long rc = store::createHiveFile(h.place, h.problem))
            return rc;
        sqlite3* raw = nullptr;
        int rc = sqlite3_open_v2(file(h).c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
        store::Database db(raw);
        bool foreign = false;
        if (rc == SQLITE_OK) {
            sqlite3_busy_timeout(raw, options.busyTimeoutMs);
            rc = store::initializeHive(raw, foreign);
        }
        if (rc != SQLITE_OK)
            h.problem = file(h) + " cannot be made a hive: " + (raw ? sqlite3_errmsg(raw) : "out of memory");
        db.reset();
        if (foreign) {
            h.problem = file(h) + " is not a hive of CVLParamcor: another program made a database in its place";
            return regerr::BadDatabase;
        }
        if (rc != SQLITE_OK)
            return fromSqlite(rc);
        return connect(h, true);
    }

    // Opens a file that is ours, or empty and being made ours.
    long connect(HiveState& h, bool writable) {
        store::tighten(h.place);
        std::unique_ptr<Connection> c;
        store::Opened opened = store::openConnection(h.place, writable, options.busyTimeoutMs, c);
        if (opened.rc != regerr::Success) {
            h.problem = std::move(opened.why);
            return opened.rc;
        }
        h.conn = std::move(c);
        h.readOnlyWhy = std::move(opened.why);
        if (!h.conn->writable() && h.readOnlyWhy.empty())
            h.readOnlyWhy = file(h) + " may not be written";
        h.dropCaches();
        if (opened.refolded && h.conn->counter.writable())
            h.conn->counter.bump();  // others found keys by the old names
        h.cache.setSeen(h.conn->counter.load());
        return regerr::Success;
    }

    // Before a write outside a batch, or a batch: the counter must be one this
    // process bumps, or one nobody has. A missing one may have appeared since.
    long readyToWrite(HiveState& h) {
        if (h.batch == Batch::Lost) {
            h.problem = file(h) + ": the batch of writes was lost, when the hive failed";
            return regerr::IoFailed;
        }
        if (!h.conn->writable()) {
            h.problem = h.readOnlyWhy;
            return regerr::AccessDenied;
        }
        store::ChangeCounter& counter = h.conn->counter;
        if (counter.state() == store::ChangeCounter::State::Missing) {
            struct stat st {};
            ::stat(file(h).c_str(), &st);
            counter.open(file(h) + "-changes", true, st);
            h.cache.setSeen(counter.load());
            h.dropCaches();
            if (counter.state() == store::ChangeCounter::State::ReadOnly) {
                h.conn->access = Access::Read;
                h.readOnlyWhy = h.problem = counter.problem() + ": this program reads the hive only";
                return regerr::AccessDenied;
            }
        }
        return regerr::Success;
    }

    // A committed write: tell the others, and keep what was written if we may.
    bool committed(HiveState& h) { return h.batch == Batch::Open ? h.caching() : h.publish() && h.caching(); }

    // Looks a key up by its folded path; `id` is 0 when there is no such key.
    int lookUpKey(Connection& c, std::string_view folded, std::int64_t& id, std::string* path) {
        id = 0;
        bindText(c.selectKey.get(), 1, folded);
        return stepOnce(c.selectKey.get(), [&](sqlite3_stmt* row) {
            id = sqlite3_column_int64(row, 0);
            if (path)
                *path = store::columnText(row, 1);
        });
    }

    long findKey(HiveState& h, const std::string& folded, std::int64_t& id) {
        h.refresh();
        if (h.caching())
            if (const std::int64_t* known = h.cache.findKey(folded)) {
                id = *known;
                return regerr::Success;
            }
        const int rc = lookUpKey(*h.conn, folded, id, nullptr);
        if (!succeeded(rc))
            return failure(h, rc);
        if (h.caching())
            h.cache.rememberKey(folded, id);
        return regerr::Success;
    }

    long abandon(HiveState& h, int rc) {
        if (h.batch != Batch::Open)
            stepOnce(h.conn->rollback.get());
        return failure(h, rc);
    }

    // Creates the key and its missing parents in one transaction (the batch's, when
    // one is open).
    long createKeys(HiveState& h, const std::string& path, std::int64_t& id) {
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
        int rc = ownTransaction ? stepOnce(c.begin.get()) : SQLITE_OK;
        if (!succeeded(rc))
            return failure(h, rc);

        // Start from the deepest key that exists now: another process may have created
        // some of them since we looked.
        std::size_t existing = ends.size() + 1;
        std::int64_t parentId = 0;
        std::string parentPath;
        while (parentId == 0 && existing > 0) {
            --existing;
            rc = lookUpKey(c, std::string_view(folded).substr(0, prefixLength(existing)), parentId, &parentPath);
            if (!succeeded(rc))
                return abandon(h, rc);
        }
        if (parentId == 0) {  // not even the root key
            h.problem = file(h) + " is damaged: it has no root key";
            return abandon(h, SQLITE_CORRUPT);
        }

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

    long openOrCreate(Hive hive, const std::string& path, KeyHandle* key, bool create) {
        const int index = hiveIndex(hive);
        if (index < 0)
            return regerr::InvalidHandle;
        if (!key)
            return regerr::InvalidParameter;
        // A read-only open of the classes root skips one leading backslash, as Windows
        // does there and nowhere else; createKey refuses it there too.
        const bool skipBackslash = hive == Hive::ClassesRoot && !create && !path.empty() && path.front() == '\\';
        std::string folded;
        if (const long rc = store::normalizePath(skipBackslash ? path.substr(1) : path, folded, true))
            return rc;

        const std::lock_guard lock(mutex);
        HiveState& h = hives[index];
        h.problem.clear();
        if (const long rc = openHive(h, create))
            return rc;
        std::int64_t id = 0;
        if (!h.conn) {  // no file yet: only the root key exists
            if (!folded.empty())
                return regerr::FileNotFound;
            id = store::kRootKeyId;
        } else {
            if (create && !h.conn->writable()) {
                h.problem = h.readOnlyWhy;
                if (options.refused)
                    options.refused(file(h));
                return regerr::AccessDenied;
            }
            if (const long rc = findKey(h, folded, id))
                return rc;
            if (id == 0 && !create)
                return regerr::FileNotFound;
            if (id == 0)
                if (const long rc = createKeys(h, path, id))
                    return rc;
        }
        *key = nextHandle++;
        handles.emplace(*key, OpenKey{index, id, create});
        return regerr::Success;
    }

    long fetchValue(HiveState& h, std::int64_t key, const std::string& folded, CachedValue& out) {
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

    long queryValue(KeyHandle key, const std::string& name, std::uint32_t* type, std::vector<std::uint8_t>* data,
                    std::uint32_t capacity, std::uint32_t* size) {
        std::string folded = store::foldName(store::cutAtNul(name));
        const std::lock_guard lock(mutex);
        const auto it = handles.find(key);
        if (it == handles.end())
            return regerr::InvalidHandle;
        const OpenKey open = it->second;
        HiveState& h = hives[open.hive];
        h.problem.clear();
        if (const long rc = openHive(h, false))
            return rc;
        if (!h.conn)  // no file yet: the root key has no values
            return regerr::FileNotFound;

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

    long setValue(KeyHandle key, const std::string& name, std::uint32_t type, const std::vector<std::uint8_t>& data) {
        if (data.size() > std::numeric_limits<std::uint32_t>::max())
            return regerr::InvalidParameter;
        const std::string_view plainName = store::cutAtNul(name);
        if (plainName.size() > reglimit::ValueName && store::nameLength(plainName) > reglimit::ValueName)
            return regerr::InvalidParameter;
        std::string folded = store::foldName(plainName);
        const std::lock_guard lock(mutex);
        const auto it = handles.find(key);
        if (it == handles.end())
            return regerr::InvalidHandle;
        const OpenKey open = it->second;
        if (!open.writable)
            return regerr::AccessDenied;
        HiveState& h = hives[open.hive];
        h.problem.clear();
        if (h.batch == Batch::Lost)
            return readyToWrite(h);
        if (const long rc = openHive(h, false))
            return rc;
        if (!h.conn) {  // the file was removed under an open key
            h.problem = file(h) + " was removed";
            return regerr::IoFailed;
        }
        if (const long rc = readyToWrite(h))
            return rc;

        h.refresh();
        sqlite3_stmt* upsert = h.conn->upsertValue.get();
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
        if (committed(h))
            h.cache.rememberValue(open.id, std::move(folded), CachedValue{true, type, data});
        return regerr::Success;
    }

    // The hive of a key opened for writing, ready to delete in.
    long deletable(KeyHandle key, OpenKey& open, HiveState*& hive) {
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
        if (!h.conn)
            return regerr::FileNotFound;  // no file: nothing to delete
        if (const long rc = readyToWrite(h))
            return rc;
        h.refresh();
        hive = &h;
        return regerr::Success;
    }

    long deleteValue(KeyHandle key, const std::string& name) {
        std::string folded = store::foldName(store::cutAtNul(name));
        const std::lock_guard lock(mutex);
        OpenKey open{};
        HiveState* hive = nullptr;
        if (const long rc = deletable(key, open, hive))
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

    long deleteTree(KeyHandle key, const std::string& path) {
        std::string folded;
        if (const long rc = store::normalizePath(path, folded, true))
            return rc;
        const std::lock_guard lock(mutex);
        OpenKey open{};
        HiveState* hive = nullptr;
        if (const long rc = deletable(key, open, hive))
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

    long closeKey(KeyHandle key) {
        const std::lock_guard lock(mutex);
        keyCursors.erase(key);
        valueCursors.erase(key);
        return handles.erase(key) != 0 ? regerr::Success : regerr::InvalidHandle;
    }

    // The hive of an open key, ready to be read; null, with NoMoreItems, while the
    // hive has no file: then the root key is all there is, without values.
    long enumerable(KeyHandle key, OpenKey& open, HiveState*& hive) {
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

    long enumKey(KeyHandle key, std::uint32_t index, std::string* name) {
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

    long enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
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

    HiveState* hiveOf(Hive hive) {
        const int index = hiveIndex(hive);
        return index < 0 ? nullptr : &hives[index];
    }

    long beginBatch(Hive hive) {
        const std::lock_guard lock(mutex);
        HiveState* state = hiveOf(hive);
        if (!state)
            return regerr::InvalidHandle;
        HiveState& h = *state;
        h.problem.clear();
        if (h.batch != Batch::None)
            return regerr::InvalidParameter;
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
    }

    long commitBatch(Hive hive) {
        const std::lock_guard lock(mutex);
        HiveState* state = hiveOf(hive);
        if (!state)
            return regerr::InvalidHandle;
        HiveState& h = *state;
        if (h.batch == Batch::None)
            return regerr::InvalidParameter;
        if (h.batch == Batch::Lost) {
            const long rc = readyToWrite(h);
            h.batch = Batch::None;
            return rc;
        }
        h.problem.clear();
        const int rc = stepOnce(h.conn->commit.get());
        if (!succeeded(rc)) {
            stepOnce(h.conn->rollback.get());
            h.batch = Batch::None;
            h.dropCaches();
            return failure(h, rc);
        }
        h.batch = Batch::None;
        if (!h.publish())
            h.dropCaches();
        return regerr::Success;
    }

    long abortBatch(Hive hive) {
        const std::lock_guard lock(mutex);
        HiveState* state = hiveOf(hive);
        if (!state)
            return regerr::InvalidHandle;
        HiveState& h = *state;
        if (h.batch == Batch::None)
            return regerr::InvalidParameter;
        if (h.batch == Batch::Open && h.conn)
            stepOnce(h.conn->rollback.get());
        h.batch = Batch::None;
        h.dropCaches();
        return regerr::Success;
    }

    std::string diagnostic(Hive hive) {
        const std::lock_guard lock(mutex);
        const HiveState* h = hiveOf(hive);
        if (!h)
            return std::string();
        if (!h->problem.empty() || !h->conn)
            return h->problem;
        return h->conn->counter.problem();
    }
};

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

std::string SqliteRegistryStore::diagnostic(Hive hive) {
    return d->diagnostic(hive);
}

std::string SqliteRegistryStore::changeFile(Hive hive) const {
    const int index = hiveIndex(hive);
    return index < 0 ? std::string() : d->hives[index].place.file + "-changes";
}

std::string SqliteRegistryStore::hiveFile(Hive hive) const {
    const int index = hiveIndex(hive);
    return index < 0 ? std::string() : d->hives[index].place.file;
}

}  // namespace paramcor
