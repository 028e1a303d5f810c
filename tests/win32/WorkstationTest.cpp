// The workstation services' Windows calls, against the system itself (Windows, or Wine).
#include "Workstation.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace paramcor::win32 {
namespace {

namespace fs = std::filesystem;

// The size of a file, -1 when there is no such file, -2 for a folder.
long long fileSize(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error) ? -2 : static_cast<long long>(fs::file_size(path, error));
}

bool sameIgnoringCase(const std::string& a, const std::string& b) {
    return CompareStringA(LOCALE_INVARIANT, NORM_IGNORECASE, a.c_str(), -1, b.c_str(), -1) == CSTR_EQUAL;
}

std::string environment(const char* name) {
    char value[1024] = {};
    const DWORD length = GetEnvironmentVariableA(name, value, sizeof value);
    return length < sizeof value ? std::string(value, length) : std::string();
}

TEST(Workstation, TemporaryFolderAndFiles) {
    const std::string folder = temporaryFolder();
    ASSERT_FALSE(folder.empty());
    EXPECT_EQ(folder.back(), '\\') << folder;
    EXPECT_EQ(fileSize(folder), -2) << folder;

    // The folder comes from the TMP variable first, and the system adds the backslash,
    // however long the path is.
    const std::string base = folder + "cvlparamcor-win32-" + std::to_string(GetCurrentProcessId());
    const std::string deep = base + "\\" + std::string(200, 'd');
    ASSERT_TRUE(fs::create_directories(deep)) << deep;
    const std::string tmp = environment("TMP");
    for (const std::string& variable : {base + "\\", deep}) {
        SetEnvironmentVariableA("TMP", variable.c_str());
        EXPECT_TRUE(sameIgnoringCase(temporaryFolder(), variable.back() == '\\' ? variable : variable + "\\"))
            << temporaryFolder() << " for " << variable;
    }
    SetEnvironmentVariableA("TMP", tmp.empty() ? nullptr : tmp.c_str());

    // Names: the prefix's first three characters, a hexadecimal number, ".tmp"; the
    // file is made, empty, and no name is given twice.
    const struct {
        std::string folder;
        std::string prefix;
        std::string used;  // the start of the file's name
    } cases[] = {{base, "ABCDEF", "ABC"}, {base + "\\", "xy", "xy"}, {base, "", ""}, {base, "Tmp.Extra", "Tmp"}};
    std::set<std::string> names;
    for (const auto& c : cases) {
        for (int call = 0; call < 2; ++call) {
            const std::string name = temporaryFileName(c.folder, c.prefix);
            const std::string start = base + "\\" + c.used;
            ASSERT_GT(name.size(), start.size() + 4) << name;
            EXPECT_TRUE(sameIgnoringCase(name.substr(0, start.size()), start)) << name;
            const std::string number = name.substr(start.size(), name.size() - start.size() - 4);
            EXPECT_TRUE(number.size() - 1 < 4 && number.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos)
                << name;
            EXPECT_TRUE(sameIgnoringCase(name.substr(name.size() - 4), ".tmp")) << name;
            EXPECT_EQ(fileSize(name), 0) << name;
            EXPECT_TRUE(names.insert(name).second) << "given twice: " << name;
        }
    }
    // No such folder: no name, and no file.
    EXPECT_EQ(temporaryFileName(base + "\\missing", "ABC"), "");
    EXPECT_EQ(fileSize(base + "\\missing"), -1);
    std::error_code ignored;
    fs::remove_all(base, ignored);
}

TEST(Workstation, WindowsFolder) {
    const std::string folder = windowsFolder();
    ASSERT_FALSE(folder.empty());
    EXPECT_NE(folder.back(), '\\') << folder;
    EXPECT_TRUE(sameIgnoringCase(folder, environment("windir"))) << folder << " against " << environment("windir");
    EXPECT_GT(fileSize(folder + "\\system32\\kernel32.dll"), 0) << folder;
}

TEST(Workstation, SeparatorsFollowTheThreadsLocale) {
    const struct {
        LCID locale;
        const char* decimal;
        const char* thousands;
    } locales[] = {
        {MAKELCID(MAKELANGID(LANG_ITALIAN, SUBLANG_ITALIAN), SORT_DEFAULT), ",", "."},
        {MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT), ".", ","},
        {MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT), ",", "."},
    };
    // A thread starts in the user's locale, which the run pins (it_IT under Wine): that
    // one is read first, as it was found.
    const LCID before = GetThreadLocale();
    for (const auto& c : locales) {
        if (c.locale != before) {
            ASSERT_TRUE(SetThreadLocale(c.locale)) << std::hex << c.locale;
        }
        const Separators separators = localeSeparators();
        EXPECT_EQ(separators.decimal, c.decimal) << std::hex << c.locale;
        EXPECT_EQ(separators.thousands, c.thousands) << std::hex << c.locale;
        SetThreadLocale(before);
    }
}

}  // namespace
}  // namespace paramcor::win32
