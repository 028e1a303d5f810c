// The hive files of the POSIX store as it uses them: opened and checked on first
// use, made when a write needs them, connected again after a failure.
#include "SqliteStoreState.h"

#include "HiveSchema.h"
#include "KeyPaths.h"
#include "SideFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace paramcor {

using store::Access;
using store::bindText;
using store::fromSqlite;
using store::isBusy;
using store::stepOnce;
using store::succeeded;

namespace {

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

SqliteRegistryStore::Impl::Impl(const std::string& userFolder, const std::string& machineFolder, Options opts)
    : options(opts) {
    const auto place = [this](int index, const std::string& folder, const char* name, FileAccess access) {
        hives[index].place = {folder, (std::filesystem::path(folder) / name).string(),
                              store::effectiveAccess(folder, access)};
    };
    // In the user's folder the machine hive is the user's too.
    const FileAccess machine = machineFolder == userFolder ? opts.userFiles : opts.machineFiles;
    place(store::ClassesRootIndex, userFolder, "HKEY_CLASSES_ROOT.db", opts.userFiles);
    place(store::CurrentUserIndex, userFolder, "HKEY_CURRENT_USER.db", opts.userFiles);
    place(store::LocalMachineIndex, machineFolder, "HKEY_LOCAL_MACHINE.db", machine);
}

long SqliteRegistryStore::Impl::failure(HiveState& h, int rc) {
    sqlite3* db = h.conn ? h.conn->db.get() : nullptr;
    // A statement that could not be prepared is refused as misuse: the cause is the
    // connection's own.
    if (db && rc == SQLITE_MISUSE && sqlite3_extended_errcode(db) != SQLITE_OK)
        rc = sqlite3_extended_errcode(db);
    if (isBusy(rc)) {
        h.problem = file(h) + " is held by another process for longer than this one waits (" +
                    std::to_string(options.busyTimeoutMs) + " ms)";
        return fromSqlite(rc);
    }
    // A rollback after the failure leaves its own message ("no transaction is
    // active" once SQLite rolled back by itself, as on a full disk): the first
    // cause is the one told.
    const char* message = db && sqlite3_extended_errcode(db) == rc ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    const int primary = rc & 0xFF;
    h.problem =
        file(h) + (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB ? " is damaged: " : " failed: ") + message;
    if (h.batch == Batch::Open)
        h.batch = Batch::Lost;
    h.reading = false;
    h.conn.reset();
    h.dropCaches();
    return fromSqlite(rc);
}

long SqliteRegistryStore::Impl::openHive(HiveState& h, bool create) {
    if (h.conn && h.conn->access == Access::Snapshot && !h.conn->stillWhole(file(h))) {
        h.conn.reset();  // somebody writes the hive now: read it with them
        h.dropCaches();
    }
    if (h.conn && h.conn->access == Access::Published && h.conn->copyReplaced(file(h))) {
        h.conn.reset();  // an operator has committed since
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
    if (h.place.access == FileAccess::Shared && ::faccessat(AT_FDCWD, file(h).c_str(), R_OK, AT_EACCESS) != 0 &&
        errno == EACCES)
        return connectToCopy(h);
    if (const long rc = store::checkHeader(file(h), store::kApplicationId, h.problem))
        return rc;
    return connect(h, store::mayWrite(file(h), st));
}

bool SqliteRegistryStore::Impl::forgetIfReplaced(HiveState& h) {
    // A reader of the published copy follows the copy instead (openHive).
    if (!h.conn || h.batch == Batch::Open || h.reading || h.conn->access == Access::Published)
        return false;
    const Connection::Moved moved = h.conn->moved(file(h));
    if (moved == Connection::Moved::Nothing)
        return false;
    sqlite3* db = h.conn->db.get();
    if (moved == Connection::Moved::Hive) {
        // The -wal beside a file moved into place is the old file's, and SQLite would
        // lay its writes over the new one. Closing must not copy them anywhere: by
        // then they may be another process's writes to the new file. While nobody has
        // written since this process did, they are its own: empty them into the old file.
        sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        struct stat wal {};
        if (h.conn->writable() && h.caching() && h.conn->counter.load() == h.cache.seen() &&
            ::lstat((file(h) + "-wal").c_str(), &wal) == 0 && wal.st_dev == h.conn->wal.st_dev &&
            wal.st_ino == h.conn->wal.st_ino)
            sqlite3_wal_checkpoint_v2(db, "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    } else if (h.conn->writable()) {
        // The same hive file: what went into a -wal removed since belongs in it.
        sqlite3_wal_checkpoint_v2(db, "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    }
    // Other programs still on the old files follow the old counter: moving it makes
    // them look again, and find the new ones.
    if (h.conn->counter.writable())
        h.conn->counter.bump();
    h.conn.reset();
    h.dropCaches();
    return true;
}

long SqliteRegistryStore::Impl::openToWrite(HiveState& h, bool create) {
    forgetIfReplaced(h);
    return openHive(h, create);
}

long SqliteRegistryStore::Impl::openToRead(HiveState& h, bool create) {
    if (h.caching() && (h.conn->counter.load() != h.cache.seen() || h.conn->timeToLookAtFiles()))
        forgetIfReplaced(h);
    return openHive(h, create);
}

long SqliteRegistryStore::Impl::reopenForWrite(HiveState& h, store::OpenKey& open) {
    if (!open.path)
        return regerr::Success;
    if (const long rc = openHive(h, true))
        return rc;
    if (!h.conn)
        return regerr::IoFailed;
    std::int64_t id = 0;
    if (const long rc = findKey(h, open.path->folded, id))
        return rc;
    if (id == 0)
        if (const long rc = createKeys(h, open.path->raw, id))
            return rc;
    open.id = id;
    open.generation = h.generation;
    return regerr::Success;
}

long SqliteRegistryStore::Impl::createHive(HiveState& h) {
    if (const long rc = store::makeFolder(h.place, h.problem))
        return rc;
    struct stat st {};
    if (::stat(file(h).c_str(), &st) == 0 && !store::mayWrite(file(h), st)) {
        h.problem = file(h) + " may not be written";
        return regerr::AccessDenied;
    }
    if (const long rc = store::createHiveFile(h.place, h.problem))
        return rc;
    // The side files of a hive removed under a running program may still be there.
    if (::stat(file(h).c_str(), &st) == 0)
        if (const long rc = store::claimSideFiles(h.place, st, true, options.busyTimeoutMs, h.problem))
            return rc;
    h.makingHive = true;
    const struct Made {
        bool& making;
        ~Made() { making = false; }
    } made{h.makingHive};
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

long SqliteRegistryStore::Impl::connect(HiveState& h, bool writable) {
    store::tighten(h.place);
    std::unique_ptr<Connection> c;
    store::Opened opened = store::openConnection(h.place, writable, options.busyTimeoutMs, c);
    if (opened.unfinished)  // read as empty until a write makes it
        return writable && !h.makingHive ? createHive(h) : regerr::Success;
    if (opened.rc != regerr::Success) {
        h.problem = std::move(opened.why);
        return opened.rc;
    }
    if (!c->isFile(h.lastFile)) {
        ++h.generation;
        h.lastFile.st_dev = c->device;
        h.lastFile.st_ino = c->inode;
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

long SqliteRegistryStore::Impl::connectToCopy(HiveState& h) {
    std::unique_ptr<Connection> c;
    store::Opened opened = store::openPublishedCopy(h.place, c);
    if (opened.rc != regerr::Success) {
        h.problem = std::move(opened.why);
        return opened.rc;
    }
    h.conn = std::move(c);
    h.readOnlyWhy = file(h) + " may be written by its group only";
    h.dropCaches();
    h.cache.setSeen(h.conn->copyCount);
    return regerr::Success;
}

long SqliteRegistryStore::Impl::readyToWrite(HiveState& h) {
    if (h.batch == Batch::Lost) {
        h.problem = file(h) + ": the batch of writes was lost, when the hive failed";
        return regerr::IoFailed;
    }
    if (!h.conn->writable()) {
        h.problem = h.readOnlyWhy;
        return regerr::AccessDenied;
    }
    if (h.reading) {
        h.problem = file(h) + " is being read as one state: writes wait until the reading ends";
        return regerr::SharingViolation;
    }
    store::ChangeCounter& counter = h.conn->counter;
    if (counter.state() == store::ChangeCounter::State::Missing) {
        struct stat st {};
        ::stat(file(h).c_str(), &st);
        counter.open(file(h) + "-changes", true, st);
        h.conn->noteFiles(file(h));
        h.cache.setSeen(counter.load());
        h.dropCaches();
        if (counter.state() == store::ChangeCounter::State::ReadOnly || counter.redirected()) {
            h.conn->access = Access::Read;
            h.readOnlyWhy = h.problem = counter.problem() + ": this program reads the hive only";
            return regerr::AccessDenied;
        }
    }
    return regerr::Success;
}

int SqliteRegistryStore::Impl::lookUpKey(Connection& c, std::string_view folded, std::int64_t& id, std::string* path) {
    id = 0;
    bindText(c.selectKey.get(), 1, folded);
    return stepOnce(c.selectKey.get(), [&](sqlite3_stmt* row) {
        id = sqlite3_column_int64(row, 0);
        if (path)
            *path = store::columnText(row, 1);
    });
}

long SqliteRegistryStore::Impl::findKey(HiveState& h, const std::string& folded, std::int64_t& id) {
    h.refresh();
    if (h.caching())
        if (const std::int64_t* known = h.cache.findKey(folded)) {
            id = *known;
            return regerr::Success;
        }
    const int rc = lookUpKey(*h.conn, folded, id, nullptr);
    if (!succeeded(rc))
        return failure(h, rc);
    // A key a batch does not find, it is about to make.
    if (h.caching() && (id != 0 || h.batch != Batch::Open))
        h.cache.rememberKey(folded, id);
    return regerr::Success;
}

long SqliteRegistryStore::Impl::abandon(HiveState& h, int rc) {
    if (h.batch != Batch::Open)
        stepOnce(h.conn->rollback.get());
    return failure(h, rc);
}

store::HiveState* SqliteRegistryStore::Impl::hiveOf(Hive hive) {
    const int index = store::hiveIndex(hive);
    return index < 0 ? nullptr : &hives[index];
}

}  // namespace paramcor
