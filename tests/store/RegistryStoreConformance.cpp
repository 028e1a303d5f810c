#include "RegistryStoreConformance.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace paramcor::test {

namespace {

// One key per run, so that runs against a real registry never see each other's data.
const std::string& runKey() {
    static const std::string key = [] {
        std::random_device random;
        const auto now = std::chrono::system_clock::now().time_since_epoch().count();
        std::string key = kSuiteKey;
        key += '\\';
        key += std::to_string(now);
        key += '-';
        key += std::to_string(random());
        return key;
    }();
    return key;
}

constexpr Hive kHives[] = {Hive::CurrentUser, Hive::LocalMachine, Hive::ClassesRoot};

std::string repeat(const std::string& text, int times) {
    std::string out;
    for (int i = 0; i < times; ++i)
        out += text;
    return out;
}

}  // namespace

std::vector<std::uint8_t> bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

bool isText(std::uint32_t type) {
    return type == regtype::String || type == 2 || type == 7;  // REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ
}

::testing::AssertionResult readsBackAs(const std::vector<std::uint8_t>& read, std::uint32_t type,
                                       const std::vector<std::uint8_t>& written) {
    if (read == written)
        return ::testing::AssertionSuccess();
    // Text written without a terminating zero may come back with one: Windows adds it
    // when a zero follows the data in memory, and the Windows store always has it added.
    if (isText(type) && !written.empty() && written.back() != 0 && read.size() == written.size() + 1 &&
        read.back() == 0 && std::equal(written.begin(), written.end(), read.begin()))
        return ::testing::AssertionSuccess();
    ::testing::AssertionResult failure = ::testing::AssertionFailure();
    failure << "read " << ::testing::PrintToString(read) << ", written " << ::testing::PrintToString(written);
    return failure;
}

std::vector<std::uint8_t> dword(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

// Not "v" + std::to_string(i): at -O3 GCC 12 warns falsely about it (-Wrestrict).
std::string numbered(const std::string& prefix, std::uint32_t number) {
    std::string name = prefix;
    name += std::to_string(number);
    return name;
}

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

std::string RegistryStoreConformance::key(const std::string& relative) const {
    return relative.empty() ? base_ : base_ + "\\" + relative;
}

KeyHandle RegistryStoreConformance::create(const std::string& path, Hive hive) {
    return create(*store_, path, hive);
}

namespace {

KeyHandle checked(long rc, KeyHandle handle, const char* call, const std::string& path) {
    EXPECT_EQ(rc, regerr::Success) << call << " " << path;
    return rc == regerr::Success ? handle : 0;
}

}  // namespace

KeyHandle RegistryStoreConformance::create(RegistryStore& store, const std::string& path, Hive hive) {
    KeyHandle handle = 0;
    const long rc = store.createKey(hive, path, &handle);
    return checked(rc, handle, "createKey", path);
}

KeyHandle RegistryStoreConformance::open(const std::string& path, Hive hive) {
    return open(*store_, path, hive);
}

KeyHandle RegistryStoreConformance::open(RegistryStore& store, const std::string& path, Hive hive) {
    KeyHandle handle = 0;
    const long rc = store.openKey(hive, path, &handle);
    return checked(rc, handle, "openKey", path);
}

void RegistryStoreConformance::put(KeyHandle key, const std::string& name, std::uint32_t type,
                                   const std::vector<std::uint8_t>& data) {
    put(*store_, key, name, type, data);
}

void RegistryStoreConformance::put(RegistryStore& store, KeyHandle key, const std::string& name, std::uint32_t type,
                                   const std::vector<std::uint8_t>& data) {
    EXPECT_EQ(store.setValue(key, name, type, data), regerr::Success) << "setValue " << name;
}

RegistryStoreConformance::Read RegistryStoreConformance::read(KeyHandle key, const std::string& name,
                                                              std::uint32_t capacity) {
    return read(*store_, key, name, capacity);
}

RegistryStoreConformance::Read RegistryStoreConformance::read(RegistryStore& store, KeyHandle key,
                                                              const std::string& name, std::uint32_t capacity) {
    Read r;
    r.rc = store.queryValue(key, name, &r.type, &r.data, capacity, &r.size);
    return r;
}

TEST_P(RegistryStoreConformance, CreatesMissingParentsAndOpensEveryLevel) {
    const KeyHandle deep = create(key("A\\B\\C"));
    ASSERT_NE(deep, 0u);
    for (const char* path : {"", "A", "A\\B", "A\\B\\C"}) {
        KeyHandle handle = 0;
        EXPECT_EQ(store_->openKey(Hive::CurrentUser, key(path), &handle), regerr::Success) << path;
        EXPECT_NE(handle, 0u) << path;
        EXPECT_EQ(store_->closeKey(handle), regerr::Success) << path;
    }
    for (const char* path : {"A\\X", "A\\B\\C\\D", "Z", "Z\\A"}) {
        KeyHandle handle = 0;
        EXPECT_EQ(store_->openKey(Hive::CurrentUser, key(path), &handle), regerr::FileNotFound) << path;
    }

    // Creating an existing key opens it again.
    const KeyHandle again = create(key("A\\B\\C"));
    EXPECT_NE(again, deep);
    put(deep, "v", regtype::Dword, dword(7));
    EXPECT_EQ(read(again, "v").data, dword(7));
    EXPECT_EQ(store_->closeKey(again), regerr::Success);
    EXPECT_EQ(store_->closeKey(deep), regerr::Success);
}

TEST_P(RegistryStoreConformance, PathSyntax) {
    // A path may not begin with a backslash. Only the read-only open of the classes
    // root skips one, as Windows has always done there.
    const std::string lead = key("Lead");
    const struct {
        Hive hive;
        std::string path;
        long created;
        long opened;
    } leading[] = {
        {Hive::CurrentUser, "\\" + lead, regerr::BadPathname, regerr::BadPathname},
        {Hive::LocalMachine, "\\" + lead, regerr::BadPathname, regerr::BadPathname},
        {Hive::ClassesRoot, "\\" + lead, regerr::BadPathname, regerr::FileNotFound},
        {Hive::CurrentUser, "\\\\" + lead, regerr::BadPathname, regerr::BadPathname},
        {Hive::ClassesRoot, "\\\\" + lead, regerr::BadPathname, regerr::BadPathname},
        {Hive::CurrentUser, "\\", regerr::BadPathname, regerr::BadPathname},
        {Hive::ClassesRoot, "\\", regerr::BadPathname, regerr::Success},  // the root key
    };
    for (const auto& c : leading) {
        KeyHandle handle = 0;
        EXPECT_EQ(store_->createKey(c.hive, c.path, &handle), c.created) << c.path;
        EXPECT_EQ(store_->openKey(c.hive, c.path, &handle), c.opened) << c.path;
        if (c.opened == regerr::Success) {
            EXPECT_EQ(store_->closeKey(handle), regerr::Success) << c.path;
        }
    }
    for (const Hive hive : kHives) {
        KeyHandle handle = 0;
        EXPECT_EQ(store_->openKey(hive, lead, &handle), regerr::FileNotFound);
    }
    put(create(lead, Hive::ClassesRoot), "v", regtype::Dword, dword(3));
    EXPECT_EQ(read(open("\\" + lead, Hive::ClassesRoot), "v").data, dword(3));

    // A trailing or a doubled backslash names the same key as the plain path.
    const struct {
        std::string written;
        std::string opened;
    } sameKey[] = {
        {"Trailing\\", "Trailing"},
        {"Plain", "Plain\\"},
        {"Doubled\\\\Inner", "Doubled\\Inner"},
        {"Single\\Inner", "Single\\\\Inner\\"},
    };
    for (const auto& c : sameKey) {
        put(create(key(c.written)), "written as", regtype::Binary, bytes(c.written));
        const KeyHandle opened = open(key(c.opened));
        EXPECT_EQ(read(opened, "written as").data, bytes(c.written)) << c.opened;
    }
    EXPECT_NE(open(key("Doubled")), 0u);
}

TEST_P(RegistryStoreConformance, EmptyPathNamesTheRootKey) {
    const std::string probe = "CVLParamcorConformanceProbe";
    // First before anything was written (a POSIX store may have no file yet), then after.
    for (int round = 0; round < 2; ++round) {
        for (const Hive hive : kHives) {
            for (const bool viaCreate : {false, true}) {
                KeyHandle root = 0;
                const long rc = viaCreate ? store_->createKey(hive, "", &root) : store_->openKey(hive, "", &root);
                EXPECT_EQ(rc, regerr::Success) << round << viaCreate;
                EXPECT_NE(root, 0u);
                EXPECT_EQ(read(root, probe).rc, regerr::FileNotFound);
                EXPECT_EQ(store_->closeKey(root), regerr::Success);
            }
        }
        for (const Hive hive : kHives)
            put(create(key(""), hive), probe, regtype::Dword, dword(1));
    }

    // Windows hands out the same handle for a hive's root each time: still, every
    // handle opened closes once, and the others stay usable meanwhile.
    KeyHandle first = 0;
    KeyHandle second = 0;
    ASSERT_EQ(store_->openKey(Hive::CurrentUser, "", &first), regerr::Success);
    ASSERT_EQ(store_->openKey(Hive::CurrentUser, "", &second), regerr::Success);
    EXPECT_EQ(store_->closeKey(first), regerr::Success);
    EXPECT_EQ(read(second, probe).rc, regerr::FileNotFound);
    EXPECT_EQ(store_->closeKey(second), regerr::Success);
    EXPECT_EQ(store_->closeKey(second), regerr::InvalidHandle);
}

TEST_P(RegistryStoreConformance, NamesIgnoreCase) {
    const struct {
        std::string written;
        std::string other;
    } sameName[] = {
        {"Perché", "PERCHÉ"}, {"perché", "PeRcHé"}, {"Größe", "GRÖßE"}, {"Ωμέγα", "ΩΜΈΓΑ"},
        {"Привет", "пРИВЕТ"}, {"Łódź", "ŁÓDŹ"},     {"ÿ", "Ÿ"},         {"ёжик", "ЁЖИК"},
        {"Ștefan", "ȘTEFAN"}, {"țară", "ȚARĂ"},     {"ǆ", "Ǆ"},         {"Հայաստան", "ՀԱՅԱՍՏԱՆ"},
    };
    for (const auto& c : sameName) {
        const KeyHandle written = create(key(c.written));
        put(written, c.written, regtype::Binary, bytes(c.written));
        const KeyHandle other = open(key(c.other));
        EXPECT_EQ(read(other, c.written).data, bytes(c.written)) << c.other;
        EXPECT_EQ(read(written, c.other).data, bytes(c.written)) << c.other;
    }

    // Folding must not join different letters.
    const struct {
        std::string written;
        std::string other;
    } differentName[] = {{"ss", "ß"}, {"a", "á"}, {"E", "É"}, {"AE", "Æ"}, {"O", "Ω"}, {"ǅ", "Ǆ"},
                         {"ı", "I"},  {"ſ", "S"}, {"ς", "Σ"}, {"µ", "Μ"},  {"ș", "ş"}};
    for (const auto& c : differentName) {
        const KeyHandle written = create(key("Different\\" + c.written));
        put(written, c.written, regtype::Dword, dword(1));
        KeyHandle other = 0;
        EXPECT_EQ(store_->openKey(Hive::CurrentUser, key("Different\\" + c.other), &other), regerr::FileNotFound)
            << c.other;
        EXPECT_EQ(read(written, c.other).rc, regerr::FileNotFound) << c.other;
    }
}

TEST_P(RegistryStoreConformance, NamesEndAtTheFirstNul) {
    const KeyHandle written = create(key(std::string("Cut\0Tail", 8)));
    put(written, std::string("v\0w", 3), regtype::Dword, dword(1));
    put(written, std::string("\0x", 2), regtype::Dword, dword(2));
    const KeyHandle opened = open(key("Cut"));
    EXPECT_EQ(read(opened, "v").data, dword(1));
    EXPECT_EQ(read(opened, "").data, dword(2));
    KeyHandle missing = 0;
    EXPECT_EQ(store_->openKey(Hive::CurrentUser, key("CutTail"), &missing), regerr::FileNotFound);
}

TEST_P(RegistryStoreConformance, UnnamedValue) {
    const KeyHandle handle = create(key("Unnamed"));
    EXPECT_EQ(read(handle, "").rc, regerr::FileNotFound);  // a new key has no value, not even this one
    put(handle, "", regtype::String, bytes("default"));
    put(handle, "Named", regtype::String, bytes("named"));
    EXPECT_TRUE(readsBackAs(read(handle, "").data, regtype::String, bytes("default")));
    EXPECT_TRUE(readsBackAs(read(handle, "Named").data, regtype::String, bytes("named")));
    EXPECT_TRUE(readsBackAs(read(open(key("Unnamed")), "").data, regtype::String, bytes("default")));
}

TEST_P(RegistryStoreConformance, MissingValuesAndSmallBuffers) {
    const KeyHandle handle = create(key("Sizes"));
    EXPECT_EQ(read(handle, "absent").rc, regerr::FileNotFound);

    const std::vector<std::uint8_t> ten = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    put(handle, "ten", regtype::Binary, ten);
    put(handle, "empty", regtype::Binary, {});
    const std::vector<std::uint8_t> untouched = {0xEE, 0xEE};
    const struct {
        const char* name;
        std::uint32_t capacity;
        long rc;
        std::uint32_t size;
        std::vector<std::uint8_t> data;
    } cases[] = {
        {"ten", 0, regerr::MoreData, 10, untouched}, {"ten", 9, regerr::MoreData, 10, untouched},
        {"ten", 10, regerr::Success, 10, ten},       {"ten", 11, regerr::Success, 10, ten},
        {"empty", 0, regerr::Success, 0, {}},        {"empty", 5, regerr::Success, 0, {}},
    };
    for (const auto& c : cases) {
        std::uint32_t type = 0;
        std::uint32_t size = 12345;
        std::vector<std::uint8_t> data = untouched;
        EXPECT_EQ(store_->queryValue(handle, c.name, &type, &data, c.capacity, &size), c.rc)
            << c.name << " in " << c.capacity;
        EXPECT_EQ(type, regtype::Binary) << c.name << " in " << c.capacity;
        EXPECT_EQ(size, c.size) << c.name << " in " << c.capacity;
        EXPECT_EQ(data, c.data) << c.name << " in " << c.capacity;
    }

    // Without a buffer the call only tells the type and size.
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    EXPECT_EQ(store_->queryValue(handle, "ten", &type, nullptr, 0, &size), regerr::Success);
    EXPECT_EQ(type, regtype::Binary);
    EXPECT_EQ(size, 10u);
    std::vector<std::uint8_t> data;
    EXPECT_EQ(store_->queryValue(handle, "ten", nullptr, &data, 10, nullptr), regerr::Success);
    EXPECT_EQ(data, ten);
    EXPECT_EQ(store_->queryValue(handle, "ten", nullptr, nullptr, 0, nullptr), regerr::Success);
    EXPECT_EQ(store_->queryValue(handle, "absent", nullptr, nullptr, 0, nullptr), regerr::FileNotFound);
}

TEST_P(RegistryStoreConformance, SmallBuffersTellTheSizeNeeded) {
    // Whatever a store counts in the size of a text, that is the room it needs: one
    // byte less gives MoreData and that size again, and leaves the buffer alone.
    const struct {
        std::string name;
        std::uint32_t type;
        std::vector<std::uint8_t> data;
    } values[] = {
        {"ascii", regtype::String, bytes("abc")},
        {"accented", regtype::String, bytes("Perché più")},
        {"terminated", regtype::String, bytes(std::string("abc\0", 4))},
        {"one character", regtype::String, bytes("€")},
        {"dword", regtype::Dword, dword(9)},
        {"binary", regtype::Binary, {1, 2, 3}},
    };
    const KeyHandle handle = create(key("Needed"));
    for (const auto& v : values)
        put(handle, v.name, v.type, v.data);
    const std::vector<std::uint8_t> untouched = {0xEE};
    for (const auto& v : values) {
        std::uint32_t type = 0;
        std::uint32_t needed = 0;
        ASSERT_EQ(store_->queryValue(handle, v.name, &type, nullptr, 0, &needed), regerr::Success) << v.name;
        EXPECT_EQ(type, v.type) << v.name;

        std::uint32_t size = 0;
        std::vector<std::uint8_t> data = untouched;
        EXPECT_EQ(store_->queryValue(handle, v.name, &type, &data, needed - 1, &size), regerr::MoreData) << v.name;
        EXPECT_EQ(size, needed) << v.name;
        EXPECT_EQ(data, untouched) << v.name;

        EXPECT_EQ(store_->queryValue(handle, v.name, &type, &data, needed, &size), regerr::Success) << v.name;
        EXPECT_EQ(size, needed) << v.name;
        EXPECT_EQ(data.size(), needed) << v.name;
        EXPECT_TRUE(readsBackAs(data, v.type, v.data)) << v.name;
    }
}

TEST_P(RegistryStoreConformance, ValuesKeepTheirBytesAndType) {
    std::vector<std::uint8_t> large(64 * 1024);
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    const struct {
        std::string name;
        std::uint32_t type;
        std::vector<std::uint8_t> data;
    } cases[] = {
        {"string without terminator", regtype::String, bytes("abc")},
        {"string with terminator", regtype::String, {'a', 'b', 'c', 0}},
        {"string with embedded zero", regtype::String, {'a', 0, 'b', 'c', 0}},
        {"string ending after a zero", regtype::String, {'a', 0, 'b'}},
        {"empty string", regtype::String, {}},
        {"accented string", regtype::String, bytes("Perché Ωμέγα Жук €")},
        {"expandable string", 2, bytes("%TEMP%\\x")},
        {"multiple strings", 7, {'a', 0, 'b', 'c', 0, 0}},
        {"dword", regtype::Dword, dword(0x12345678)},
        {"binary 0", regtype::Binary, {}},
        {"binary 1", regtype::Binary, {0}},
        {"binary 2", regtype::Binary, {0xFF, 0x00}},
        {"binary 8", regtype::Binary, {1, 2, 3, 4, 5, 6, 7, 0x80}},
        {"unusual type", 0x12345678u, {1, 2, 3}},
        {"highest type", 0xFFFFFFFFu, {4}},
        {"64 KiB", regtype::Binary, large},
    };
    const KeyHandle handle = create(key("Types"));
    for (const auto& c : cases)
        put(handle, c.name, c.type, c.data);

    // Read back by this store, and by another one that has nothing in memory.
    auto other = GetParam().make();
    const KeyHandle otherHandle = open(*other, key("Types"));
    for (const auto& c : cases) {
        for (const Read& r : {read(handle, c.name), read(*other, otherHandle, c.name)}) {
            EXPECT_EQ(r.rc, regerr::Success) << c.name;
            EXPECT_EQ(r.type, c.type) << c.name;
            EXPECT_EQ(r.size, r.data.size()) << c.name;
            EXPECT_TRUE(readsBackAs(r.data, c.type, c.data)) << c.name;
        }
    }
}

TEST_P(RegistryStoreConformance, OverwritingReplacesTypeAndData) {
    const KeyHandle handle = create(key("Overwrite"));
    auto other = GetParam().make();
    const KeyHandle otherHandle = open(*other, key("Overwrite"));
    const struct {
        std::string name;
        std::uint32_t type;
        std::vector<std::uint8_t> data;
    } writes[] = {
        {"Mixed", regtype::Dword, dword(1)},
        {"MIXED", regtype::String, bytes(std::string("a longer text\0", 14))},
        {"mixed", regtype::Binary, {}},
        {"MiXeD", regtype::Binary, {42}},
    };
    for (const auto& w : writes) {
        put(handle, w.name, w.type, w.data);
        for (const Read& r : {read(handle, "mixed"), read(*other, otherHandle, "mixed")}) {
            EXPECT_EQ(r.rc, regerr::Success) << w.name;
            EXPECT_EQ(r.type, w.type) << w.name;
            EXPECT_EQ(r.data, w.data) << w.name;
        }
    }
}

TEST_P(RegistryStoreConformance, ReadOnlyHandlesRefuseWrites) {
    const KeyHandle writable = create(key("ReadOnly"));
    put(writable, "v", regtype::Dword, dword(1));
    const KeyHandle readOnly = open(key("ReadOnly"));
    EXPECT_EQ(store_->setValue(readOnly, "v", regtype::Dword, dword(2)), regerr::AccessDenied);
    EXPECT_EQ(store_->setValue(readOnly, "new", regtype::Dword, dword(3)), regerr::AccessDenied);
    EXPECT_EQ(read(readOnly, "v").data, dword(1));
    EXPECT_EQ(read(writable, "new").rc, regerr::FileNotFound);
}

TEST_P(RegistryStoreConformance, ClosedAndUnknownHandlesAreInvalid) {
    const KeyHandle handle = create(key("Handles"));
    EXPECT_EQ(store_->closeKey(handle), regerr::Success);
    std::vector<std::uint8_t> data;
    for (const KeyHandle stale : {handle, KeyHandle{0}}) {
        EXPECT_EQ(store_->closeKey(stale), regerr::InvalidHandle);
        EXPECT_EQ(store_->setValue(stale, "v", regtype::Dword, dword(1)), regerr::InvalidHandle);
        EXPECT_EQ(store_->queryValue(stale, "v", nullptr, &data, 16, nullptr), regerr::InvalidHandle);
    }

    const auto unknownHive = static_cast<Hive>(0);
    KeyHandle opened = 0;
    EXPECT_EQ(store_->createKey(unknownHive, key("Handles"), &opened), regerr::InvalidHandle);
    EXPECT_EQ(store_->openKey(unknownHive, key("Handles"), &opened), regerr::InvalidHandle);
}

TEST_P(RegistryStoreConformance, HivesAndKeysKeepTheirOwnValues) {
    // Windows lets only an administrator write LocalMachine; Wine lets anybody. The
    // classes root is a view of Software\Classes in the other two hives on Windows (of
    // LocalMachine's under Wine), and a hive of its own in the POSIX store: below the
    // suite's key the three are apart either way.
    const Hive hives[] = {Hive::CurrentUser, Hive::ClassesRoot, Hive::LocalMachine};
    for (std::uint32_t i = 0; i < 3; ++i) {
        const KeyHandle handle = create(key("Same"), hives[i]);
        put(handle, "which", regtype::Dword, dword(i));
        put(handle, numbered("only", i), regtype::Dword, dword(i));
    }
    put(create(key("Sibling")), "which", regtype::Dword, dword(99));
    put(create(key("Same\\Child")), "which", regtype::Dword, dword(98));

    for (std::uint32_t i = 0; i < 3; ++i) {
        const KeyHandle handle = open(key("Same"), hives[i]);
        EXPECT_EQ(read(handle, "which").data, dword(i)) << i;
        for (std::uint32_t j = 0; j < 3; ++j)
            EXPECT_EQ(read(handle, numbered("only", j)).rc, i == j ? regerr::Success : regerr::FileNotFound)
                << i << " " << j;
    }
    EXPECT_EQ(read(open(key("Sibling")), "which").data, dword(99));
    EXPECT_EQ(read(open(key("Same\\Child")), "which").data, dword(98));
}

TEST_P(RegistryStoreConformance, AnotherStoreSeesWritesAndLaterChanges) {
    auto second = GetParam().make();
    const KeyHandle first = create(key("Shared"));
    put(first, "v", regtype::Dword, dword(1));

    // The second store reads, and so may remember, a value, a missing value and a missing key.
    const KeyHandle seen = open(*second, key("Shared"));
    EXPECT_EQ(read(*second, seen, "v").data, dword(1));
    EXPECT_EQ(read(*second, seen, "w").rc, regerr::FileNotFound);
    KeyHandle later = 0;
    EXPECT_EQ(second->openKey(Hive::CurrentUser, key("Later"), &later), regerr::FileNotFound);

    put(first, "v", regtype::Dword, dword(2));
    put(first, "w", regtype::String, bytes("new"));
    put(create(key("Later")), "x", regtype::Dword, dword(5));

    EXPECT_EQ(read(*second, seen, "v").data, dword(2));
    EXPECT_TRUE(readsBackAs(read(*second, seen, "w").data, regtype::String, bytes("new")));
    EXPECT_EQ(read(*second, open(*second, key("Later")), "x").data, dword(5));

    // And the other way round, with the first store's own write in its memory.
    put(*second, create(*second, key("Shared")), "v", regtype::Dword, dword(3));
    EXPECT_EQ(read(first, "v").data, dword(3));
}

TEST_P(RegistryStoreConformance, LongKeyNames) {
    // The registry takes key names of up to 256 characters, one more than Windows'
    // documentation says, in createKey and openKey alike, and refuses longer ones with
    // ERROR_INVALID_PARAMETER. Characters, not bytes: "é" is two bytes of UTF-8.
    const std::string longest(256, 'k');
    const std::string accented = repeat("é", 256);
    EXPECT_NE(create(key(longest)), 0u);
    EXPECT_NE(create(key(accented + "\\" + longest)), 0u);
    EXPECT_NE(open(key(accented)), 0u);
    EXPECT_NE(open(key(std::string(256, 'K'))), 0u);

    for (const std::string& path : {key(longest + "k"), key(repeat("é", 257)), key(longest + "k\\x")}) {
        KeyHandle handle = 0;
        EXPECT_EQ(store_->createKey(Hive::CurrentUser, path, &handle), regerr::InvalidParameter);
        EXPECT_EQ(store_->openKey(Hive::CurrentUser, path, &handle), regerr::InvalidParameter);
    }
}

TEST_P(RegistryStoreConformance, LongValueNames) {
    // Value names of up to 16,383 characters; the registry refuses a longer one as an
    // invalid parameter.
    const KeyHandle handle = create(key("Values"));
    put(handle, std::string(reglimit::ValueName, 'v'), regtype::Dword, dword(1));
    EXPECT_EQ(read(handle, std::string(reglimit::ValueName, 'V')).data, dword(1));
    EXPECT_EQ(store_->setValue(handle, std::string(reglimit::ValueName + 1, 'v'), regtype::Dword, dword(2)),
              regerr::InvalidParameter);
}

TEST_P(RegistryStoreConformance, OneStoreServesSeveralThreads) {
    constexpr std::uint32_t kThreads = 4;
    constexpr std::uint32_t kRounds = 100;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (std::uint32_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t, &failures] {
            const std::string path = key(numbered("Thread", t));
            for (std::uint32_t round = 0; round < kRounds; ++round) {
                KeyHandle handle = 0;
                std::uint32_t type = 0;
                std::uint32_t size = 0;
                std::vector<std::uint8_t> data;
                const bool ok = store_->createKey(Hive::CurrentUser, path, &handle) == regerr::Success &&
                                store_->setValue(handle, "round", regtype::Dword, dword(round)) == regerr::Success &&
                                store_->queryValue(handle, "round", &type, &data, 4, &size) == regerr::Success &&
                                data == dword(round) && store_->closeKey(handle) == regerr::Success;
                if (!ok)
                    ++failures;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
    for (std::uint32_t t = 0; t < kThreads; ++t)
        EXPECT_EQ(read(open(key(numbered("Thread", t))), "round").data, dword(kRounds - 1));
}

namespace {

std::string upperAscii(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}

std::string lowerAscii(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return text;
}

// The names in the order of their upper-cased form (Windows' order of subkeys) and
// in that of their lower-cased form (Wine's). They differ where "[", "]", "^", "_"
// or "`" meets a letter. The names used here change case only in ASCII.
std::vector<std::string> sortedBy(std::vector<std::string> names, std::string (*fold)(std::string)) {
    std::sort(names.begin(), names.end(),
              [fold](const std::string& a, const std::string& b) { return fold(a) < fold(b); });
    return names;
}

bool isCaseInsensitiveOrder(const std::vector<std::string>& names) {
    return names == sortedBy(names, upperAscii) || names == sortedBy(names, lowerAscii);
}

// Every subkey name of a key, enumerated from index 0 until NoMoreItems.
std::vector<std::string> subkeys(RegistryStore& store, KeyHandle key) {
    std::vector<std::string> names;
    for (std::uint32_t i = 0;; ++i) {
        std::string name = "untouched";
        const long rc = store.enumKey(key, i, &name);
        if (rc == regerr::NoMoreItems)
            break;
        EXPECT_EQ(rc, regerr::Success) << "index " << i;
        if (rc != regerr::Success || i > 10000)
            break;
        names.push_back(name);
    }
    return names;
}

struct Enumerated {
    std::string name;
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
};

std::vector<Enumerated> values(RegistryStore& store, KeyHandle key) {
    std::vector<Enumerated> found;
    for (std::uint32_t i = 0;; ++i) {
        Enumerated v;
        const long rc = store.enumValue(key, i, &v.name, &v.type, &v.data);
        if (rc == regerr::NoMoreItems)
            break;
        EXPECT_EQ(rc, regerr::Success) << "index " << i;
        if (rc != regerr::Success || i > 10000)
            break;
        found.push_back(std::move(v));
    }
    return found;
}

}  // namespace

TEST_P(RegistryStoreConformance, SubkeysComeInTheOrderOfTheirNamesWithoutRegardToCase) {
    // Names keep their case; grandchildren are not listed.
    const std::vector<std::string> created = {"beta",  "Alpha", "a_b", "aZ",  "GAMMA",        "Delta",  "delta2",
                                              "Ärger", "Z",     "0",   "x y", "Alpha\\Inner", "b\\c\\d"};
    for (const std::string& name : created)
        create(key("Enum\\" + name));
    const KeyHandle writable = create(key("Enum"));
    const KeyHandle readOnly = open(key("Enum"));
    std::vector<std::string> expected = subkeys(*store_, writable);
    EXPECT_TRUE(isCaseInsensitiveOrder(expected)) << ::testing::PrintToString(expected);
    EXPECT_EQ(sortedBy(expected, upperAscii),
              sortedBy({"beta", "Alpha", "a_b", "aZ", "GAMMA", "Delta", "delta2", "Ärger", "Z", "0", "x y", "b"},
                       upperAscii));
    EXPECT_EQ(subkeys(*store_, readOnly), expected);
    auto other = GetParam().make();
    EXPECT_EQ(subkeys(*other, open(*other, key("Enum"))), expected);

    // Any index may be asked for, in any order.
    for (const std::uint32_t i : {3u, 0u, 7u, 8u, 2u, 11u, 1u}) {
        std::string name;
        EXPECT_EQ(store_->enumKey(readOnly, i, &name), regerr::Success) << i;
        EXPECT_EQ(name, expected[i]) << i;
    }
    std::string name = "untouched";
    for (const std::uint32_t i : {12u, 13u, 1000u}) {
        EXPECT_EQ(store_->enumKey(readOnly, i, &name), regerr::NoMoreItems) << i;
        EXPECT_EQ(name, "untouched") << i;
    }
    EXPECT_EQ(store_->enumKey(readOnly, 0, nullptr), regerr::Success);

    EXPECT_EQ(subkeys(*store_, open(key("Enum\\b"))), std::vector<std::string>{"c"});
    EXPECT_EQ(subkeys(*store_, open(key("Enum\\b\\c\\d"))), std::vector<std::string>{});

    // A key added later shows up in the next enumeration, by any store.
    create(key("Enum\\Beta2"));
    expected.insert(std::find(expected.begin(), expected.end(), "beta") + 1, "Beta2");
    EXPECT_EQ(subkeys(*other, open(*other, key("Enum"))), expected);
    EXPECT_EQ(subkeys(*store_, readOnly), expected);

    // The suite's own key is found from the top of the hive down.
    KeyHandle root = 0;
    ASSERT_EQ(store_->openKey(Hive::CurrentUser, "", &root), regerr::Success);
    const auto top = subkeys(*store_, root);
    EXPECT_TRUE(std::any_of(top.begin(), top.end(), [](const std::string& n) { return upperAscii(n) == "SOFTWARE"; }));
    EXPECT_EQ(store_->closeKey(root), regerr::Success);
}

TEST_P(RegistryStoreConformance, ValuesEnumerateWithTheirNamesTypesAndData) {
    const struct {
        std::string name;
        std::uint32_t type;
        std::vector<std::uint8_t> data;
    } written[] = {
        {"Zeta", regtype::Dword, dword(26)},
        {"", regtype::String, bytes("unnamed")},
        {"alpha", regtype::String, bytes("Perché più")},
        {"Mixed Case", regtype::Binary, {1, 2, 3}},
        {"empty", regtype::Binary, {}},
        {"a_b", 7, {'a', 0, 'b', 0, 0}},
        {"aZ", 0x12345678u, {9}},
        {"Größe", regtype::Binary, std::vector<std::uint8_t>(5000, 0xAB)},
    };
    const KeyHandle handle = create(key("Values"));
    for (const auto& w : written)
        put(handle, w.name, w.type, w.data);
    put(handle, "Zeta", regtype::Dword, dword(27));  // set again: still one value

    auto other = GetParam().make();
    const std::pair<RegistryStore*, KeyHandle> readers[] = {
        {store_.get(), handle}, {store_.get(), open(key("Values"))}, {other.get(), open(*other, key("Values"))}};
    for (const auto& [store, reader] : readers) {
        const auto found = values(*store, reader);
        ASSERT_EQ(found.size(), std::size(written));
        std::vector<std::string> order;
        for (const auto& w : written) {
            const auto it =
                std::find_if(found.begin(), found.end(), [&](const Enumerated& v) { return v.name == w.name; });
            ASSERT_NE(it, found.end()) << w.name;
            EXPECT_EQ(it->type, w.type) << w.name;
            EXPECT_TRUE(readsBackAs(it->data, w.type, w.name == "Zeta" ? dword(27) : w.data)) << w.name;
        }
        for (const auto& v : found)
            order.push_back(v.name);

        // Windows keeps the order of creation; Wine and the POSIX store sort them.
        std::vector<std::string> creation;
        for (const auto& w : written)
            creation.push_back(w.name);
        EXPECT_TRUE(order == creation || isCaseInsensitiveOrder(order)) << ::testing::PrintToString(order);
    }

    // Any of the outputs may be left out.
    EXPECT_EQ(store_->enumValue(handle, 0, nullptr, nullptr, nullptr), regerr::Success);
    std::uint32_t type = 0;
    EXPECT_EQ(store_->enumValue(handle, 1, nullptr, &type, nullptr), regerr::Success);
    std::string name = "untouched";
    std::vector<std::uint8_t> data = {0xEE};
    const auto past = static_cast<std::uint32_t>(std::size(written));
    EXPECT_EQ(store_->enumValue(handle, past, &name, &type, &data), regerr::NoMoreItems);
    EXPECT_EQ(name, "untouched");
    EXPECT_EQ(data, std::vector<std::uint8_t>{0xEE});

    // A key with neither values nor subkeys.
    const KeyHandle bare = create(key("Bare"));
    EXPECT_EQ(store_->enumValue(bare, 0, &name, &type, &data), regerr::NoMoreItems);
    EXPECT_EQ(store_->enumKey(bare, 0, &name), regerr::NoMoreItems);
}

TEST_P(RegistryStoreConformance, EnumerationNeedsAnOpenHandle) {
    const KeyHandle handle = create(key("Closed\\Child"));
    put(handle, "v", regtype::Dword, dword(1));
    const KeyHandle parent = open(key("Closed"));
    EXPECT_EQ(store_->closeKey(parent), regerr::Success);
    std::string name;
    for (const KeyHandle stale : {parent, KeyHandle{0}}) {
        EXPECT_EQ(store_->enumKey(stale, 0, &name), regerr::InvalidHandle);
        EXPECT_EQ(store_->enumValue(stale, 0, &name, nullptr, nullptr), regerr::InvalidHandle);
    }
}

}  // namespace paramcor::test

namespace paramcor::test {

TEST_P(RegistryStoreConformance, DeletingValues) {
    auto other = GetParam().make();
    const KeyHandle handle = create(key("Values"));
    put(handle, "Keep", regtype::Dword, dword(1));
    put(handle, "Gone", regtype::Dword, dword(2));
    put(handle, "", regtype::String, bytes("unnamed"));
    const KeyHandle seen = open(*other, key("Values"));
    EXPECT_EQ(read(*other, seen, "gone").data, dword(2));  // remembered by the other store

    EXPECT_EQ(store_->deleteValue(handle, "GONE"), regerr::Success);
    EXPECT_EQ(store_->deleteValue(handle, ""), regerr::Success);
    for (const auto& [store, reader] : {std::pair{store_.get(), handle}, std::pair{other.get(), seen}}) {
        EXPECT_EQ(read(*store, reader, "Gone").rc, regerr::FileNotFound);
        EXPECT_EQ(read(*store, reader, "").rc, regerr::FileNotFound);
        EXPECT_EQ(read(*store, reader, "Keep").data, dword(1));
    }
    EXPECT_EQ(store_->deleteValue(handle, "Gone"), regerr::FileNotFound);
    EXPECT_EQ(store_->deleteValue(open(key("Values")), "Keep"), regerr::AccessDenied);
    EXPECT_EQ(read(handle, "Keep").data, dword(1));
    EXPECT_EQ(store_->closeKey(handle), regerr::Success);
    EXPECT_EQ(store_->deleteValue(handle, "Keep"), regerr::InvalidHandle);
}

TEST_P(RegistryStoreConformance, DeletingTrees) {
    auto other = GetParam().make();
    const KeyHandle top = create(key("Top"));
    put(top, "v", regtype::Dword, dword(1));
    put(create(key("Top\\Branch\\Leaf")), "w", regtype::Dword, dword(2));
    put(create(key("Top\\Branch")), "x", regtype::Dword, dword(3));
    // Names that share the deleted one's beginning stay.
    for (const char* sibling : {"Top\\BranchX", "Top\\Branch X", "Top\\Branch]", "Top\\Brancg"})
        put(create(key(sibling)), "y", regtype::Dword, dword(4));
    const KeyHandle leaf = create(key("Top\\Branch\\Leaf"));
    EXPECT_EQ(read(*other, open(*other, key("Top\\Branch\\Leaf")), "w").data, dword(2));

    EXPECT_EQ(store_->deleteTree(top, "bRANCH"), regerr::Success);
    for (RegistryStore* store : {store_.get(), other.get()}) {
        for (const char* gone : {"Top\\Branch", "Top\\Branch\\Leaf"}) {
            KeyHandle handle = 0;
            EXPECT_EQ(store->openKey(Hive::CurrentUser, key(gone), &handle), regerr::FileNotFound) << gone;
        }
        for (const char* sibling : {"Top\\BranchX", "Top\\Branch X", "Top\\Branch]", "Top\\Brancg"})
            EXPECT_EQ(read(*store, open(*store, key(sibling)), "y").data, dword(4)) << sibling;
        EXPECT_EQ(read(*store, open(*store, key("Top")), "v").data, dword(1));
    }
    // A handle on a deleted key finds nothing and cannot bring it back.
    EXPECT_NE(read(leaf, "w").rc, regerr::Success);
    EXPECT_NE(store_->setValue(leaf, "w", regtype::Dword, dword(5)), regerr::Success);
    KeyHandle handle = 0;
    EXPECT_EQ(store_->openKey(Hive::CurrentUser, key("Top\\Branch\\Leaf"), &handle), regerr::FileNotFound);
    EXPECT_EQ(store_->deleteTree(top, "Branch"), regerr::FileNotFound);
    EXPECT_EQ(store_->deleteTree(top, "BranchX\\Missing"), regerr::FileNotFound);

    // An empty path empties the key and keeps it.
    EXPECT_EQ(store_->deleteTree(top, ""), regerr::Success);
    const KeyHandle emptied = open(*other, key("Top"));
    EXPECT_EQ(read(*other, emptied, "v").rc, regerr::FileNotFound);
    std::string name;
    EXPECT_EQ(other->enumKey(emptied, 0, &name), regerr::NoMoreItems);
    EXPECT_EQ(read(*store_, create(key("Top\\Branch\\Leaf")), "w").rc, regerr::FileNotFound);  // made anew, empty
}

}  // namespace paramcor::test
