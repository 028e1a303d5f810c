// Which hive file the -wal and -shm beside it belong to. SQLite cannot tell: a file
// moved in over the hive (a backup put back with mv), or made again after the old one
// was removed while a program still held it, would get the old file's log laid over
// its own pages. The hive's change counter records the owner; whoever opens a hive
// whose record names another file sets the old side files aside first.
#pragma once

#include "ChangeCounter.h"
#include "HiveFiles.h"

#include <string>

namespace paramcor::store {

// For a writer whose counter has no owner yet: records the hive file described by
// `hive` as the owner.
void recordSideFilesOwner(ChangeCounter& counter, const struct stat& hive);

// Before SQLite opens the hive file described by `hive` (as it is now): makes sure
// that its -wal and -shm are its own, or absent. A `writer` records the file as their
// owner, and sets aside those of another file: a -wal that holds writes is kept as
// "<hive>-wal.<inode of its file>", an empty one and the -shm, an index SQLite
// rebuilds, are removed. Another process that is setting them aside is waited for,
// up to `timeoutMs`. A reader, which may not record, is refused while they are
// another file's. Where the counter keeps no owner yet (missing, or of one word and
// read-only here), the files are taken as they are.
long claimSideFiles(const HiveFile& file, const struct stat& hive, bool writer, int timeoutMs, std::string& why);

}  // namespace paramcor::store
