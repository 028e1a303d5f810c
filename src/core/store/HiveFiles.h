// The files of a hive on disk: where they are, who may read them, and whether a
// file is one of our hives before SQLite ever sees it.
#pragma once

#include <CVLParamcor/SqliteRegistryStore.h>

#include <sys/stat.h>

#include <string>

namespace paramcor::store {

using FileAccess = SqliteRegistryStore::FileAccess;

struct HiveFile {
    std::string folder;
    std::string file;
    FileAccess access = FileAccess::Private;
};

// The files SQLite and the store keep beside a hive.
inline constexpr const char* kSideFiles[] = {"-wal", "-shm", "-journal", "-changes"};

// The access a hive in `folder` really has. A folder that another user owns, or
// that is setgid for a group, is shared whatever the caller asked for: taking the
// group's rights from files there would lock every other user of it out.
FileAccess effectiveAccess(const std::string& folder, FileAccess wanted);

// Whether this process may write the file. Someone who deliberately removed every
// write permission bit wants the hive left alone, even by root, which access() lets
// write anything.
bool mayWrite(const std::string& path, const struct stat& st);

// Whether this process may create files in the folder, by the same rule.
bool mayCreateIn(const std::string& folder);

// Makes the hive's folder and its missing parents. A private folder is made 0700,
// whatever the umask.
long makeFolder(const HiveFile& hive, std::string& why);

// Creates the hive's file, empty, unless another process has just done it: 0600
// when private; when shared, with the owner's and the group's permissions of its
// folder less the execute bits, so that whoever may write the folder may write the
// hive, and nobody else may open it (PublishedCopy.h).
long createHiveFile(const HiveFile& hive, std::string& why);

// For a private hive: takes the group's and the others' permissions away from its
// folder and from every file of the hive that this process owns.
void tighten(const HiveFile& hive);

// Reads the header with plain file I/O: a file that is not one of our hives must
// never reach SQLite, which could roll back a journal in it or change its mode.
long checkHeader(const std::string& file, std::int64_t applicationId, std::string& why);

}  // namespace paramcor::store
