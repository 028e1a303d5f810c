// What the SQLite store's tests share: folders of their own, file contents and
// states, and processes of their own that use the same hives.
#pragma once

#include "RegistryStoreConformance.h"

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>

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

std::string fileBytes(const fs::path& file);  // "<folder>" for a folder
void writeFile(const fs::path& file, const std::string& content);
void makeDatabase(const fs::path& file, const std::string& sql);  // as another program would
unsigned modeOf(const fs::path& path);                            // the permission bits

// What a folder holds, to the byte and to the modification time (dated back by
// ageFolder, so that any write shows).
using FolderState = std::map<std::string, std::pair<std::string, fs::file_time_type::rep>>;
FolderState folderState(const fs::path& folder);
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
