#include "StoreTesting.h"

#include <sqlite3.h>

#include <grp.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace paramcor::test {

fs::path uniqueTempPath(const std::string& what) {
    static std::atomic<int> counter{0};
    return fs::temp_directory_path() / ("cvlparamcor-" + what + "-" + std::to_string(::getpid()) + "-" +
                                        std::to_string(counter++) + "-" + std::to_string(std::random_device()()));
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    // Folders a test left without write permission could not be emptied.
    for (auto it = fs::recursive_directory_iterator(path_, ignored); it != fs::recursive_directory_iterator();
         it.increment(ignored))
        if (it->is_directory(ignored) && !it->is_symlink(ignored))
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(path_, ignored);
}

std::string fileBytes(const fs::path& file) {
    if (fs::is_directory(file))
        return "<folder>";
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const fs::path& file, const std::string& content) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
}

void makeDatabase(const fs::path& file, const std::string& sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_close(db);
}

unsigned modeOf(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? static_cast<unsigned>(st.st_mode & 07777) : 0u;
}

FolderState folderState(const fs::path& folder) {
    FolderState state;
    for (const auto& entry : fs::directory_iterator(folder))
        state[entry.path().filename().string()] = {fileBytes(entry.path()),
                                                   fs::last_write_time(entry.path()).time_since_epoch().count()};
    return state;
}

void ageFolder(const fs::path& folder) {
    for (const auto& entry : fs::directory_iterator(folder))
        fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(24));
}

Child::Child(const std::function<int(Child&)>& body) {
    if (::pipe(down_) != 0 || ::pipe(up_) != 0 || (pid_ = ::fork()) < 0)
        throw std::runtime_error("cannot start a child process");
    if (pid_ == 0) {
        ::close(down_[1]);
        ::close(up_[0]);
        ::_exit(awaitGo() ? body(*this) : 100);
    }
    ::close(down_[0]);
    ::close(up_[1]);
}

Child::~Child() {
    if (pid_ > 0 && !finished_) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    ::close(down_[1]);
    ::close(up_[0]);
}

void Child::go() {
    EXPECT_EQ(::write(down_[1], "g", 1), 1);
}

bool Child::heard() {
    char c = 0;
    return ::read(up_[0], &c, 1) == 1;
}

int Child::exitCode() {
    int status = 0;
    if (::waitpid(pid_, &status, 0) != pid_)
        return -1;
    finished_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool Child::awaitGo() {
    char c = 0;
    return ::read(down_[0], &c, 1) == 1;
}

bool Child::say() {
    return ::write(up_[1], "s", 1) == 1;
}

bool runningAsRoot() {
    return ::geteuid() == 0;
}

bool becomeAnotherUser() {
    constexpr uid_t kNobody = 65534;
    return !runningAsRoot() || (::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
}

int holdWriteLock(Child& child, const std::string& file, bool exclusiveLocking) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
        return 1;
    const char* sql = exclusiveLocking ? "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE keys SET path = path"
                                       : "BEGIN IMMEDIATE; UPDATE keys SET path = path";
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        return 2;
    if (!child.say() || !child.awaitGo())
        return 3;
    sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    return 0;
}

}  // namespace paramcor::test
