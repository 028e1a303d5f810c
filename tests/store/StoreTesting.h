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
struct TempFolder {
    explicit TempFolder(const std::string& what) : path_(uniqueTempPath(what)) {}
    ~TempFolder();
    const fs::path& path() const { return path_; }
    std::string str() const { return path_.string(); }
    const fs::path path_;
};

std::string fileBytes(const fs::path& file);  // "<folder>" for a folder
void writeFile(const fs::path& file, const std::string& content);
void makeDatabase(const fs::path& file, const std::string& sql);  // as another program would
unsigned modeOf(const fs::path& path);                            // the permission bits

// What a folder holds, to the byte and to the modification time; `age` dates it back
// first, so that any later write shows.
using FolderState = std::map<std::string, std::pair<std::string, fs::file_time_type::rep>>;
FolderState folderState(const fs::path& folder, bool age = false);

// A forked process that runs `body` when told to. Children are forked before this
// process opens any SQLite connection to the files they use: a child must not
// inherit SQLite's bookkeeping of the locks its parent holds.
class Child {
public:
    explicit Child(const std::function<int(Child&)>& body);
    ~Child();
    // Either side tells the other to go on, or waits to be told.
    bool go();
    bool heard();
    int exitCode();  // in the parent

private:
    int in_ = -1;
    int out_ = -1;
    pid_t pid_ = -1;
};

// In a child: becomes a user with no rights of its own ("nobody") when the tests run
// as root, so that permissions hold as they do for the users of a workstation.
bool becomeAnotherUser();

}  // namespace paramcor::test
