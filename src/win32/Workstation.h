// The Windows calls of the workstation services that need no Qt. Strings are in the
// process's ANSI code page, as the "A" functions give and take them.
#pragma once

#include <string>

namespace paramcor::win32 {

// The folder for temporary files as GetTempPathA gives it, with its trailing
// backslash; empty when the call fails.
std::string temporaryFolder();

// Creates an empty file with a new name in `folder` and returns the name: the folder, a
// backslash, the first three characters of `prefix`, a hexadecimal number and ".tmp"
// (GetTempFileNameA with unique number 0, so that the system makes sure the name is
// unused). Empty when the call fails, say when the folder does not exist.
std::string temporaryFileName(const std::string& folder, const std::string& prefix);

// The Windows folder as GetWindowsDirectoryA gives it (no trailing backslash unless it
// is a drive's root); empty when the call fails.
std::string windowsFolder();

struct Separators {
    std::string decimal;
    std::string thousands;
};

// The decimal and thousands separators of the calling thread's locale, with blanks
// trimmed from both ends; a separator that cannot be read is empty.
Separators localeSeparators();

}  // namespace paramcor::win32
