#include "HiveConnection.h"

#include "HiveSchema.h"
#include "PublishedCopy.h"
#include "SideFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

namespace paramcor::store {

namespace {

// What counts as large: 1 MB of free pages (at SQLite's default page size), 4 MB
// of log. The log is also cut back to this size whenever it is emptied.
constexpr std::int64_t kLargeFreePages = 256;
constexpr off_t kLargeWal = 4 * 1024 * 1024;

// Where SQLite's unix VFS places its shared lock on a database file: a writer
// needs the range for itself to checkpoint when it closes, or to leave WAL mode.
constexpr off_t kSharedLockStart = 0x40000000 + 2;
constexpr off_t kSharedLockLength = 510;

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

// Whether the file's header says WAL mode (file format versions 2).
bool inWalMode(const std::string& file) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return false;
    unsigned char versions[2] = {0, 0};
    const bool read = ::pread(fd, versions, sizeof versions, 18) == static_cast<ssize_t>(sizeof versions);
    ::close(fd);
    return read && versions[0] == 2 && versions[1] == 2;
}

bool exists(const std::string& path, off_t* size = nullptr) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0)
        return false;
    if (size)
        *size = st.st_size;
    return true;
}

// The -wal file holds no writes when it is missing or empty.
bool walIsEmpty(const std::string& file) {
    off_t size = 0;
    return !exists(file + "-wal", &size) || size == 0;
}

std::string uri(const std::string& path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out = "file:";
    for (const char ch : path) {
        const auto c = static_cast<unsigned char>(ch);
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || std::strchr("/-._~", c)) {
            out += ch;
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out + "?immutable=1";
}

void defineStatements(Connection& c) {
    sqlite3* db = c.db.get();
    c.selectKey.define(db, "SELECT id, path FROM keys WHERE folded = ?1");
    c.selectValue.define(db, "SELECT type, data FROM vals WHERE key = ?1 AND folded = ?2");
    c.selectFolded.define(db, "SELECT folded FROM keys WHERE id = ?1");
    // The file keeps no parent column, so that hives written before enumeration
    // existed need no change: the subkeys of a key are the paths that continue its
    // own ("PATH\") with one more name. Its whole subtree lies between "PATH\" and
    // "PATH]" ("]" follows the backslash), a range of the index on folded paths, and
    // so does the subtree of each subkey: the store steps from one subkey to the next
    // over the subtree between them, each step a seek (KeyEnumeration).
    c.enumChildren.define(db,
                          "SELECT path, folded FROM keys WHERE folded >= ?1 AND folded < ?2 ORDER BY folded LIMIT 1");
    c.enumRootChildren.define(db, "SELECT path, folded FROM keys WHERE folded >= ?1 ORDER BY folded LIMIT 1");
    c.enumValues.define(db,
                        "SELECT name, type, data, folded FROM vals WHERE key = ?1 AND folded >= ?2"
                        " ORDER BY folded LIMIT 1");
    if (!c.writable())
        return;
    c.insertKey.define(db, "INSERT INTO keys(path, folded) VALUES(?1, ?2)");
    c.upsertValue.define(db,
                         "INSERT INTO vals(key, folded, name, type, data) SELECT ?1, ?2, ?3, ?4, ?5"
                         " WHERE EXISTS (SELECT 1 FROM keys WHERE id = ?1)"  // not when deleted meanwhile
                         " ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data");
    // Within a batch the write lock is held from its start: whether the key is still
    // there is asked apart (selectFolded), and a plain insert needs no statement
    // journal, which costs a batch of many writes more than the rows themselves.
    c.upsertValueInBatch.define(db,
                                "INSERT INTO vals(key, folded, name, type, data) VALUES(?1, ?2, ?3, ?4, ?5)"
                                " ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data");
    c.begin.define(db, "BEGIN IMMEDIATE");
    c.commit.define(db, "COMMIT");
    c.rollback.define(db, "ROLLBACK");
}

// A read lock like SQLite's own shared lock, held by this descriptor alone (an open
// file description lock, which no other close in the process releases): while it
// stands, no writer can take the file for itself to copy its WAL into it on closing.
int lockAgainstCheckpoints(const std::string& file) {
#ifdef F_OFD_SETLK
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return -1;
    struct flock lock {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = kSharedLockStart;
    lock.l_len = kSharedLockLength;
    if (::fcntl(fd, F_OFD_SETLK, &lock) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
#else
    (void)file;
    return -1;
#endif
}

Opened fail(long rc, std::string why) {
    Opened result;
    result.rc = rc;
    result.why = std::move(why);
    return result;
}

// Before SQLite opens the file: its -wal and -shm must be its own (SideFiles.h).
Opened claimSideFilesOf(const HiveFile& hive, bool writer, int busyTimeoutMs) {
    struct stat st {};
    std::string why;
    if (::stat(hive.file.c_str(), &st) != 0)
        return {};  // gone meanwhile: SQLite says so
    if (const long rc = claimSideFiles(hive, st, writer, busyTimeoutMs, why))
        return fail(rc, std::move(why));
    return {};
}

Opened openForReading(const HiveFile& hive, int busyTimeoutMs, std::unique_ptr<Connection>& out) {
    auto c = std::make_unique<Connection>();
    // Without -shm, SQLite can read a hive in WAL mode only by creating it. Where
    // this process may not, and the hive file holds every write (no -wal, or an empty
    // one, as a clean close or restoring the file alone leaves it), it is read as it
    // stands, for as long as nobody writes it.
    const bool snapshot = inWalMode(hive.file) && !exists(hive.file + "-shm") && !mayCreateIn(hive.folder);
    std::string name = hive.file;
    int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX;
    if (snapshot) {
        if (!walIsEmpty(hive.file))
            return fail(regerr::IoFailed, hive.file + "-wal holds writes that are not in the hive yet, and they cannot "
                                                      "be read without " + hive.file +
                                              "-shm: a program of a user who may write " + hive.folder +
                                              " must open the hive once");
        c->snapshotLock = lockAgainstCheckpoints(hive.file);
        if (c->snapshotLock < 0 || !c->stillWhole(hive.file))
            return fail(regerr::SharingViolation, hive.file + " is being written");
        c->access = Access::Snapshot;
        name = uri(hive.file);
        flags |= SQLITE_OPEN_URI;
    } else if (Opened claimed = claimSideFilesOf(hive, false, busyTimeoutMs); claimed.rc != regerr::Success) {
        return claimed;
    }
    sqlite3* raw = nullptr;
    int rc = sqlite3_open_v2(name.c_str(), &raw, flags, nullptr);
    c->db.reset(raw);
    if (rc == SQLITE_OK)
        sqlite3_busy_timeout(raw, busyTimeoutMs);
    std::string why;
    if (rc == SQLITE_OK && !isOurHive(raw, hive.file, rc, why)) {
        if (rc == SQLITE_OK && isUnfinishedHive(raw)) {
            Opened result;
            result.unfinished = true;
            return result;
        }
        return fail(rc == SQLITE_OK ? regerr::BadDatabase : fromSqlite(rc), why);
    }
    if (rc == SQLITE_OK)
        defineStatements(*c);
    if (rc != SQLITE_OK)
        return fail(fromSqlite(rc), hive.file + " cannot be read: " + (raw ? sqlite3_errmsg(raw) : "out of memory"));
    struct stat st {};
    ::stat(hive.file.c_str(), &st);
    c->device = st.st_dev;
    c->inode = st.st_ino;
    c->counter.open(hive.file + "-changes", false, st);
    c->noteFiles(hive.file);
    out = std::move(c);
    return {};
}

}  // namespace

Connection::~Connection() {
    // The statements and the database go after this body: the lock may go first, as
    // nothing is read after it.
    if (snapshotLock >= 0)
        ::close(snapshotLock);
}

namespace {

struct stat identity(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0)
        st = {};
    return st;
}

bool same(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

void Connection::noteFiles(const std::string& file) {
    wal = identity(file + "-wal");
    shm = identity(file + "-shm");
    changes = identity(file + "-changes");
}

Connection::Moved Connection::moved(const std::string& file) const {
    const struct stat hive = identity(file);
    if (hive.st_ino == 0 || !isFile(hive))
        return Moved::Hive;
    // Snapshots read the hive file alone.
    if (access != Access::Snapshot &&
        (!same(identity(file + "-wal"), wal) || !same(identity(file + "-shm"), shm)))
        return Moved::SideFiles;
    return same(identity(file + "-changes"), changes) ? Moved::Nothing : Moved::SideFiles;
}

bool Connection::copyReplaced(const std::string& hiveFile) const {
    struct stat now {};
    return counter.load() != copyCount || ::lstat(publishedCopyOf(hiveFile).c_str(), &now) != 0 ||
           now.st_dev != copy.st_dev || now.st_ino != copy.st_ino;
}

Opened openPublishedCopy(const HiveFile& hive, std::unique_ptr<Connection>& out) {
    out.reset();
    const std::string copy = publishedCopyOf(hive.file);
    auto c = std::make_unique<Connection>();
    c->access = Access::Published;
    struct stat st {};
    ::stat(hive.file.c_str(), &st);
    c->counter.open(hive.file + "-changes", false, st);
    c->copyCount = c->counter.load();
    if (::lstat(copy.c_str(), &c->copy) != 0)
        return fail(regerr::AccessDenied, hive.file + " may not be read, and no copy of it is published for readers "
                                                      "yet: the next program of an operator publishes one");
    std::string why;
    if (const long rc = checkHeader(copy, kApplicationId, why))
        return fail(rc, why);
    sqlite3* raw = nullptr;
    int rc = sqlite3_open_v2(uri(copy).c_str(), &raw, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX,
                             nullptr);
    c->db.reset(raw);
    if (rc == SQLITE_OK && !isOurHive(raw, copy, rc, why))
        return fail(rc == SQLITE_OK ? regerr::BadDatabase : fromSqlite(rc), why);
    if (rc == SQLITE_OK)
        defineStatements(*c);
    if (rc != SQLITE_OK)
        return fail(fromSqlite(rc), copy + " cannot be read: " + (raw ? sqlite3_errmsg(raw) : "out of memory"));
    out = std::move(c);
    return {};
}

bool Connection::stillWhole(const std::string& file) const {
    return !exists(file + "-shm") && walIsEmpty(file);
}

Opened openConnection(const HiveFile& hive, bool write, int busyTimeoutMs, std::unique_ptr<Connection>& out) {
    out.reset();
    if (!write)
        return openForReading(hive, busyTimeoutMs, out);

    if (Opened claimed = claimSideFilesOf(hive, true, busyTimeoutMs); claimed.rc != regerr::Success)
        return claimed;
    auto c = std::make_unique<Connection>();
    c->access = Access::Write;
    sqlite3* raw = nullptr;
    int rc = sqlite3_open_v2(hive.file.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    c->db.reset(raw);
    if (rc == SQLITE_OK)
        sqlite3_busy_timeout(raw, busyTimeoutMs);
    // Only read until the file has proved to be ours, in its schema version too.
    std::string why;
    if (rc == SQLITE_OK && !isOurHive(raw, hive.file, rc, why) && rc == SQLITE_OK) {
        if (!isUnfinishedHive(raw))
            return fail(regerr::BadDatabase, why);
        Opened result;
        result.unfinished = true;
        return result;
    }
    if (rc == SQLITE_OK) {
        // The -wal and -shm files stay when the last writer closes, so that
        // read-only openers, who cannot create them, find them.
        int persist = 1;
        sqlite3_file_control(raw, "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
        rc = enterWal(raw, busyTimeoutMs);
    }
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(raw, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(raw, ("PRAGMA journal_size_limit=" + std::to_string(kLargeWal)).c_str(), nullptr, nullptr,
                          nullptr);
    // Each write inside a batch is a savepoint of its own: its undo stays in memory
    // rather than in a temporary file written page by page.
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(raw, "PRAGMA temp_store=MEMORY", nullptr, nullptr, nullptr);
    Opened result;
    if (rc == SQLITE_OK)
        rc = refoldNames(raw, result.refolded);
    if (rc == SQLITE_OK)
        rc = addChangeLog(raw);
    if (rc == SQLITE_OK)
        defineStatements(*c);
    if (rc != SQLITE_OK) {
        const int primary = rc & 0xFF;
        if (primary == SQLITE_READONLY || primary == SQLITE_CANTOPEN || primary == SQLITE_PERM) {
            // Say, a folder we may not write that lacks the -wal and -shm files.
            c.reset();
            return openForReading(hive, busyTimeoutMs, out);
        }
        return fail(fromSqlite(rc), hive.file + (isBusy(rc) ? " is held by another process: " : " cannot be opened: ") +
                                        sqlite3_errmsg(raw));
    }

    struct stat st {};
    ::stat(hive.file.c_str(), &st);
    c->device = st.st_dev;
    c->inode = st.st_ino;
    c->counter.open(hive.file + "-changes", true, st);
    recordSideFilesOwner(c->counter, st);
    c->noteFiles(hive.file);
    if (c->counter.state() == ChangeCounter::State::ReadOnly || c->counter.redirected()) {
        // A write nobody hears of would leave other programs reading old values.
        c->access = Access::Read;
        result.why = c->counter.problem() + ": this program reads the hive only";
    } else if (hive.access == FileAccess::Shared && publishesCopy(st)) {
        c->publishLock = Descriptor(::open(hive.file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
        std::string why;
        if (c->publishLock.get() >= 0 && !exists(publishedCopyOf(hive.file)))
            publishCopy(raw, c->publishLock.get(), hive.file, why);
    }
    out = std::move(c);
    return result;
}

void shrinkAfterLargeChange(sqlite3* db) {
    if (sqlite3_get_autocommit(db) == 0)
        return;  // inside a batch: at its commit
    std::int64_t freePages = 0;
    bool vacuumed = false;
    if (queryInt(db, "PRAGMA freelist_count", freePages) == SQLITE_OK && freePages >= kLargeFreePages) {
        vacuumed = true;
        std::int64_t autoVacuum = 0;
        queryInt(db, "PRAGMA auto_vacuum", autoVacuum);
        // A hive made before its pages could be given back switches at its first
        // large delete: VACUUM rewrites it once, as incremental.
        constexpr std::int64_t kIncremental = 2;
        sqlite3_exec(db, autoVacuum == kIncremental ? "PRAGMA incremental_vacuum" : "PRAGMA auto_vacuum=INCREMENTAL; VACUUM",
                     nullptr, nullptr, nullptr);
    }
    off_t walSize = 0;
    const char* file = sqlite3_db_filename(db, "main");
    // The file itself gets shorter only when the log is copied back into it.
    if (file != nullptr && exists(std::string(file) + "-wal", &walSize) && (walSize > kLargeWal || vacuumed))
        sqlite3_wal_checkpoint_v2(db, "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
}

}  // namespace paramcor::store
