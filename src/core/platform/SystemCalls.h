// What the operating system tells the workstation services. One implementation per
// platform, chosen by the build: SystemCallsPosix.cpp, SystemCallsWindows.cpp.
#pragma once

#include <CVLParamcor/Platform.h>

#include <QString>

namespace paramcor::systemcalls {

// The folder for temporary files, ending in a separator; empty when there is none.
QString temporaryFolder();

// Creates a new empty file in `folder` named after the first three characters of
// `prefix`, a hexadecimal number and ".tmp", and returns its full name; empty when no
// file can be made there.
QString temporaryFile(const QString& folder, const QString& prefix);

// The system's own folder, ending in a backslash; where there is none, the folder
// Windows programs of the suite expect.
QString windowsFolder();

// The decimal and thousands separators of the user's locale.
Separators localeSeparators();

}  // namespace paramcor::systemcalls
