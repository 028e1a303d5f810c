// Files in the folder "Testi", which every operator of the suite may write: a name
// there may be a link or a file planted by someone else, so nothing is written
// through a name that this program did not just create.
#pragma once

#include <QString>

namespace paramcor::texts {

// Why the file at `path` must not be opened or replaced: a link, something that is
// not a regular file, a file with more than one name, or one owned by a user who
// is neither this one nor the folder's owner nor of the folder's group. Empty when
// it is fine or absent.
QString refusedFileReason(const QString& path);

// Copies `from` into a new file created exclusively beside `to`, then renames it
// over `to` in one step: a link at `to` is replaced, never followed, and `to` is
// never half written. Empty on success, otherwise what went wrong, naming the file.
QString copyIntoPlace(const QString& from, const QString& to);

}  // namespace paramcor::texts
