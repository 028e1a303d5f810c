// The copy of a shared hive that users outside its group read. They may not open
// the hive, its -wal or its -shm (0660): a read lock of theirs on any of those could
// hold every writer up. Each commit replaces the copy by a rename, so a reader
// keeps the whole copy it opened, takes no lock, and nobody waits for it.
#pragma once

#include <sqlite3.h>

#include <sys/stat.h>

#include <string>

namespace paramcor::store {

std::string publishedCopyOf(const std::string& hiveFile);

// Whether writers of this hive publish a copy: a shared hive that others may not read.
bool publishesCopy(const struct stat& hive);

// Writes the hive as `db` sees it now into a fresh file and renames it over the
// copy. `lockFd` is a descriptor of the hive file, kept open by the connection:
// an exclusive flock on it, which only those who may open the hive can take, puts
// publishers in a row, so that the last copy renamed is the newest.
bool publishCopy(sqlite3* db, int lockFd, const std::string& hiveFile, std::string& why);

}  // namespace paramcor::store
