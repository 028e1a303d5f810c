// What the SQLite store's tests share: folders of their own, file contents and
// states, and processes of their own that use the same hives.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace paramcor::test {

namespace fs = std::filesystem;

fs::path uniqueTempPath(const std::string& what);

// A folder of its own, removed at the end. It is not created: the stores must do it.
class TempFolder {
public:
    explicit TempFolder(const std::string& what) : path_(uniqueTempPath(what)) {}
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const fs::path& path() const { return path_; }
    std::string str() const { return path_.string(); }

private:
    fs::path path_;
};

long readValue(RegistryStore& store, KeyHandle key, const std::string& name, std::vector<std::uint8_t>& data);
std::string fileBytes(const fs::path& file);
void writeFile(const fs::path& file, const std::string& content);

// Runs SQL on a database, as another program would.
void makeDatabase(const fs::path& file, const char* sql);

// The permission bits of a file or folder.
unsigned modeOf(const fs::path& path);

// What a folder holds, to the byte and to the modification time.
struct FileState {
    bool directory = false;
    std::string bytes;
    fs::file_time_type modified;
    bool operator==(const FileState&) const = default;
};

void PrintTo(const FileState& file, std::ostream* out);
std::map<std::string, FileState> folderState(const fs::path& folder);

// Dates the files back, so that any write shows in their modification time.
void ageFolder(const fs::path& folder);

// A forked process that runs `body` when told to. Children are forked before this
// process opens any SQLite connection to the files they use: a child must not
// inherit SQLite's bookkeeping of the locks its parent holds.
class Child {
public:
    explicit Child(const std::function<int(Child&)>& body);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // In the parent.
    void go();
    bool heard();
    int exitCode();

    // In the child.
    bool awaitGo();
    bool say();

private:
    int down_[2] = {-1, -1};
    int up_[2] = {-1, -1};
    pid_t pid_ = -1;
    bool finished_ = false;
};

// In a child: becomes a user with no rights of its own ("nobody") when the tests run
// as root, so that permissions hold as they do for the users of a workstation; stays
// who it is otherwise. False when that failed.
bool becomeAnotherUser();
bool runningAsRoot();

// In a child: holds a write transaction on the hive until told to let go.
int holdWriteLock(Child& child, const std::string& file, bool exclusiveLocking);

}  // namespace paramcor::test
