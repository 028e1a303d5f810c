#include "PublishedCopy.h"

#include "SqliteSupport.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace paramcor::store {

namespace {

class FlockGuard {
public:
    explicit FlockGuard(int fd) : fd_(fd) {
        while (::flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ~FlockGuard() { ::flock(fd_, LOCK_UN); }
    FlockGuard(const FlockGuard&) = delete;
    FlockGuard& operator=(const FlockGuard&) = delete;

private:
    int fd_;
};

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

std::string publishedCopyOf(const std::string& hiveFile) {
    return hiveFile + "-published";
}

bool publishesCopy(const struct stat& hive) {
    return (hive.st_mode & 0060) != 0 && (hive.st_mode & 0007) == 0;
}

bool publishCopy(sqlite3* db, int lockFd, const std::string& hiveFile, std::string& why) {
    const FlockGuard inTurn(lockFd);
    struct stat hive {};
    if (::fstat(lockFd, &hive) != 0) {
        why = hiveFile + " cannot be read: " + std::strerror(errno);
        return false;
    }
    const std::string copy = publishedCopyOf(hiveFile);
    std::vector<char> name(copy.begin(), copy.end());
    const char suffix[] = ".XXXXXX";
    name.insert(name.end(), suffix, suffix + sizeof suffix);
    const int fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) {
        why = copy + " cannot be made: " + std::strerror(errno);
        return false;
    }
    Statement vacuum;
    // VACUUM INTO reads one snapshot and writes a database without journal or WAL.
    bool made = prepare(db, "VACUUM INTO ?1", vacuum) == SQLITE_OK &&
                sqlite3_bind_text(vacuum.get(), 1, name.data(), -1, SQLITE_TRANSIENT) == SQLITE_OK &&
                sqlite3_step(vacuum.get()) == SQLITE_DONE;
    if (!made)
        why = copy + " cannot be written: " + sqlite3_errmsg(db);
    vacuum.reset();
    if (made && ::geteuid() == 0 && ::fchown(fd, hive.st_uid, hive.st_gid) != 0) {
        why = copy + " cannot be given to the hive's owner: " + std::strerror(errno);
        made = false;
    }
    if (made && ::fchmod(fd, 0444) != 0) {
        why = copy + " cannot be made readable: " + std::strerror(errno);
        made = false;
    }
    // The name must still be the file made above: someone of the group may have put
    // another in its place meanwhile.
    struct stat written {}, named {};
    const bool ours = ::fstat(fd, &written) == 0 && ::lstat(name.data(), &named) == 0 && sameFile(written, named);
    if (made && !(::fsync(fd) == 0 && ours && ::rename(name.data(), copy.c_str()) == 0)) {
        why = copy + " cannot be replaced: " + (ours ? std::strerror(errno) : "its new file was replaced");
        made = false;
    }
    if (!made && ours)
        ::unlink(name.data());
    ::close(fd);
    return made;
}

}  // namespace paramcor::store
