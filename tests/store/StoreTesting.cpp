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
    std::ifstream in(file, std::ios::binary);
    return fs::is_directory(file) ? "<folder>" : std::string(std::istreambuf_iterator<char>(in), {});
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

FolderState folderState(const fs::path& folder, bool age) {
    FolderState state;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (age)
            fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(24));
        state[entry.path().filename().string()] = {fileBytes(entry.path()),
                                                   fs::last_write_time(entry.path()).time_since_epoch().count()};
    }
    return state;
}

Child::Child(const std::function<int(Child&)>& body) {
    int down[2];
    int up[2];
    if (::pipe(down) != 0 || ::pipe(up) != 0 || (pid_ = ::fork()) < 0)
        throw std::runtime_error("cannot start a child process");
    const bool child = pid_ == 0;
    in_ = child ? down[0] : up[0];
    out_ = child ? up[1] : down[1];
    ::close(child ? down[1] : down[0]);
    ::close(child ? up[0] : up[1]);
    if (child)
        ::_exit(heard() ? body(*this) : 100);
}

Child::~Child() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    ::close(in_);
    ::close(out_);
}

bool Child::go() {
    return ::write(out_, "g", 1) == 1;
}

bool Child::heard() {
    char c = 0;
    return ::read(in_, &c, 1) == 1;
}

int Child::exitCode() {
    int status = 0;
    const bool waited = ::waitpid(pid_, &status, 0) == pid_;
    pid_ = -1;
    return waited && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool becomeAnotherUser() {
    constexpr uid_t kNobody = 65534;
    return ::geteuid() != 0 || (::setgroups(0, nullptr) == 0 && ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
}

}  // namespace paramcor::test
