// The conformance suite against the real registry (Windows, or Wine), and what only
// the Windows store does: text as the older programs of the suite read and write it,
// the name folding the POSIX store copies, and notification of changes.
#include "RegistryStoreConformance.h"

#include "NameFolding.h"
#include "Win32RegistryStore.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace paramcor::test {

namespace {

const HKEY kRoots[] = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT};

// The suite's key paths are ASCII.
std::wstring wide(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('\\');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// Whether a key exists and holds neither subkeys nor values.
bool emptyKey(HKEY root, const std::string& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, wide(path).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    DWORD subkeys = 1;
    DWORD values = 1;
    RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                     nullptr);
    RegCloseKey(key);
    return subkeys == 0 && values == 0;
}

// Removes a key of the suite's from every hive, then the keys above it that it leaves
// empty: the suite's own, and the classes root's "SOFTWARE" that only the suite makes.
void removeSuiteKey(const std::string& path) {
    for (const HKEY root : kRoots) {
        RegDeleteTreeW(root, wide(path).c_str());
        for (std::string up = parentOf(path); !up.empty() && emptyKey(root, up); up = parentOf(up))
            RegDeleteKeyW(root, wide(up).c_str());
    }
}

const auto kRegistry = ::testing::Values(StoreUnderTest{
    "Registry", [] { return std::unique_ptr<RegistryStore>(new Win32RegistryStore()); }, removeSuiteKey});

INSTANTIATE_TEST_SUITE_P(Win32, RegistryStoreConformance, kRegistry, [](const auto& info) { return info.param.name; });

// What only the Windows store does, below a key of each test's own as in the suite.
class Win32RegistryStoreTest : public RegistryStoreConformance {};
INSTANTIATE_TEST_SUITE_P(Win32, Win32RegistryStoreTest, kRegistry, [](const auto& info) { return info.param.name; });

std::string inAnsiCodePage(const std::wstring& text) {
    const int bytes = WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(bytes), '\0');  // with the terminating zero
    WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, out.data(), bytes, nullptr, nullptr);
    return out;
}

}  // namespace

TEST_P(Win32RegistryStoreTest, TextAsOlderProgramsReadAndWriteIt) {
    // They read a string with the "A" functions, in the ANSI code page, as its size
    // less one character: the terminating zero must be counted, or they would lose
    // the last character. They wrote strings so counting no terminating zero; the
    // registry keeps them as UTF-16.
    const KeyHandle handle = create(*store_, key(""));
    const std::string accented = inAnsiCodePage(L"Perch\u00e9");
    const struct {
        const char* name;
        Bytes ours;        // written through the store
        std::string ansi;  // read through the "A" functions; written so without the zero
    } cases[] = {
        {"plain", bytes("abc"), std::string("abc\0", 4)},
        {"terminated", bytes(std::string("abc\0", 4)), std::string("abc\0", 4)},
        {"accented", bytes("Perché"), accented},
    };
    const auto hkey = reinterpret_cast<HKEY>(handle);
    for (const auto& c : cases) {
        put(*store_, handle, c.name, regtype::String, c.ours);
        char buffer[256] = {};
        DWORD size = sizeof buffer;
        EXPECT_EQ(RegQueryValueExA(hkey, c.name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(std::string(buffer, size), c.ansi) << c.name;

        ASSERT_EQ(RegSetValueExA(hkey, c.name, 0, REG_SZ, reinterpret_cast<const BYTE*>(c.ansi.data()),
                                 static_cast<DWORD>(c.ansi.size() - 1)),
                  ERROR_SUCCESS);
        const Read r = read(*store_, handle, c.name);
        EXPECT_EQ(r.type, regtype::String) << c.name;
        // Whether or not with a terminating zero.
        EXPECT_STREQ(std::string(r.data.begin(), r.data.end()).c_str(),
                     std::string(c.ours.begin(), c.ours.end()).c_str());
    }
}

TEST_P(Win32RegistryStoreTest, PosixNameFoldingJoinsTheNamesTheRegistryJoins) {
    // Every character below U+0800 names a value ("x" and the character), in
    // ascending order, holding its own code: names the registry takes for one keep
    // the last code written. The POSIX store's folding must join exactly the same.
    constexpr char32_t kEnd = 0x800;
    const auto valueName = [](char32_t c) {
        return c < 0x80 ? std::string{'x', static_cast<char>(c)}
                        : std::string{'x', static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
    };
    const KeyHandle handle = create(*store_, key(""));
    std::vector<char32_t> lastOfFolded(kEnd, 0);
    for (char32_t c = 1; c < kEnd; ++c) {
        ASSERT_EQ(store_->setValue(handle, valueName(c), regtype::Dword, dword(c)), regerr::Success);
        lastOfFolded.at(store::foldCodePoint(c)) = c;
    }
    for (char32_t c = 1; c < kEnd; ++c)
        EXPECT_EQ(read(*store_, handle, valueName(c)).data, dword(lastOfFolded[store::foldCodePoint(c)]))
            << "U+" << std::hex << static_cast<std::uint32_t>(c);
}

TEST_P(Win32RegistryStoreTest, TellsOfChangesOtherProcessesMake) {
    create(*store_, key("Sub"));
    const KeyHandle handle = open(*store_, key(""));
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const auto event_ = reinterpret_cast<std::uintptr_t>(event);
    // reg.exe, another process.
    const auto reg = [this](const std::string& subkey, const std::string& value) {
        const std::string line = "reg.exe add HKCU\\" + key(subkey) + " /v " + value + " /t REG_DWORD /d 1 /f >NUL";
        EXPECT_EQ(std::system(line.c_str()), 0) << value;
    };

    // Without the subtree a change below is not heard, one of the key's own values is.
    ASSERT_EQ(store_->notifyChange(handle, false, event_), regerr::Success);
    reg("Sub", "Below");
    EXPECT_EQ(WaitForSingleObject(event, 300), static_cast<DWORD>(WAIT_TIMEOUT));
    reg("", "Own");
    EXPECT_EQ(WaitForSingleObject(event, 10000), WAIT_OBJECT_0);

    // A handle tells once under Wine: the next wait is on a key opened anew.
    const KeyHandle deep = open(*store_, key(""));
    ASSERT_EQ(store_->notifyChange(deep, true, event_), regerr::Success);
    reg("Sub", "Deeper");
    EXPECT_EQ(WaitForSingleObject(event, 10000), WAIT_OBJECT_0);
    store_->closeKey(deep);
    store_->closeKey(handle);
    CloseHandle(event);
    EXPECT_EQ(store_->notifyChange(handle, true, event_), regerr::InvalidHandle);
}

}  // namespace paramcor::test
