// A whole run of paramcor: the command line read once against the command table,
// then help, the version, or the command on a session of the library.
#pragma once

#include <QStringList>

namespace paramcor::tool {

// Runs a whole command line and returns the exit code; Failure, UsageError and
// Reported carry the others.
int run(const QStringList& arguments);

}  // namespace paramcor::tool
