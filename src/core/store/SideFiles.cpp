#include "SideFiles.h"

#include "ChangeCounter.h"

#include <CVLParamcor/RegistryStore.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace paramcor::store {

namespace {

// An owner with this bit is a process setting the side files aside, by its pid.
constexpr std::uint64_t kSettingAside = std::uint64_t(1) << 63;

std::uint64_t ownerOf(const struct stat& hive) {
    const auto inode = static_cast<std::uint64_t>(hive.st_ino) & ~kSettingAside;
    return inode != 0 ? inode : 1;
}

bool alive(std::uint64_t owner) {
    const auto pid = static_cast<pid_t>(owner & ~kSettingAside);
    return ::kill(pid, 0) == 0 || errno != ESRCH;
}

// An old -wal with writes stays, under a name of its own: they are the last writes
// of the file that was the hive, and whoever still has that file may want them back.
long setAside(const std::string& file, std::uint64_t formerOwner, std::string& why) {
    const std::string wal = file + "-wal";
    const std::string kept = wal + "." + std::to_string(formerOwner);
    struct stat st {};
    const bool holdsWrites = ::lstat(wal.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0;
    const bool gone = holdsWrites ? ::renameat2(AT_FDCWD, wal.c_str(), AT_FDCWD, kept.c_str(), RENAME_NOREPLACE) == 0
                                  : ::unlink(wal.c_str()) == 0;
    if (!gone && errno != ENOENT && !(errno == EEXIST && ::unlink(wal.c_str()) == 0)) {
        why = wal + " belongs to a file that is no longer " + file + ", and cannot be set aside: " +
              std::strerror(errno);
        return regerr::AccessDenied;
    }
    if (::unlink((file + "-shm").c_str()) != 0 && errno != ENOENT) {
        why = file + "-shm belongs to a file that is no longer " + file + ", and cannot be removed: " +
              std::strerror(errno);
        return regerr::AccessDenied;
    }
    return regerr::Success;
}

bool sideFilesThere(const std::string& file) {
    struct stat st {};
    return ::lstat((file + "-wal").c_str(), &st) == 0 || ::lstat((file + "-shm").c_str(), &st) == 0;
}

}  // namespace

void recordSideFilesOwner(ChangeCounter& counter, const struct stat& hive) {
    std::uint64_t unknown = 0;
    if (counter.writable() && counter.keepsSideFilesOwner())
        counter.exchangeSideFilesOwner(unknown, ownerOf(hive));
}

long claimSideFiles(const HiveFile& file, const struct stat& hive, bool writer, int timeoutMs, std::string& why) {
    // The counter is made with the connection, once the file has proved to be ours.
    const std::string changes = file.file + "-changes";
    struct stat st {};
    if (::lstat(changes.c_str(), &st) != 0)
        return regerr::Success;
    ChangeCounter counter;
    counter.open(changes, writer, hive);
    if (!counter.keepsSideFilesOwner())
        return regerr::Success;
    const std::uint64_t me = ownerOf(hive);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        std::uint64_t owner = counter.sideFilesOwner();
        if (owner == me)
            return regerr::Success;
        if (!counter.writable()) {
            if (owner == 0 || !sideFilesThere(file.file))
                return regerr::Success;
            why = file.file + "-wal and -shm belong to a file that is no longer " + file.file +
                  ": a program of a user who may write it must open the hive once";
            return regerr::SharingViolation;
        }
        if (owner == 0) {
            recordSideFilesOwner(counter, hive);
            continue;
        }
        if ((owner & kSettingAside) != 0) {
            if (alive(owner)) {
                if (std::chrono::steady_clock::now() >= deadline) {
                    why = file.file + "-wal and -shm are being set aside by process " +
                          std::to_string(owner & ~kSettingAside);
                    return regerr::SharingViolation;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            // The process died while setting them aside: finish its work.
        }
        const std::uint64_t former = owner;
        if (!counter.exchangeSideFilesOwner(owner, kSettingAside | static_cast<std::uint64_t>(::getpid())))
            continue;
        const long rc = setAside(file.file, former & kSettingAside ? 0 : former, why);
        owner = kSettingAside | static_cast<std::uint64_t>(::getpid());
        counter.exchangeSideFilesOwner(owner, rc == regerr::Success ? me : former);
        return rc;
    }
}

}  // namespace paramcor::store
