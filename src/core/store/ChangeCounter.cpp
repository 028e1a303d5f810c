#include "ChangeCounter.h"

#include "PublishedCopy.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace paramcor::store {

namespace {

// O_NONBLOCK: a FIFO in its place must not hang us. O_NOFOLLOW: a link in its place
// must not make us write somebody else's file.
constexpr int kOpenFlags = O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY;
constexpr off_t kWord = sizeof(std::uint64_t);
constexpr off_t kSize = 2 * kWord;
constexpr off_t kOneWordSize = kWord;  // before the side files' owner was kept

class File {
public:
    explicit File(int fd = -1) : fd_(fd) {}
    ~File() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    File& operator=(File&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    int get() const { return fd_; }

private:
    int fd_;
};

std::string describeErrno(int error) {
    return std::strerror(error);
}

}  // namespace

ChangeCounter::~ChangeCounter() {
    release();
}

void ChangeCounter::release() {
    if (word_)
        ::munmap(word_, words_ * sizeof *word_);
    word_ = nullptr;
    words_ = 0;
}

void ChangeCounter::fail(State state, std::string problem) {
    state_ = state;
    problem_ = std::move(problem);
}

// Made whole under another name and linked into place, so that nobody ever sees
// a counter of the wrong size or mode.
bool ChangeCounter::create(const std::string& path, const struct stat& hive) {
    std::vector<char> name(path.begin(), path.end());
    const char suffix[] = ".XXXXXX";
    name.insert(name.end(), suffix, suffix + sizeof suffix);
    const File fd(::mkostemp(name.data(), O_CLOEXEC));
    if (fd.get() < 0)
        return false;
    // Readers of a published copy follow the counter too; reading it locks nothing.
    const mode_t mode = (hive.st_mode & 0666) | (publishesCopy(hive) ? 0444 : 0);
    bool made = ::ftruncate(fd.get(), kSize) == 0 && ::fchmod(fd.get(), mode) == 0;
    if (made && ::geteuid() == 0 && (hive.st_uid != 0 || hive.st_gid != 0))
        made = ::fchown(fd.get(), hive.st_uid, hive.st_gid) == 0;
    made = made && ::link(name.data(), path.c_str()) == 0;
    ::unlink(name.data());
    return made || errno == EEXIST;  // another writer made it first
}

std::uint64_t ChangeCounter::bump() {
    const std::uint64_t before = std::atomic_ref<std::uint64_t>(*word_).fetch_add(1, std::memory_order_acq_rel);
    ::utimensat(AT_FDCWD, path_.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
    return before;
}

void ChangeCounter::open(const std::string& path, bool writer, const struct stat& hive) {
    release();
    path_ = path;
    problem_.clear();
    state_ = State::Missing;
    redirected_ = false;

    File fd(::open(path.c_str(), (writer ? O_RDWR : O_RDONLY) | kOpenFlags));
    bool openedForWriting = writer && fd.get() >= 0;
    if (fd.get() < 0 && errno == ENOENT) {
        if (!writer || !create(path, hive))
            return;
        fd = File(::open(path.c_str(), O_RDWR | kOpenFlags));
        openedForWriting = fd.get() >= 0;
    }
    if (fd.get() < 0 && writer && (errno == EACCES || errno == EPERM || errno == EROFS))
        fd = File(::open(path.c_str(), O_RDONLY | kOpenFlags));
    if (fd.get() < 0) {
        if (errno == ENOENT)
            return;
        redirected_ = errno == ELOOP;
        fail(State::Unusable, errno == ELOOP ? path + " is a symbolic link, which the store does not follow"
                                             : path + " cannot be opened: " + describeErrno(errno));
        return;
    }

    struct stat st {};
    if (::fstat(fd.get(), &st) != 0) {
        fail(State::Unusable, path + " cannot be read: " + describeErrno(errno));
        return;
    }
    if (!S_ISREG(st.st_mode)) {
        fail(State::Unusable, path + " is not a regular file");
        return;
    }
    if (st.st_nlink != 1) {
        fail(State::Unusable, path + " has other names (hard links), so it may be another file");
        return;
    }
    if (st.st_size != kSize && st.st_size != kOneWordSize) {
        fail(State::Unusable,
             path + " is " + std::to_string(st.st_size) + " bytes long, not the 8 or 16 of a counter");
        return;
    }

    // A file nobody may write counts as read-only, for root too. Whoever may write
    // the hive must be able to bump its counter: an owner puts that right.
    bool writable = openedForWriting && (st.st_mode & 0222) != 0;
    const mode_t missing = (hive.st_mode & 0222) & ~st.st_mode;
    if (writer && (!writable || missing != 0) && (st.st_uid == ::geteuid() || ::geteuid() == 0) &&
        ::fchmod(fd.get(), (st.st_mode & 07777) | (hive.st_mode & 0666)) == 0) {
        fd = File(::open(path.c_str(), O_RDWR | kOpenFlags));
        writable = fd.get() >= 0 && ::fstat(fd.get(), &st) == 0 && S_ISREG(st.st_mode) &&
                   (st.st_size == kSize || st.st_size == kOneWordSize);
        if (!writable && fd.get() < 0)
            fd = File(::open(path.c_str(), O_RDONLY | kOpenFlags));
        if (fd.get() < 0) {
            fail(State::Unusable, path + " cannot be opened: " + describeErrno(errno));
            return;
        }
    }

    // Growing a file that others map is safe: their mapping covers the whole page.
    if (writable && st.st_size == kOneWordSize && ::ftruncate(fd.get(), kSize) == 0)
        st.st_size = kSize;
    const off_t size = st.st_size;
    void* p = ::mmap(nullptr, size, writable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, fd.get(), 0);
    if (p == MAP_FAILED) {
        fail(State::Unusable, path + " cannot be mapped: " + describeErrno(errno));
        return;
    }
    word_ = static_cast<std::uint64_t*>(p);
    words_ = static_cast<std::size_t>(size / kWord);
    state_ = writable ? State::Writable : State::ReadOnly;
    if (writer && !writable)
        problem_ = path + " may not be written, so other programs would not see the writes of this one";
}

}  // namespace paramcor::store
