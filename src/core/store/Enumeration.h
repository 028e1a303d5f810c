// Listing a key's subkeys and values one at a time, each step one seek in an index
// whatever the size of the hive.
#pragma once

#include "HiveConnection.h"

#include <cstdint>
#include <string>
#include <vector>

namespace paramcor::store {

// Where the last listing of a key stopped, so that asking for the next index goes
// on from there instead of counting again from the first.
struct Cursor {
    std::uint32_t next = 0;
    std::string after;  // the folded path of the subkey, or folded name of the value, at next - 1
};

struct Subkey {
    std::string path;    // as created
    std::string folded;  // as looked up
};

// The subkey `index` of the key whose folded path is `folded` (empty: the root).
// Goes on from `cursor` when it stopped just before `index`, and leaves it after the
// subkey found. `found` is false past the last subkey.
int findSubkey(Connection& c, const std::string& folded, std::uint32_t index, Cursor& cursor, Subkey& subkey,
               bool& found);

struct Value {
    std::string name;
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
};

// The value `index` of a key, in the order of the folded names; likewise.
int findValue(Connection& c, std::int64_t key, std::uint32_t index, Cursor& cursor, Value* value, bool& found);

}  // namespace paramcor::store
