// The registry store of POSIX systems: each hive is an SQLite file in WAL mode.
//
// A read through SQLite costs several microseconds, and the programs read their
// parameters all the time, so each store keeps in memory the key ids and the values
// (missing ones too) it has read. They stay valid as long as the hive's change
// counter has not moved: one 64-bit word in a small file beside the hive, mapped
// shared by every process that uses it. Every committed write bumps it after the
// commit; a store that finds it moved forgets what it had read.
#include <CVLParamcor/SqliteRegistryStore.h>

#include "NameFolding.h"
#include "SqliteDeletion.h"

#include <sqlite3.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <mutex>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>

namespace paramcor {

namespace {

constexpr std::int64_t kApplicationId = 0x43564C50;  // "CVLP", at offset 68 of the file
constexpr std::int64_t kSchemaVersion = 1;
constexpr std::int64_t kRootKeyId = 1;
// Characters, as Windows counts them. Its documentation says 255, but the registry
// takes 256 and refuses 257.
constexpr std::size_t kMaxKeyNameLength = 256;
constexpr std::size_t kMaxCachedValues = 1u << 16;  // beyond that the cache starts again

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
           "PRAGMA application_id = " +
           std::to_string(kApplicationId) +
           ";"
           "PRAGMA user_version = " +
           std::to_string(kSchemaVersion) + ";";
}

long fromSqlite(int rc) {
    switch (rc & 0xFF) {
        case SQLITE_OK:
        case SQLITE_DONE:
        case SQLITE_ROW:
            return regerr::Success;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return regerr::SharingViolation;
        case SQLITE_NOTADB:
        case SQLITE_CORRUPT:
        case SQLITE_ERROR:
            return regerr::BadDatabase;  // a statement of ours no longer fits the file
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return regerr::AccessDenied;
        default:
            return regerr::IoFailed;  // CANTOPEN, IOERR, FULL, NOMEM...
    }
}

bool isBusy(int rc) {
    return (rc & 0xFF) == SQLITE_BUSY || (rc & 0xFF) == SQLITE_LOCKED;
}

// Names are C strings on Windows: whatever follows a NUL is not part of them.
std::string_view cutAtNul(const std::string& name) {
    return std::string_view(name.c_str());
}

// Resolves a key path as Windows does: a leading backslash is refused, empty
// components (a trailing or a doubled backslash) are skipped and no key name may be
// longer than 256 characters. `out` gets the names joined by single backslashes,
// upper-cased when `fold`.
long normalizePath(const std::string& path, std::string& out, bool fold) {
    const std::string_view p = cutAtNul(path);
    if (!p.empty() && p.front() == '\\')
        return regerr::BadPathname;
    out.clear();
    out.reserve(p.size());
    std::size_t start = 0;
    while (start <= p.size()) {
        std::size_t end = p.find('\\', start);
        if (end == std::string_view::npos)
            end = p.size();
        const std::string_view name = p.substr(start, end - start);
        if (!name.empty()) {
            if (name.size() > kMaxKeyNameLength && store::nameLength(name) > kMaxKeyNameLength)
                return regerr::InvalidParameter;
            if (!out.empty())
                out += '\\';
            out += name;
        }
        start = end + 1;
    }
    if (fold)
        store::foldInPlace(out);
    return regerr::Success;
}

// Whether this process may write the file. Someone who deliberately removed every
// write permission bit wants the hive left alone, even by root, which access() lets
// write anything.
bool mayWrite(const std::string& file, const struct stat& st) {
    return (st.st_mode & 0222) != 0 && ::access(file.c_str(), W_OK) == 0;
}

// The header is read with plain file I/O: a file that is not one of our hives must
// never reach SQLite, which could roll back a journal in it or change its mode.
long checkHeader(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return regerr::IoFailed;
    std::array<char, 100> header{};
    in.read(header.data(), header.size());
    if (in.bad())
        return regerr::IoFailed;
    if (in.gcount() != static_cast<std::streamsize>(header.size()))
        return regerr::BadDatabase;
    static constexpr char kMagic[] = "SQLite format 3";  // the terminating NUL is part of it
    if (std::memcmp(header.data(), kMagic, sizeof kMagic) != 0)
        return regerr::BadDatabase;
    std::int64_t id = 0;
    for (int i = 68; i < 72; ++i)
        id = (id << 8) | static_cast<unsigned char>(header[i]);
    return id == kApplicationId ? regerr::Success : regerr::BadDatabase;
}

struct DatabaseCloser {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Database = std::unique_ptr<sqlite3, DatabaseCloser>;

struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

int prepare(sqlite3* db, const char* sql, Statement& out) {
    sqlite3_stmt* raw = nullptr;
    const int rc = sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
    out.reset(raw);
    return rc;
}

// Steps a statement once and resets it at once, so that it never holds a read
// transaction open: that would pin an old snapshot of the hive. `onRow` reads the
// row, if there is one, before the reset.
template <class OnRow>
int stepOnce(sqlite3_stmt* statement, OnRow&& onRow) {
    const int rc = sqlite3_step(statement);
    if (rc == SQLITE_ROW)
        onRow(statement);
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    return rc;
}

int stepOnce(sqlite3_stmt* statement) {
    return stepOnce(statement, [](sqlite3_stmt*) {});
}

bool succeeded(int rc) {
    return rc == SQLITE_OK || rc == SQLITE_DONE || rc == SQLITE_ROW;
}

int queryInt(sqlite3* db, const char* sql, std::int64_t& value) {
    Statement statement;
    int rc = prepare(db, sql, statement);
    if (rc != SQLITE_OK)
        return rc;
    rc = stepOnce(statement.get(), [&](sqlite3_stmt* row) { value = sqlite3_column_int64(row, 0); });
    return succeeded(rc) ? SQLITE_OK : rc;
}

void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
    sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

// Puts the hive in WAL mode; a no-op when it is already. The switch needs the file
// to itself, and when processes that create the hive together hold it, SQLite
// refuses at once instead of calling the busy handler: so wait here, as long as the
// busy handler would.
int enterWal(sqlite3* db, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const int rc = sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
        if (!isBusy(rc) || std::chrono::steady_clock::now() >= deadline)
            return rc;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// Fills a new file with our schema, unless another process did it while this one
// waited for the lock. It runs in rollback-journal mode, so that the application id
// lands in the main file, where openers check it before SQLite sees the file.
// `foreign` tells that somebody else's database took the place meanwhile.
int initializeHive(sqlite3* db, bool& foreign) {
    int rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        return rc;
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

// The change counter of a hive: one 64-bit word in a file beside it ("-changes"),
// mapped shared by every process that uses the hive.
class ChangeCounter {
public:
    static_assert(std::atomic_ref<std::uint64_t>::is_always_lock_free,
                  "the counter is shared between processes: it cannot use a lock of ours");

    ChangeCounter() = default;
    ChangeCounter(const ChangeCounter&) = delete;
    ChangeCounter& operator=(const ChangeCounter&) = delete;
    ~ChangeCounter() {
        if (word_)
            ::munmap(word_, sizeof *word_);
    }

    // Maps the file read-write if possible, else read-only. A writer creates it, with
    // the permission bits of the hive: whoever may write the hive must be able to
    // bump its counter.
    void map(const std::string& path, bool create, mode_t mode) {
        path_ = path;
        // O_NONBLOCK: a FIFO in its place must not hang us.
        constexpr int flags = O_CLOEXEC | O_NONBLOCK;
        int fd = -1;
        if (create) {
            fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | flags, mode);
            if (fd >= 0)
                ::fchmod(fd, mode);  // whatever our umask says
        }
        if (fd < 0)
            fd = ::open(path.c_str(), O_RDWR | flags);
        const bool writable = fd >= 0;
        if (fd < 0)
            fd = ::open(path.c_str(), O_RDONLY | flags);
        if (fd < 0)
            return;
        struct stat st {};
        bool usable = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
        if (usable && st.st_size < static_cast<off_t>(sizeof(std::uint64_t)))
            usable = writable && ::ftruncate(fd, sizeof(std::uint64_t)) == 0;
        if (usable) {
            void* p = ::mmap(nullptr, sizeof(std::uint64_t), writable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED,
                             fd, 0);
            if (p != MAP_FAILED) {
                word_ = static_cast<std::uint64_t*>(p);
                writable_ = writable;
            }
        }
        ::close(fd);
    }

    bool mapped() const { return word_ != nullptr; }
    bool writable() const { return writable_; }

    std::uint64_t load() const {
        return word_ ? std::atomic_ref<std::uint64_t>(*word_).load(std::memory_order_acquire) : 0;
    }

    // Returns the value before the bump. The file's time is set too: a write through
    // the mapping tells nobody, a change of status wakes whoever follows the file
    // (inotify), so that programs can be told of changes without asking.
    std::uint64_t bump() {
        const std::uint64_t before = std::atomic_ref<std::uint64_t>(*word_).fetch_add(1, std::memory_order_acq_rel);
        ::utimensat(AT_FDCWD, path_.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
        return before;
    }

private:
    std::uint64_t* word_ = nullptr;
    bool writable_ = false;
    std::string path_;
};

// An open SQLite connection to a hive with its prepared statements. The statements
// are declared after the database, so they are finalized before it is closed.
struct Connection {
    Database db;
    bool writable = false;
    Statement selectKey;
    Statement selectValue;
    Statement selectFolded;
    Statement enumKeys;
    Statement enumValues;
    Statement insertKey;
    Statement upsertValue;
    Statement begin;
    Statement commit;
    Statement rollback;
    ChangeCounter counter;
};

struct CachedValue {
    bool present = false;  // a missing value is remembered too
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
};

struct HiveState {
    std::string folder;
    std::string file;
    std::unique_ptr<Connection> conn;  // null until the file is opened, and while it does not exist

    std::uint64_t seen = 0;                                // the counter the caches were filled at
    std::unordered_map<std::string, std::int64_t> keyIds;  // by folded path; 0: no such key
    std::unordered_map<std::int64_t, std::unordered_map<std::string, CachedValue>> values;
    std::size_t cachedValues = 0;

    bool caching() const { return conn && conn->counter.mapped(); }

    void dropCaches() {
        keyIds.clear();
        values.clear();
        cachedValues = 0;
    }

    // Forgets what was read when anyone has written since.
    void refresh() {
        if (!caching())
            return;
        const std::uint64_t now = conn->counter.load();
        if (now != seen) {
            dropCaches();
            seen = now;
        }
    }

    // Tells the other stores that this one has committed a write. Returns whether the
    // write may go into this store's caches: not when someone else wrote since the
    // last refresh, whose data may be newer than ours.
    bool publish() {
        ChangeCounter& counter = conn->counter;
        if (!counter.mapped())
            return false;
        if (!counter.writable())
            return true;  // nobody will hear of it, but our own view stays right
        const std::uint64_t before = counter.bump();
        const bool alone = before == seen;
        seen = before + 1;
        if (!alone)
            dropCaches();
        return alone;
    }

    CachedValue& remember(std::int64_t key, std::string folded, CachedValue value) {
        if (cachedValues >= kMaxCachedValues)
            dropCaches();
        auto [it, inserted] = values[key].insert_or_assign(std::move(folded), std::move(value));
        if (inserted)
            ++cachedValues;
        return it->second;
    }
};

struct OpenKey {
    int hive;
    std::int64_t id;
    bool writable;
};

// Where the last enumeration of a key's subkeys stopped, so that asking for the
// next index goes on from there instead of counting again from the first subkey.
struct KeyCursor {
    std::uint32_t next = 0;
    std::string after;  // the folded path of the subkey at next - 1
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

}  // namespace

struct SqliteRegistryStore::Impl {
    Options options;
    std::mutex mutex;
    std::array<HiveState, HiveCount> hives;
    std::unordered_map<KeyHandle, OpenKey> handles;
    std::unordered_map<KeyHandle, KeyCursor> cursors;
    KeyHandle nextHandle = 1;

    Impl(const std::string& userFolder, const std::string& machineFolder, Options opts) : options(opts) {
        const auto place = [this](int index, const std::string& folder, const char* name) {
            hives[index].folder = folder;
            hives[index].file = (std::filesystem::path(folder) / name).string();
        };
        place(ClassesRootIndex, userFolder, "HKEY_CLASSES_ROOT.db");
        place(CurrentUserIndex, userFolder, "HKEY_CURRENT_USER.db");
        place(LocalMachineIndex, machineFolder, "HKEY_LOCAL_MACHINE.db");
    }

    // Returns the error of an SQLite call. The connection is dropped unless the hive
    // is only busy: the next call opens and checks the file again.
    long failure(HiveState& h, int rc) {
        if (!isBusy(rc)) {
            h.conn.reset();
            h.dropCaches();
        }
        return fromSqlite(rc);
    }

    // Makes sure the hive's file is open. Without `create` a missing file is no
    // error: the hive is empty, and h.conn stays null.
    long openHive(HiveState& h, bool create) {
        if (h.conn)
            return regerr::Success;
        struct stat st {};
        if (::stat(h.file.c_str(), &st) != 0) {
            if (errno != ENOENT && errno != ENOTDIR)
                return regerr::IoFailed;
            return create ? createHive(h) : regerr::Success;
        }
        if (!S_ISREG(st.st_mode))
            return regerr::IoFailed;
        if (st.st_size == 0)  // left by a creator that did not get to commit
            return create ? createHive(h) : regerr::Success;
        if (const long rc = checkHeader(h.file))
            return rc;
        return connect(h, mayWrite(h.file, st));
    }

    long createHive(HiveState& h) {
        std::error_code ec;
        std::filesystem::create_directories(h.folder, ec);
        if (ec || ::access(h.folder.c_str(), W_OK) != 0)
            return regerr::AccessDenied;  // an empty hive that cannot be written
        struct stat st {};
        if (::stat(h.file.c_str(), &st) == 0 && !mayWrite(h.file, st))
            return regerr::AccessDenied;

        sqlite3* raw = nullptr;
        int rc = sqlite3_open_v2(h.file.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                                 nullptr);
        Database db(raw);
        bool foreign = false;
        if (rc == SQLITE_OK) {
            sqlite3_busy_timeout(db.get(), options.busyTimeoutMs);
            rc = initializeHive(db.get(), foreign);
        }
        db.reset();
        if (foreign)
            return regerr::BadDatabase;
        if (rc != SQLITE_OK)
            return fromSqlite(rc);
        return connect(h, true);
    }

    long connect(HiveState& h, bool writable) {
        auto c = std::make_unique<Connection>();
        c->writable = writable;
        sqlite3* raw = nullptr;
        const int flags = (writable ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) | SQLITE_OPEN_NOMUTEX;
        int rc = sqlite3_open_v2(h.file.c_str(), &raw, flags, nullptr);
        c->db.reset(raw);
        sqlite3* db = raw;
        if (rc == SQLITE_OK)
            sqlite3_busy_timeout(db, options.busyTimeoutMs);
        // Only read until the file has proved to be ours, in its schema version too.
        std::int64_t applicationId = 0;
        std::int64_t version = 0;
        if (rc == SQLITE_OK)
            rc = queryInt(db, "PRAGMA application_id", applicationId);
        if (rc == SQLITE_OK)
            rc = queryInt(db, "PRAGMA user_version", version);
        if (rc == SQLITE_OK && (applicationId != kApplicationId || version != kSchemaVersion))
            return regerr::BadDatabase;
        if (rc == SQLITE_OK && writable) {
            // The -wal and -shm files stay when the last writer closes, so that
            // read-only openers, who cannot create them, find them.
            int persist = 1;
            sqlite3_file_control(db, "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
            rc = enterWal(db, options.busyTimeoutMs);
            if (rc == SQLITE_OK)
                rc = sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
        }
        if (rc == SQLITE_OK)
            rc = prepareStatements(*c);
        if (rc != SQLITE_OK) {
            const int primary = rc & 0xFF;
            if (writable && (primary == SQLITE_READONLY || primary == SQLITE_CANTOPEN || primary == SQLITE_PERM)) {
                // Say, a folder we may not write that lacks the -wal and -shm files.
                c.reset();
                return connect(h, false);
            }
            return fromSqlite(rc);
        }

        struct stat st {};
        const mode_t mode = ::stat(h.file.c_str(), &st) == 0 ? (st.st_mode & 0666) : 0644;
        c->counter.map(h.file + "-changes", writable, mode);
        h.conn = std::move(c);
        h.dropCaches();
        h.seen = h.conn->counter.load();
        return regerr::Success;
    }

    static int prepareStatements(Connection& c) {
        sqlite3* db = c.db.get();
        int rc = prepare(db, "SELECT id, path FROM keys WHERE folded = ?1", c.selectKey);
        if (rc == SQLITE_OK)
            rc = prepare(db, "SELECT type, data FROM vals WHERE key = ?1 AND folded = ?2", c.selectValue);
        // The file keeps no parent column, so that hives written before enumeration
        // existed need no change: the subkeys of a key are the paths that continue
        // its own ("PATH\", ?3) with one more name. They lie between "PATH\" and
        // "PATH]" ("]" follows the backslash), a range of the index on folded paths;
        // ?2 is null for the root key. ?1 is where to start: "PATH\", or the subkey
        // found last.
        if (rc == SQLITE_OK)
            rc = prepare(db, "SELECT folded FROM keys WHERE id = ?1", c.selectFolded);
        if (rc == SQLITE_OK)
            rc = prepare(db,
                         "SELECT path, folded FROM keys"
                         " WHERE folded > ?1 AND (?2 IS NULL OR folded < ?2)"
                         " AND instr(substr(folded, length(?3) + 1), '\\') = 0"
                         " ORDER BY folded LIMIT 1 OFFSET ?4",
                         c.enumKeys);
        if (rc == SQLITE_OK)
            rc = prepare(db, "SELECT name, type, data FROM vals WHERE key = ?1 ORDER BY folded LIMIT 1 OFFSET ?2",
                         c.enumValues);
        if (rc != SQLITE_OK || !c.writable)
            return rc;
        rc = prepare(db, "INSERT INTO keys(path, folded) VALUES(?1, ?2)", c.insertKey);
        if (rc == SQLITE_OK)
            rc = prepare(db,
                         "INSERT INTO vals(key, folded, name, type, data) SELECT ?1, ?2, ?3, ?4, ?5"
                         " WHERE EXISTS (SELECT 1 FROM keys WHERE id = ?1)"  // not when deleted meanwhile
                         " ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data",
                         c.upsertValue);
        if (rc == SQLITE_OK)
            rc = prepare(db, "BEGIN IMMEDIATE", c.begin);
        if (rc == SQLITE_OK)
            rc = prepare(db, "COMMIT", c.commit);
        if (rc == SQLITE_OK)
            rc = prepare(db, "ROLLBACK", c.rollback);
        return rc;
    }

    // Looks a key up by its folded path; `id` is 0 when there is no such key.
    int lookUpKey(Connection& c, std::string_view folded, std::int64_t& id, std::string* path) {
        id = 0;
        bindText(c.selectKey.get(), 1, folded);
        return stepOnce(c.selectKey.get(), [&](sqlite3_stmt* row) {
            id = sqlite3_column_int64(row, 0);
            if (path) {
                const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, 1));
                path->assign(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row, 1)));
            }
        });
    }

    long findKey(HiveState& h, const std::string& folded, std::int64_t& id) {
        h.refresh();
        if (h.caching()) {
            const auto it = h.keyIds.find(folded);
            if (it != h.keyIds.end()) {
                id = it->second;
                return regerr::Success;
            }
        }
        const int rc = lookUpKey(*h.conn, folded, id, nullptr);
        if (!succeeded(rc))
            return failure(h, rc);
        if (h.caching())
            h.keyIds.emplace(folded, id);
        return regerr::Success;
    }

    long abandon(HiveState& h, int rc) {
        stepOnce(h.conn->rollback.get());
        return failure(h, rc);
    }

    // Creates the key and its missing parents in one transaction.
    long createKeys(HiveState& h, const std::string& path, std::int64_t& id) {
        std::string clean;
        normalizePath(path, clean, false);
        const std::string folded = store::foldName(clean);  // same length, same backslashes
        std::vector<std::size_t> ends;                      // where each name of the path ends
        for (std::size_t i = 0; i < clean.size(); ++i)
            if (clean[i] == '\\')
                ends.push_back(i);
        ends.push_back(clean.size());
        const auto prefixLength = [&](std::size_t names) { return names == 0 ? 0 : ends[names - 1]; };

        Connection& c = *h.conn;
        int rc = stepOnce(c.begin.get());
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
            stepOnce(c.rollback.get());
            h.conn.reset();
            h.dropCaches();
            return regerr::BadDatabase;
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
        rc = stepOnce(c.commit.get());
        if (!succeeded(rc))
            return abandon(h, rc);

        id = parentId;
        if (created.empty()) {  // someone else made it meanwhile
            if (h.caching())
                h.keyIds.insert_or_assign(folded, id);
        } else if (h.publish() && h.caching()) {
            for (auto& [keyFolded, keyId] : created)
                h.keyIds.insert_or_assign(std::move(keyFolded), keyId);
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
        if (const long rc = normalizePath(skipBackslash ? path.substr(1) : path, folded, true))
            return rc;

        const std::lock_guard lock(mutex);
        HiveState& h = hives[index];
        if (const long rc = openHive(h, create))
            return rc;
        std::int64_t id = 0;
        if (!h.conn) {  // no file yet: only the root key exists
            if (!folded.empty())
                return regerr::FileNotFound;
            id = kRootKeyId;
        } else {
            if (create && !h.conn->writable) {
                if (options.refused)
                    options.refused(h.file);
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
        std::string folded = store::foldName(cutAtNul(name));
        const std::lock_guard lock(mutex);
        const auto it = handles.find(key);
        if (it == handles.end())
            return regerr::InvalidHandle;
        const OpenKey open = it->second;
        HiveState& h = hives[open.hive];
        if (const long rc = openHive(h, false))
            return rc;
        if (!h.conn)  // no file yet: the root key has no values
            return regerr::FileNotFound;

        h.refresh();
        if (h.caching()) {
            const auto keyIt = h.values.find(open.id);
            if (keyIt != h.values.end()) {
                const auto valueIt = keyIt->second.find(folded);
                if (valueIt != keyIt->second.end()) {
                    if (!valueIt->second.present)
                        return regerr::FileNotFound;
                    return deliver(valueIt->second, type, data, capacity, size);
                }
            }
        }
        CachedValue fetched;
        if (const long rc = fetchValue(h, open.id, folded, fetched))
            return rc;
        const CachedValue& value = h.caching() ? h.remember(open.id, std::move(folded), std::move(fetched)) : fetched;
        if (!value.present)
            return regerr::FileNotFound;
        return deliver(value, type, data, capacity, size);
    }

    long setValue(KeyHandle key, const std::string& name, std::uint32_t type, const std::vector<std::uint8_t>& data) {
        if (data.size() > std::numeric_limits<std::uint32_t>::max())
            return regerr::InvalidParameter;
        const std::string_view plainName = cutAtNul(name);
        std::string folded = store::foldName(plainName);
        const std::lock_guard lock(mutex);
        const auto it = handles.find(key);
        if (it == handles.end())
            return regerr::InvalidHandle;
        const OpenKey open = it->second;
        if (!open.writable)
            return regerr::AccessDenied;
        HiveState& h = hives[open.hive];
        if (const long rc = openHive(h, false))
            return rc;
        if (!h.conn)  // the file was removed under an open key
            return regerr::IoFailed;
        if (!h.conn->writable)
            return regerr::AccessDenied;

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
        if (h.publish() && h.caching())
            h.remember(open.id, std::move(folded), CachedValue{true, type, data});
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
        if (const long rc = openHive(h, false))
            return rc;
        if (!h.conn)
            return regerr::FileNotFound;  // no file: nothing to delete
        if (!h.conn->writable)
            return regerr::AccessDenied;
        h.refresh();
        hive = &h;
        return regerr::Success;
    }

    long deleteValue(KeyHandle key, const std::string& name) {
        std::string folded = store::foldName(cutAtNul(name));
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
        if (hive->publish() && hive->caching())
            hive->remember(open.id, std::move(folded), CachedValue{});
        return regerr::Success;
    }

    long deleteTree(KeyHandle key, const std::string& path) {
        std::string folded;
        if (const long rc = normalizePath(path, folded, true))
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
        hive->publish();
        hive->dropCaches();  // key ids and values of the whole tree
        return regerr::Success;
    }

    long closeKey(KeyHandle key) {
        const std::lock_guard lock(mutex);
        cursors.erase(key);
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
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, 0));
            folded.assign(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row, 0)));
        });
        if (!succeeded(rc))
            return failure(h, rc);
        if (!known)
            return regerr::NoMoreItems;  // the file was replaced under the open key

        const std::string own = folded.empty() ? std::string() : folded + '\\';
        const std::string end = folded.empty() ? std::string() : folded + ']';
        KeyCursor& cursor = cursors[key];
        const bool goOn = index != 0 && index == cursor.next;
        const std::string start = goOn ? cursor.after : own;
        sqlite3_stmt* select = c.enumKeys.get();
        bindText(select, 1, start);
        if (folded.empty())
            sqlite3_bind_null(select, 2);
        else
            bindText(select, 2, end);
        bindText(select, 3, own);
        sqlite3_bind_int64(select, 4, goOn ? 0 : index);
        bool found = false;
        std::string path;
        std::string childFolded;
        rc = stepOnce(select, [&](sqlite3_stmt* row) {
            found = true;
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, 0));
            path.assign(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row, 0)));
            text = reinterpret_cast<const char*>(sqlite3_column_text(row, 1));
            childFolded.assign(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row, 1)));
        });
        if (!succeeded(rc))
            return failure(h, rc);
        if (!found) {
            cursors.erase(key);
            return regerr::NoMoreItems;
        }
        if (name) {
            const std::size_t slash = path.rfind('\\');
            name->assign(slash == std::string::npos ? path : path.substr(slash + 1));
        }
        cursor.next = index + 1;
        cursor.after = std::move(childFolded);
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
        sqlite3_stmt* select = h.conn->enumValues.get();
        sqlite3_bind_int64(select, 1, open.id);
        sqlite3_bind_int64(select, 2, index);
        bool found = false;
        const int rc = stepOnce(select, [&](sqlite3_stmt* row) {
            found = true;
            if (name) {
                const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, 0));
                name->assign(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(row, 0)));
            }
            if (type)
                *type = static_cast<std::uint32_t>(sqlite3_column_int64(row, 1));
            if (data) {
                const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(row, 2));
                const int count = sqlite3_column_bytes(row, 2);
                if (bytes && count > 0)
                    data->assign(bytes, bytes + count);
                else
                    data->clear();
            }
        });
        if (!succeeded(rc))
            return failure(h, rc);
        return found ? regerr::Success : regerr::NoMoreItems;
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

std::string SqliteRegistryStore::changeFile(Hive hive) const {
    const int index = hiveIndex(hive);
    return index < 0 ? std::string() : d->hives[index].file + "-changes";
}

std::string SqliteRegistryStore::hiveFile(Hive hive) const {
    const int index = hiveIndex(hive);
    return index < 0 ? std::string() : d->hives[index].file;
}

}  // namespace paramcor
