#include "Enumeration.h"

namespace paramcor::store {

namespace {

// Folded names hold no NUL, so the first name after `name` is the first from
// `name` followed by the smallest other byte.
std::string justAfter(const std::string& name) {
    return name + '\x01';
}

// The first subkey of the key at or after `from`. The keys between are subkeys'
// subtrees, each of which a seek skips: a subtree of "PATH\NAME" is the range from
// "PATH\NAME\" up to "PATH\NAME]", "]" following the backslash.
int nextSubkey(Connection& c, const std::string& own, bool root, const std::string& end, std::string from,
               Subkey& subkey, bool& found) {
    sqlite3_stmt* select = root ? c.enumRootChildren.get() : c.enumChildren.get();
    for (;;) {
        bindText(select, 1, from);
        if (!root)
            bindText(select, 2, end);
        bool any = false;
        const int rc = stepOnce(select, [&](sqlite3_stmt* row) {
            any = true;
            subkey.path = columnText(row, 0);
            subkey.folded = columnText(row, 1);
        });
        if (!succeeded(rc) || !any) {
            found = false;
            return rc;
        }
        const std::size_t slash = subkey.folded.find('\\', own.size());
        if (slash == std::string::npos) {
            found = true;
            return rc;
        }
        from = subkey.folded.substr(0, slash) + ']';  // a subtree of a subkey listed before
    }
}

}  // namespace

int findSubkey(Connection& c, const std::string& folded, std::uint32_t index, Cursor& cursor, Subkey& subkey,
               bool& found) {
    const bool root = folded.empty();
    const std::string own = root ? std::string() : folded + '\\';
    const std::string end = root ? std::string() : folded + ']';
    found = false;
    int rc = SQLITE_OK;
    if (index != 0 && index == cursor.next) {
        rc = nextSubkey(c, own, root, end, justAfter(cursor.after), subkey, found);
    } else {
        // From the first, as Windows counts: a seek for each subkey before.
        std::string from = root ? justAfter(std::string()) : own;
        for (std::uint32_t i = 0; i <= index; ++i) {
            rc = nextSubkey(c, own, root, end, from, subkey, found);
            if (!succeeded(rc) || !found)
                break;
            from = justAfter(subkey.folded);
        }
    }
    if (found) {
        cursor.next = index + 1;
        cursor.after = subkey.folded;
    }
    return rc;
}

int findValue(Connection& c, std::int64_t key, std::uint32_t index, Cursor& cursor, Value* value, bool& found) {
    sqlite3_stmt* select = c.enumValues.get();
    const bool goOn = index != 0 && index == cursor.next;
    std::string from = goOn ? justAfter(cursor.after) : std::string();
    const std::uint32_t steps = goOn ? 1 : index + 1;
    int rc = SQLITE_OK;
    for (std::uint32_t i = 0; i < steps; ++i) {
        sqlite3_bind_int64(select, 1, key);
        bindText(select, 2, from);
        found = false;
        const bool last = i + 1 == steps;
        rc = stepOnce(select, [&](sqlite3_stmt* row) {
            found = true;
            from = columnText(row, 3);
            if (!last || !value)
                return;
            value->name = columnText(row, 0);
            value->type = static_cast<std::uint32_t>(sqlite3_column_int64(row, 1));
            const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(row, 2));
            const int count = sqlite3_column_bytes(row, 2);
            if (bytes && count > 0)
                value->data.assign(bytes, bytes + count);
            else
                value->data.clear();
        });
        if (!succeeded(rc) || !found)
            return rc;
        if (!last)
            from = justAfter(from);
    }
    cursor.next = index + 1;
    cursor.after = from;
    return rc;
}

}  // namespace paramcor::store
