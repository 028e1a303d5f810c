// Key paths as the registry reads them: names between backslashes, within the
// registry's limits (reglimit in RegistryStore.h).
#pragma once

#include <string>
#include <string_view>

namespace paramcor::store {

// Names are C strings on Windows: whatever follows a NUL is not part of them.
inline std::string_view cutAtNul(const std::string& name) {
    return std::string_view(name.c_str());
}

// Resolves a key path as Windows does: a leading backslash is refused (BadPathname),
// empty names (a trailing or a doubled backslash) are skipped, and the limits of
// checkKeyPath apply. `out` gets the names joined by single backslashes,
// upper-cased when `fold`.
long normalizePath(const std::string& path, std::string& out, bool fold);

}  // namespace paramcor::store
