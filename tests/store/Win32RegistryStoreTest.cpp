// The conformance suite against the real registry (Windows, or Wine), and what only
// the Windows store does: text as the older programs of the suite read and write it.
#include "RegistryStoreConformance.h"

#include "NameFolding.h"
#include "Win32RegistryStore.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace paramcor::test {

namespace {

const HKEY kRoots[] = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT};
constexpr std::size_t kRootCount = std::size(kRoots);

// The suite's key paths are ASCII.
std::wstring wide(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('\\');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool exists(HKEY root, const std::string& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, wide(path).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

bool isEmpty(HKEY root, const std::string& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, wide(path).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    DWORD subkeys = 1;
    DWORD values = 1;
    const LONG rc = RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr,
                                     nullptr, nullptr, nullptr);
    RegCloseKey(key);
    return rc == ERROR_SUCCESS && subkeys == 0 && values == 0;
}

// The keys above the suite's own that were there before this process wrote anything:
// those stay, even when the suite leaves them empty. Called before the first write.
const std::vector<std::string>& keptAncestors(std::size_t root) {
    static const auto kept = [] {
        std::array<std::vector<std::string>, kRootCount> found;
        for (std::size_t r = 0; r < kRootCount; ++r)
            for (std::string path = parentOf(kSuiteKey); !path.empty(); path = parentOf(path))
                if (exists(kRoots[r], path))
                    found[r].push_back(path);
        return found;
    }();
    return kept[root];
}

// Removes a key of the suite's from every hive, then the keys above it that are left
// empty, up to the suite's own key, and beyond only those this process created.
void removeSuiteKey(const std::string& path) {
    for (std::size_t r = 0; r < kRootCount; ++r) {
        RegDeleteTreeW(kRoots[r], wide(path).c_str());
        for (std::string up = parentOf(path); !up.empty(); up = parentOf(up)) {
            const auto& kept = keptAncestors(r);
            if (std::find(kept.begin(), kept.end(), up) != kept.end() || !isEmpty(kRoots[r], up) ||
                RegDeleteKeyW(kRoots[r], wide(up).c_str()) != ERROR_SUCCESS)
                break;
        }
    }
}

StoreUnderTest registryStore() {
    return {"Registry",
            [] {
                keptAncestors(0);
                return std::unique_ptr<RegistryStore>(new Win32RegistryStore());
            },
            removeSuiteKey};
}

INSTANTIATE_TEST_SUITE_P(Win32, RegistryStoreConformance, ::testing::Values(registryStore()), StoreName());

// A key of the test's own below the suite's key, removed at the end.
class ScratchKey {
public:
    ScratchKey() {
        keptAncestors(0);
        std::random_device random;
        path_ = std::string(kSuiteKey) + "\\" +
                std::to_string(std::chrono::system_clock::now().time_since_epoch().count()) + "-" +
                std::to_string(random()) + "-" + std::to_string(counter_++);
    }
    ~ScratchKey() { removeSuiteKey(path_); }
    ScratchKey(const ScratchKey&) = delete;
    ScratchKey& operator=(const ScratchKey&) = delete;

    const std::string& path() const { return path_; }

private:
    static inline std::atomic<int> counter_{0};
    std::string path_;
};

// What an older program of the suite reads with the "A" functions: the value's bytes
// in the process's ANSI code page, and its size.
std::string readAnsi(HKEY key, const char* name) {
    char buffer[256] = {};
    DWORD size = sizeof buffer;
    DWORD type = 0;
    if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS)
        return "<failed>";
    return std::string(buffer, size);
}

// "x" and the character, in UTF-8 (below U+0800 here).
std::string valueName(char32_t c) {
    std::string name = "x";
    if (c < 0x80) {
        name += static_cast<char>(c);
    } else {
        name += static_cast<char>(0xC0 | (c >> 6));
        name += static_cast<char>(0x80 | (c & 0x3F));
    }
    return name;
}

std::string inAnsiCodePage(const std::wstring& text) {
    const int bytes = WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(bytes), '\0');  // with the terminating zero
    WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, out.data(), bytes, nullptr, nullptr);
    return out;
}

}  // namespace

TEST(Win32RegistryStore, OlderProgramsReadEveryCharacterOfOurStrings) {
    // They read a string as its size less one character: the terminating zero must be
    // counted, or they would lose the last character.
    ScratchKey scratch;
    Win32RegistryStore store;
    KeyHandle handle = 0;
    ASSERT_EQ(store.createKey(Hive::CurrentUser, scratch.path(), &handle), regerr::Success);
    const struct {
        const char* name;
        std::vector<std::uint8_t> written;
        std::wstring text;
    } cases[] = {
        {"plain", bytes("abc"), L"abc"},
        {"terminated", bytes(std::string("abc\0", 4)), L"abc"},
        {"accented", bytes("Perché"), L"Perch\u00e9"},
        {"one", bytes("x"), L"x"},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(store.setValue(handle, c.name, regtype::String, c.written), regerr::Success) << c.name;
        EXPECT_EQ(readAnsi(reinterpret_cast<HKEY>(handle), c.name), inAnsiCodePage(c.text)) << c.name;
    }
    EXPECT_EQ(store.closeKey(handle), regerr::Success);
}

TEST(Win32RegistryStore, ReadsWhatOlderProgramsWrote) {
    // They wrote strings in the ANSI code page with the "A" functions, counting no
    // terminating zero; the registry keeps them as UTF-16.
    ScratchKey scratch;
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, scratch.path().c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                              nullptr),
              ERROR_SUCCESS);
    const std::string accented = inAnsiCodePage(L"Perch\u00e9");
    const struct {
        const char* name;
        std::string ansi;  // as written
        std::string utf8;  // as read through the store
    } cases[] = {
        {"plain", "abc", "abc"},
        {"accented", accented.substr(0, accented.size() - 1), "Perché"},
        {"empty", "", ""},
    };
    for (const auto& c : cases)
        ASSERT_EQ(RegSetValueExA(key, c.name, 0, REG_SZ, reinterpret_cast<const BYTE*>(c.ansi.data()),
                                 static_cast<DWORD>(c.ansi.size())),
                  ERROR_SUCCESS)
            << c.name;
    RegCloseKey(key);

    Win32RegistryStore store;
    KeyHandle handle = 0;
    ASSERT_EQ(store.openKey(Hive::CurrentUser, scratch.path(), &handle), regerr::Success);
    for (const auto& c : cases) {
        std::uint32_t type = 0;
        std::vector<std::uint8_t> data;
        std::uint32_t size = 0;
        EXPECT_EQ(store.queryValue(handle, c.name, &type, &data, 1024, &size), regerr::Success) << c.name;
        EXPECT_EQ(type, regtype::String) << c.name;
        EXPECT_TRUE(readsBackAs(data, regtype::String, bytes(c.utf8))) << c.name;
    }
}

TEST(Win32RegistryStore, PosixNameFoldingJoinsTheNamesTheRegistryJoins) {
    // Every character below U+0800 names a value, in ascending order, holding its own
    // code: names the registry takes for one keep the last code written. The POSIX
    // store's folding must join exactly the same characters.
    constexpr char32_t kEnd = 0x800;
    ScratchKey scratch;
    Win32RegistryStore store;
    KeyHandle handle = 0;
    ASSERT_EQ(store.createKey(Hive::CurrentUser, scratch.path(), &handle), regerr::Success);
    std::vector<char32_t> lastOfFolded(kEnd, 0);
    for (char32_t c = 1; c < kEnd; ++c) {
        ASSERT_EQ(store.setValue(handle, valueName(c), regtype::Dword, dword(c)), regerr::Success)
            << std::hex << static_cast<std::uint32_t>(c);
        lastOfFolded.at(store::foldCodePoint(c)) = c;
    }
    int differences = 0;
    for (char32_t c = 1; c < kEnd; ++c) {
        std::vector<std::uint8_t> data;
        ASSERT_EQ(store.queryValue(handle, valueName(c), nullptr, &data, 4, nullptr), regerr::Success);
        const std::vector<std::uint8_t> expected = dword(lastOfFolded[store::foldCodePoint(c)]);
        if (data != expected && ++differences <= 20)
            ADD_FAILURE() << "U+" << std::hex << static_cast<std::uint32_t>(c) << " is one name with U+"
                          << (data[0] | data[1] << 8) << " in the registry";
    }
    EXPECT_EQ(differences, 0);
}

namespace {

// Runs reg.exe, another process, and waits for it.
void regInAnotherProcess(const std::string& arguments) {
    std::wstring line = L"reg.exe " + wide(arguments);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 60000), WAIT_OBJECT_0);
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    EXPECT_EQ(code, 0u) << arguments;
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

}  // namespace

TEST(Win32RegistryStore, TellsOfChangesOtherProcessesMake) {
    const StoreUnderTest registry = registryStore();
    auto store = registry.make();
    const std::string base = std::string(kSuiteKey) + "\\Notify" + std::to_string(GetCurrentProcessId());
    KeyHandle made = 0;
    ASSERT_EQ(store->createKey(Hive::CurrentUser, base + "\\Sub", &made), regerr::Success);
    store->closeKey(made);
    KeyHandle key = 0;
    ASSERT_EQ(store->openKey(Hive::CurrentUser, base, &key), regerr::Success);
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const auto event_ = reinterpret_cast<std::uintptr_t>(event);
    const std::string hkcu = "HKCU\\" + base;

    // Without the subtree a change below is not heard, one of the key's own values is.
    ASSERT_EQ(store->notifyChange(key, false, event_), regerr::Success);
    regInAnotherProcess("add " + hkcu + "\\Sub /v Below /t REG_DWORD /d 1 /f");
    EXPECT_EQ(WaitForSingleObject(event, 300), static_cast<DWORD>(WAIT_TIMEOUT));
    regInAnotherProcess("add " + hkcu + " /v Own /t REG_DWORD /d 1 /f");
    EXPECT_EQ(WaitForSingleObject(event, 10000), WAIT_OBJECT_0);

    // A handle tells once under Wine: the next wait is on a key opened anew.
    KeyHandle deep = 0;
    ASSERT_EQ(store->openKey(Hive::CurrentUser, base, &deep), regerr::Success);
    ASSERT_EQ(store->notifyChange(deep, true, event_), regerr::Success);
    regInAnotherProcess("add " + hkcu + "\\Sub /v Deeper /t REG_DWORD /d 2 /f");
    EXPECT_EQ(WaitForSingleObject(event, 10000), WAIT_OBJECT_0);
    store->closeKey(deep);

    CloseHandle(event);
    store->closeKey(key);
    EXPECT_EQ(store->notifyChange(key, true, event_), regerr::InvalidHandle);
    store.reset();
    removeSuiteKey(base);
}

}  // namespace paramcor::test
