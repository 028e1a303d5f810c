#include "RegistryStoreConformance.h"

#include <algorithm>
#include <numeric>
#include <chrono>
#include <random>
#include <set>

namespace paramcor::test {

Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

Bytes dword(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

// Not "v" + std::to_string(i): at -O3 GCC 12 warns falsely about it (-Wrestrict).
std::string numbered(const std::string& prefix, std::uint32_t number) {
    std::string name = prefix;
    name += std::to_string(number);
    return name;
}

KeyHandle create(RegistryStore& store, const std::string& path, Hive hive) {
    KeyHandle handle = 0;
    EXPECT_EQ(store.createKey(hive, path, &handle), regerr::Success) << "createKey " << path;
    return handle;
}

KeyHandle open(RegistryStore& store, const std::string& path, Hive hive) {
    KeyHandle handle = 0;
    EXPECT_EQ(store.openKey(hive, path, &handle), regerr::Success) << "openKey " << path;
    return handle;
}

long tryOpen(RegistryStore& store, const std::string& path, Hive hive, bool create) {
    KeyHandle handle = 0;
    const long rc = create ? store.createKey(hive, path, &handle) : store.openKey(hive, path, &handle);
    EXPECT_TRUE(rc != regerr::Success || store.closeKey(handle) == regerr::Success) << path;
    return rc;
}

void put(RegistryStore& store, KeyHandle key, const std::string& name, std::uint32_t type, const Bytes& data) {
    EXPECT_EQ(store.setValue(key, name, type, data), regerr::Success) << "setValue " << name;
}

Read read(RegistryStore& store, KeyHandle key, const std::string& name, std::uint32_t capacity) {
    Read r;
    r.rc = store.queryValue(key, name, &r.type, &r.data, capacity, &r.size);
    return r;
}

std::vector<Read> listed(RegistryStore& store, KeyHandle key, bool values) {
    std::vector<Read> found;
    for (long rc = regerr::Success; found.size() <= 10000;) {
        Read e;
        const auto i = static_cast<std::uint32_t>(found.size());
        rc = values ? store.enumValue(key, i, &e.name, &e.type, &e.data) : store.enumKey(key, i, &e.name);
        if (rc != regerr::Success) {
            EXPECT_EQ(rc, regerr::NoMoreItems) << "index " << i;
            break;
        }
        found.push_back(std::move(e));
    }
    return found;
}

std::vector<std::string> names(const std::vector<Read>& found) {
    std::vector<std::string> names;
    for (const auto& e : found)
        names.push_back(e.name);
    return names;
}

namespace {

// One key per run, so that runs against a real registry never see each other's data.
const std::string& runKey() {
    static const std::string key = std::string(kSuiteKey) + "\\" +
                                   std::to_string(std::chrono::system_clock::now().time_since_epoch().count()) + "-" +
                                   std::to_string(std::random_device()());
    return key;
}

constexpr Hive kHives[] = {Hive::CurrentUser, Hive::LocalMachine, Hive::ClassesRoot};

std::string repeat(const std::string& text, int times) {
    std::string out;
    while (times-- > 0)
        out += text;
    return out;
}

// In the order of the upper-cased names (Windows, the POSIX store) or of the
// lower-cased ones (Wine): they differ where "[", "]", "^", "_" or "`" meets a letter.
bool sortedIgnoringCase(const std::vector<std::string>& names) {
    const auto sortedBy = [&names](int (*fold)(int)) {
        return std::is_sorted(names.begin(), names.end(), [fold](const std::string& a, const std::string& b) {
            return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [fold](char x, char y) {
                return fold(static_cast<unsigned char>(x)) < fold(static_cast<unsigned char>(y));
            });
        });
    };
    return sortedBy(::toupper) || sortedBy(::tolower);
}

}  // namespace

void RegistryStoreConformance::SetUp() {
    store_ = GetParam().make();
    ASSERT_TRUE(store_);
    std::string test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::replace(test.begin(), test.end(), '/', '_');
    base_ = runKey() + "\\" + test;
}

void RegistryStoreConformance::TearDown() {
    store_.reset();
    if (GetParam().cleanup)
        GetParam().cleanup(base_);
}

TEST_P(RegistryStoreConformance, KeyPaths) {
    RegistryStore& s = *store_;
    create(s, key("A\\B\\C"));  // with every missing parent
    const std::string lead = key("Lead");
    constexpr long kNotCreated = -1;
    const struct {
        Hive hive;
        std::string path;
        long created;  // kNotCreated: only opened
        long opened;
    } cases[] = {
        {Hive::CurrentUser, key("A\\B"), kNotCreated, regerr::Success},
        {Hive::CurrentUser, key("A\\B\\C\\D"), kNotCreated, regerr::FileNotFound},
        // No leading backslash; only the read-only open of the classes root skips one,
        // as Windows has always done there.
        {Hive::CurrentUser, "\\" + lead, regerr::BadPathname, regerr::BadPathname},
        {Hive::ClassesRoot, "\\" + lead, regerr::BadPathname, regerr::FileNotFound},
        {Hive::ClassesRoot, "\\\\" + lead, regerr::BadPathname, regerr::BadPathname},
        {Hive::CurrentUser, "\\", regerr::BadPathname, regerr::BadPathname},
        {Hive::ClassesRoot, "\\", regerr::BadPathname, regerr::Success},
        // Key names of up to 256 characters, one more than Windows' documentation says,
        // counted in characters, not bytes: "é" is two bytes of UTF-8.
        {Hive::CurrentUser, key(std::string(256, 'k')), regerr::Success, regerr::Success},
        {Hive::CurrentUser, key(repeat("é", 256) + "\\" + std::string(256, 'k')), regerr::Success, regerr::Success},
        {Hive::CurrentUser, key(std::string(257, 'k')), regerr::InvalidParameter, regerr::InvalidParameter},
        {Hive::CurrentUser, key(repeat("é", 257)), regerr::InvalidParameter, regerr::InvalidParameter},
        // A name ends at its first NUL.
        {Hive::CurrentUser, key(std::string("Cut\0Tail", 8)), regerr::Success, regerr::Success},
        {Hive::CurrentUser, key("CutTail"), kNotCreated, regerr::FileNotFound},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.created == kNotCreated ? kNotCreated : tryOpen(s, c.path, c.hive, true), c.created) << c.path;
        EXPECT_EQ(tryOpen(s, c.path, c.hive), c.opened) << c.path;
    }
    EXPECT_EQ(tryOpen(s, key("Cut")), regerr::Success);
    put(s, create(s, lead, Hive::ClassesRoot), "v", regtype::Dword, dword(3));
    EXPECT_EQ(read(s, open(s, "\\" + lead, Hive::ClassesRoot), "v").data, dword(3));

    // A trailing or a doubled backslash names the same key as the plain path.
    const std::pair<std::string, std::string> sameKey[] = {
        {"Trailing\\", "Trailing"}, {"Doubled\\\\Inner", "Doubled\\Inner"}, {"Single\\Inner", "Single\\\\Inner\\"}};
    for (const auto& [written, opened] : sameKey) {
        put(s, create(s, key(written)), "written as", regtype::Binary, bytes(written));
        EXPECT_EQ(read(s, open(s, key(opened)), "written as").data, bytes(written)) << opened;
    }

    // Every handle closes once, even those of a hive's root that Windows hands out
    // the same each time.
    const KeyHandle first = open(s, "");
    const KeyHandle second = create(s, "");
    EXPECT_EQ(s.closeKey(first), regerr::Success);
    EXPECT_EQ(read(s, second, "CVLParamcorConformanceProbe").rc, regerr::FileNotFound);
    EXPECT_EQ(s.closeKey(second), regerr::Success);
    EXPECT_EQ(s.closeKey(second), regerr::InvalidHandle);
}

TEST_P(RegistryStoreConformance, Values) {
    RegistryStore& s = *store_;
    Bytes large(64 * 1024 + 3);
    std::iota(large.begin(), large.end(), std::uint8_t{7});
    const struct {
        std::string name;
        std::uint32_t type;
        Bytes data;
    } values[] = {
        {"Zeta", regtype::Dword, dword(0x12345678)},
        {"", regtype::String, bytes(std::string("Perché Ωμέγα Жук €\0", 30))},
        {"terminated", regtype::String, {'a', 'b', 'c', 0}},
        {"embedded zero", regtype::String, {'a', 0, 'b', 'c', 0}},
        {"ending after a zero", regtype::String, {'a', 0, 'b', 0}},
        {"empty string", regtype::String, {}},
        {"expandable", 2, bytes(std::string("%TEMP%\\x\0", 9))},
        {"a_b", 7, {'a', 0, 'b', 'c', 0, 0}},
        {"empty", regtype::Binary, {}},
        {"highest type", 0xFFFFFFFFu, {4}},
        {"Größe", regtype::Binary, large},
    };
    const KeyHandle handle = create(s, key("Values"));
    EXPECT_EQ(read(s, handle, "").rc, regerr::FileNotFound);  // a new key has no value, not even this one
    put(s, handle, "Zeta", regtype::Binary, {1});             // written again below: still one value
    for (const auto& v : values)
        put(s, handle, v.name, v.type, v.data);

    // Read, sized and listed by this store, through a read-only handle too, and by
    // another store that has nothing in memory.
    auto other = GetParam().make();
    const Bytes untouched = {0xEE};
    const std::pair<RegistryStore*, KeyHandle> readers[] = {
        {&s, handle}, {&s, open(s, key("Values"))}, {other.get(), open(*other, key("Values"))}};
    for (const auto& [store, reader] : readers) {
        const auto found = listed(*store, reader, true);
        EXPECT_EQ(found.size(), std::size(values));
        for (const auto& v : values) {
            SCOPED_TRACE(v.name);
            const Read r = read(*store, reader, v.name);
            EXPECT_EQ(r.type, v.type);
            EXPECT_EQ(r.size, r.data.size());
            EXPECT_EQ(r.data, v.data);
            const auto e = std::find_if(found.begin(), found.end(), [&](const auto& e) { return e.name == v.name; });
            ASSERT_NE(e, found.end());
            EXPECT_EQ(e->type, v.type);
            EXPECT_EQ(e->data, v.data);
            // Whatever a store counts in the size of a text, that is the room it needs:
            // less gives MoreData and that size again, with the type, and leaves the buffer alone.
            std::uint32_t needed = 12345;
            EXPECT_EQ(store->queryValue(reader, v.name, nullptr, nullptr, 0, &needed), regerr::Success);
            EXPECT_EQ(needed, r.size);
            Read less{0, 0, untouched, 0, ""};
            EXPECT_EQ(needed > 0 ? store->queryValue(reader, v.name, &less.type, &less.data, needed - 1, &less.size)
                                 : regerr::MoreData,
                      regerr::MoreData);
            EXPECT_EQ(less.type, needed > 0 ? v.type : 0);
            EXPECT_EQ(less.size, needed);
            EXPECT_EQ(less.data, untouched);
            EXPECT_EQ(read(*store, reader, v.name, needed).data, r.data);
        }
    }
    // Value names of up to 16,383 characters; a name ends at its first NUL.
    const KeyHandle otherValues = readers[2].second;
    put(s, handle, std::string(reglimit::ValueName, 'n'), regtype::Dword, dword(1));
    EXPECT_EQ(read(*other, otherValues, std::string(reglimit::ValueName, 'N')).data, dword(1));
    EXPECT_EQ(s.setValue(handle, std::string(reglimit::ValueName + 1, 'n'), regtype::Dword, {}),
              regerr::InvalidParameter);
    std::string accented;  // as many characters as allowed, twice as many bytes
    while (accented.size() < 2 * reglimit::ValueName)
        accented += "é";
    put(s, handle, accented, regtype::Dword, dword(2));
    put(s, handle, std::string("v\0w", 3), regtype::Dword, dword(5));
    EXPECT_EQ(read(*other, otherValues, "v").data, dword(5));

    // Setting a value again, under any case of its name, replaces type and data.
    const KeyHandle again = create(s, key("Again"));
    const KeyHandle otherAgain = open(*other, key("Again"));
    put(s, again, "Mixed", regtype::Dword, dword(1));
    EXPECT_EQ(read(*other, otherAgain, "mixed").data, dword(1));  // remembered by the other store
    put(s, again, "MIXED", regtype::Binary, {});
    for (const Read& r : {read(s, again, "mixed"), read(*other, otherAgain, "mixed")})
        EXPECT_EQ(std::make_pair(r.type, r.data), std::make_pair(regtype::Binary, Bytes()));
    EXPECT_EQ(listed(*other, otherAgain, true).size(), 1u);
}

TEST_P(RegistryStoreConformance, Handles) {
    RegistryStore& s = *store_;
    const KeyHandle writable = create(s, key("Handles\\Child"));
    put(s, writable, "v", regtype::Dword, dword(1));
    const KeyHandle readOnly = open(s, key("Handles\\Child"));
    EXPECT_EQ(s.setValue(readOnly, "new", regtype::Dword, dword(3)), regerr::AccessDenied);
    EXPECT_EQ(s.deleteValue(readOnly, "v"), regerr::AccessDenied);
    EXPECT_EQ(read(s, readOnly, "v").data, dword(1));
    EXPECT_EQ(read(s, writable, "new").rc, regerr::FileNotFound);

    const KeyHandle closed = open(s, key("Handles"));
    EXPECT_EQ(s.closeKey(closed), regerr::Success);
    std::string name;
    Bytes data;
    for (const KeyHandle stale : {closed, KeyHandle{0}}) {
        EXPECT_EQ(s.closeKey(stale), regerr::InvalidHandle);
        EXPECT_EQ(s.setValue(stale, "v", regtype::Dword, dword(1)), regerr::InvalidHandle);
        EXPECT_EQ(s.queryValue(stale, "v", nullptr, &data, 16, nullptr), regerr::InvalidHandle);
        EXPECT_EQ(s.enumKey(stale, 0, &name), regerr::InvalidHandle);
        EXPECT_EQ(s.enumValue(stale, 0, &name, nullptr, nullptr), regerr::InvalidHandle);
        EXPECT_EQ(s.deleteValue(stale, "v"), regerr::InvalidHandle);
    }
    EXPECT_EQ(tryOpen(s, key("Handles"), static_cast<Hive>(0), true), regerr::InvalidHandle);
    EXPECT_EQ(tryOpen(s, key("Handles"), static_cast<Hive>(0)), regerr::InvalidHandle);
}

TEST_P(RegistryStoreConformance, HivesKeysAndStoresKeepTheirOwnValuesAndSeeLaterChanges) {
    // The classes root is a view of Software\Classes on Windows and a hive of its own
    // in the POSIX store: below the suite's key the three hives are apart either way.
    RegistryStore& s = *store_;
    for (std::uint32_t i = 0; i < 3; ++i)
        put(s, create(s, key("Same"), kHives[i]), numbered("only", i), regtype::Dword, dword(i));
    for (std::uint32_t i = 0; i < 3; ++i)
        for (std::uint32_t j = 0; j < 3; ++j)
            EXPECT_EQ(read(s, open(s, key("Same"), kHives[i]), numbered("only", j)).data, i == j ? dword(i) : Bytes());

    // A second store reads, and so may remember, a value, a missing value and a missing key.
    auto second = GetParam().make();
    const KeyHandle first = create(s, key("Shared"));
    put(s, first, "v", regtype::Dword, dword(1));
    const KeyHandle seen = open(*second, key("Shared"));
    EXPECT_EQ(read(*second, seen, "v").data, dword(1));
    EXPECT_EQ(read(*second, seen, "w").rc, regerr::FileNotFound);
    EXPECT_EQ(tryOpen(*second, key("Later")), regerr::FileNotFound);
    put(s, first, "v", regtype::Dword, dword(2));
    put(s, first, "w", regtype::Dword, dword(4));
    create(s, key("Later"));
    EXPECT_EQ(read(*second, seen, "v").data, dword(2));
    EXPECT_EQ(read(*second, seen, "w").data, dword(4));
    EXPECT_EQ(tryOpen(*second, key("Later")), regerr::Success);
    // And the other way round, with the first store's own write in its memory.
    put(*second, create(*second, key("Shared")), "v", regtype::Dword, dword(3));
    EXPECT_EQ(read(s, first, "v").data, dword(3));
}

TEST_P(RegistryStoreConformance, SubkeysComeInTheOrderOfTheirNamesWithoutRegardToCase) {
    // Names keep their case; grandchildren are not listed, even between names that
    // begin alike.
    RegistryStore& s = *store_;
    const std::multiset<std::string> children = {"beta",   "Alpha", "a_b", "aZ", "GAMMA", "Delta",
                                                 "delta2", "Ärger", "Z",   "0",  "B!",    "b"};
    for (const std::string& name : children)
        create(s, key("Enum\\" + name + (name == "b" ? "\\c\\d" : "\\Inner")));
    const KeyHandle readOnly = open(s, key("Enum"));
    auto other = GetParam().make();
    std::vector<std::string> expected = names(listed(s, create(s, key("Enum")), false));
    EXPECT_TRUE(sortedIgnoringCase(expected)) << ::testing::PrintToString(expected);
    EXPECT_EQ(std::multiset<std::string>(expected.begin(), expected.end()), children);
    EXPECT_EQ(names(listed(s, open(s, key("Enum\\b")), false)), std::vector<std::string>{"c"});

    // Any index may be asked for, in any order; past the end the name is left alone.
    std::string name;
    for (const std::uint32_t i : {3u, 0u, 7u, 11u, 1u}) {
        EXPECT_EQ(s.enumKey(readOnly, i, &name), regerr::Success) << i;
        EXPECT_EQ(name, expected[i]) << i;
    }
    EXPECT_EQ(s.enumKey(readOnly, 12, &name), regerr::NoMoreItems);
    EXPECT_EQ(name, expected[1]);
    EXPECT_EQ(s.enumKey(readOnly, 0, nullptr), regerr::Success);

    // A key added later shows up in the next enumeration, by any store.
    create(s, key("Enum\\Beta2"));
    expected.insert(std::find(expected.begin(), expected.end(), "beta") + 1, "Beta2");
    EXPECT_EQ(names(listed(*other, open(*other, key("Enum")), false)), expected);
    EXPECT_EQ(names(listed(s, readOnly, false)), expected);
    // The suite's own key is found from the top of the hive down.
    const auto top = names(listed(s, open(s, ""), false));
    EXPECT_TRUE(std::count(top.begin(), top.end(), "SOFTWARE") + std::count(top.begin(), top.end(), "Software"));
}

TEST_P(RegistryStoreConformance, Deleting) {
    RegistryStore& s = *store_;
    auto other = GetParam().make();
    const KeyHandle top = create(s, key("Top"));
    put(s, top, "v", regtype::Dword, dword(1));
    put(s, top, "Gone", regtype::Dword, dword(2));
    put(s, top, "", regtype::String, bytes("unnamed"));
    const KeyHandle leaf = create(s, key("Top\\Branch\\Leaf"));
    put(s, leaf, "w", regtype::Dword, dword(2));
    // Names that share the deleted one's beginning stay.
    const char* const siblings[] = {"Top\\BranchX", "Top\\Branch X", "Top\\Branch]", "Top\\Brancg"};
    for (const char* sibling : siblings)
        put(s, create(s, key(sibling)), "y", regtype::Dword, dword(4));
    // What the other store has read, it may remember.
    const KeyHandle seen = open(*other, key("Top"));
    EXPECT_EQ(read(*other, seen, "gone").data, dword(2));
    EXPECT_EQ(read(*other, open(*other, key("Top\\Branch\\Leaf")), "w").data, dword(2));

    EXPECT_EQ(s.deleteValue(top, "GONE"), regerr::Success);
    EXPECT_EQ(s.deleteValue(top, ""), regerr::Success);
    EXPECT_EQ(s.deleteValue(top, "Gone"), regerr::FileNotFound);
    EXPECT_EQ(s.deleteTree(top, "bRANCH"), regerr::Success);
    for (const auto& [store, reader] : {std::pair{&s, top}, std::pair{other.get(), seen}}) {
        EXPECT_EQ(read(*store, reader, "Gone").rc, regerr::FileNotFound);
        EXPECT_EQ(read(*store, reader, "").rc, regerr::FileNotFound);
        EXPECT_EQ(read(*store, reader, "v").data, dword(1));
        EXPECT_EQ(tryOpen(*store, key("Top\\Branch")), regerr::FileNotFound);
        EXPECT_EQ(tryOpen(*store, key("Top\\Branch\\Leaf")), regerr::FileNotFound);
        for (const char* sibling : siblings)
            EXPECT_EQ(read(*store, open(*store, key(sibling)), "y").data, dword(4)) << sibling;
    }
    // A handle on a deleted key finds nothing and cannot bring it back.
    EXPECT_NE(read(s, leaf, "w").rc, regerr::Success);
    EXPECT_NE(s.setValue(leaf, "w", regtype::Dword, dword(5)), regerr::Success);
    EXPECT_EQ(tryOpen(s, key("Top\\Branch\\Leaf")), regerr::FileNotFound);
    EXPECT_EQ(s.deleteTree(top, "Branch"), regerr::FileNotFound);

    // An empty path empties the key and keeps it.
    EXPECT_EQ(s.deleteTree(top, ""), regerr::Success);
    const KeyHandle emptied = open(*other, key("Top"));
    EXPECT_EQ(read(*other, emptied, "v").rc, regerr::FileNotFound);
    EXPECT_TRUE(listed(*other, emptied, false).empty());
}

}  // namespace paramcor::test
