#include "HiveFiles.h"

#include <CVLParamcor/RegistryStore.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace paramcor::store {

namespace {

constexpr int kProbeFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

// Takes away group and other permissions from a file or folder that we own; never
// through a symbolic link.
void tightenOne(const std::string& path, bool folder) {
    const int fd = ::open(path.c_str(), kProbeFlags | (folder ? O_DIRECTORY : 0));
    if (fd < 0)
        return;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && (folder ? S_ISDIR(st.st_mode) : S_ISREG(st.st_mode)) && st.st_uid == ::geteuid() &&
        (st.st_mode & 077) != 0)
        ::fchmod(fd, st.st_mode & 07700);
    ::close(fd);
}

}  // namespace

FileAccess effectiveAccess(const std::string& folder, FileAccess wanted) {
    struct stat st {};
    if (wanted == FileAccess::Private && ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) &&
        (st.st_uid != ::geteuid() || (st.st_mode & S_ISGID) != 0))
        return FileAccess::Shared;
    return wanted;
}

bool mayWrite(const std::string& path, const struct stat& st) {
    return (st.st_mode & 0222) != 0 && ::access(path.c_str(), W_OK) == 0;
}

bool mayCreateIn(const std::string& folder) {
    struct stat st {};
    return ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && mayWrite(folder, st) &&
           ::access(folder.c_str(), W_OK | X_OK) == 0;
}

long makeFolder(const HiveFile& hive, std::string& why) {
    const std::filesystem::path folder(hive.folder);
    std::error_code ec;
    if (folder.has_parent_path())
        std::filesystem::create_directories(folder.parent_path(), ec);
    if (hive.access == FileAccess::Private) {
        if (::mkdir(hive.folder.c_str(), 0700) == 0)
            ::chmod(hive.folder.c_str(), 0700);  // whatever the umask took away
    } else {
        std::filesystem::create_directory(folder, ec);
    }
    if (!mayCreateIn(hive.folder)) {
        why = hive.folder + " cannot be made or written: " + std::strerror(errno == 0 ? EACCES : errno);
        return regerr::AccessDenied;  // an empty hive that cannot be written
    }
    return regerr::Success;
}

long createHiveFile(const HiveFile& hive, std::string& why) {
    mode_t mode = 0600;
    if (hive.access == FileAccess::Shared) {
        struct stat folder {};
        if (::stat(hive.folder.c_str(), &folder) == 0)
            mode = folder.st_mode & 0660;  // others read the published copy
    }
    const int fd = ::open(hive.file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
    if (fd < 0) {
        if (errno == EEXIST)
            return regerr::Success;
        why = hive.file + " cannot be created: " + std::strerror(errno);
        return regerr::AccessDenied;
    }
    ::fchmod(fd, mode);
    ::close(fd);
    return regerr::Success;
}

void tighten(const HiveFile& hive) {
    if (hive.access != FileAccess::Private)
        return;
    tightenOne(hive.folder, true);
    tightenOne(hive.file, false);
    for (const char* suffix : kSideFiles)
        tightenOne(hive.file + suffix, false);
}

long checkHeader(const std::string& file, std::int64_t applicationId, std::string& why) {
    const int fd = ::open(file.c_str(), kProbeFlags);
    if (fd < 0) {
        why = file + " cannot be read: " + std::strerror(errno);
        return regerr::IoFailed;
    }
    std::array<char, 100> header{};
    std::size_t got = 0;
    while (got < header.size()) {
        const ssize_t n = ::read(fd, header.data() + got, header.size() - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            why = file + " cannot be read: " + std::strerror(errno);
            ::close(fd);
            return regerr::IoFailed;
        }
        if (n == 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    ::close(fd);
    const std::string notOurs = file + " is not a hive of CVLParamcor: ";
    if (got < header.size()) {
        why = notOurs + "at " + std::to_string(got) + " bytes it is too short for an SQLite database";
        return regerr::BadDatabase;
    }
    static constexpr char kMagic[] = "SQLite format 3";  // the terminating NUL is part of it
    if (std::memcmp(header.data(), kMagic, sizeof kMagic) != 0) {
        why = notOurs + "it is not an SQLite database";
        return regerr::BadDatabase;
    }
    std::int64_t id = 0;
    for (int i = 68; i < 72; ++i)
        id = (id << 8) | static_cast<unsigned char>(header[i]);
    if (id != applicationId) {
        why = notOurs + "it is the SQLite database of another program (application id " + std::to_string(id) + ")";
        return regerr::BadDatabase;
    }
    return regerr::Success;
}

}  // namespace paramcor::store
