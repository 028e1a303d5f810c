#include "KeyPaths.h"

#include "NameFolding.h"

#include <CVLParamcor/RegistryStore.h>

namespace paramcor {

namespace {

// Walks the names of a path, counting them, and checks each against the limits.
// `each` gets every name that is not empty.
template <class Each>
long walkPath(std::string_view path, Each&& each) {
    // Bytes are never fewer than UTF-16 units: count units only when it matters.
    if (path.size() > reglimit::KeyPath && store::nameLength(path) > reglimit::KeyPath)
        return regerr::NameTooLong;
    std::size_t depth = 0;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find('\\', start);
        if (end == std::string_view::npos)
            end = path.size();
        const std::string_view name = path.substr(start, end - start);
        if (!name.empty()) {
            if (name.size() > reglimit::KeyName && store::nameLength(name) > reglimit::KeyName)
                return regerr::InvalidParameter;
            if (++depth > reglimit::KeyDepth)
                return regerr::NameTooLong;
            each(name);
        }
        start = end + 1;
    }
    return regerr::Success;
}

}  // namespace

long checkKeyPath(const std::string& path) {
    return walkPath(store::cutAtNul(path), [](std::string_view) {});
}

namespace store {

long normalizePath(const std::string& path, std::string& out, bool fold) {
    const std::string_view p = cutAtNul(path);
    if (!p.empty() && p.front() == '\\')
        return regerr::BadPathname;
    out.clear();
    out.reserve(p.size());
    const long rc = walkPath(p, [&](std::string_view name) {
        if (!out.empty())
            out += '\\';
        out += name;
    });
    if (rc != regerr::Success)
        return rc;
    if (fold)
        foldInPlace(out);
    return regerr::Success;
}

}  // namespace store

}  // namespace paramcor
