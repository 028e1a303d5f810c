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
    EXPECT_TRUE(folder.back() == '\\' && fs::is_directory(folder)) << folder;

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
            const std::string number = name.substr(start.size(), name.size() - start.size() - 4);
            EXPECT_TRUE(sameIgnoringCase(name.substr(0, start.size()), start) &&
                        sameIgnoringCase(name.substr(name.size() - 4), ".tmp"))
                << name;
            EXPECT_TRUE(number.size() - 1 < 4 && number.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos)
                << name;
            EXPECT_TRUE(fs::is_regular_file(name) && fs::file_size(name) == 0 && names.insert(name).second) << name;
        }
    }
    // No such folder: no name, and no file.
    EXPECT_EQ(temporaryFileName(base + "\\missing", "ABC"), "");
    EXPECT_FALSE(fs::exists(base + "\\missing"));
    std::error_code ignored;
    fs::remove_all(base, ignored);
}

TEST(Workstation, WindowsFolder) {
    const std::string folder = windowsFolder();
    ASSERT_FALSE(folder.empty());
    EXPECT_NE(folder.back(), '\\') << folder;
    EXPECT_TRUE(sameIgnoringCase(folder, environment("windir"))) << folder << " against " << environment("windir");
    EXPECT_TRUE(fs::is_regular_file(folder + "\\system32\\kernel32.dll")) << folder;
}

TEST(Workstation, SeparatorsFollowTheThreadsLocale) {
    const std::pair<LCID, std::string> locales[] = {
        {MAKELCID(MAKELANGID(LANG_ITALIAN, SUBLANG_ITALIAN), SORT_DEFAULT), ", ."},
        {MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT), ". ,"},
    };
    // A thread starts in the user's locale, which the run pins (it_IT under Wine): that
    // one is read first, as it was found.
    const LCID before = GetThreadLocale();
    for (const auto& [locale, expected] : locales) {
        if (locale != before) {
            ASSERT_TRUE(SetThreadLocale(locale)) << std::hex << locale;
        }
        const Separators separators = localeSeparators();
        EXPECT_EQ(separators.decimal + ' ' + separators.thousands, expected) << std::hex << locale;
        SetThreadLocale(before);
    }
}

}  // namespace
}  // namespace paramcor::win32
