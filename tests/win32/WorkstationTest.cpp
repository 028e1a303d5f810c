// The workstation services' Windows calls, against the system itself (Windows, or Wine).
#include "Workstation.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>
#include <vector>

namespace paramcor::win32 {
namespace {

bool isFolder(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The size of a file, or -1 when there is no such file.
long long fileSize(const std::string& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) ||
        (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return -1;
    return (static_cast<long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

bool sameIgnoringCase(const std::string& a, const std::string& b) {
    return CompareStringA(LOCALE_INVARIANT, NORM_IGNORECASE, a.c_str(), -1, b.c_str(), -1) == CSTR_EQUAL;
}

std::string environment(const char* name) {
    char value[1024] = {};
    const DWORD length = GetEnvironmentVariableA(name, value, sizeof value);
    return length < sizeof value ? std::string(value, length) : std::string();
}

// Sets an environment variable of this process for the lifetime of the object.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const std::string& value) : name_(name) {
        char old[1024] = {};
        const DWORD length = GetEnvironmentVariableA(name, old, sizeof old);
        had_ = length > 0 && length < sizeof old;
        old_.assign(old, had_ ? length : 0);
        SetEnvironmentVariableA(name, value.c_str());
    }
    ~ScopedVariable() { SetEnvironmentVariableA(name_, had_ ? old_.c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* name_;
    std::string old_;
    bool had_ = false;
};

// A new folder inside the temporary folder, removed with what it holds at the end.
class ScratchFolder {
public:
    ScratchFolder() {
        const std::string temp = temporaryFolder();
        for (unsigned n = GetCurrentProcessId(); path_.empty(); ++n) {
            const std::string candidate = temp + "cvlparamcor-win32-" + std::to_string(n);
            if (CreateDirectoryA(candidate.c_str(), nullptr))
                path_ = candidate;
            else if (GetLastError() != ERROR_ALREADY_EXISTS)
                break;
        }
    }
    ~ScratchFolder() {
        WIN32_FIND_DATAA entry{};
        const HANDLE find = FindFirstFileA((path_ + "\\*").c_str(), &entry);
        if (find != INVALID_HANDLE_VALUE) {
            do
                DeleteFileA((path_ + "\\" + entry.cFileName).c_str());
            while (FindNextFileA(find, &entry));
            FindClose(find);
        }
        RemoveDirectoryA(path_.c_str());
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

TEST(Workstation, TemporaryFolder) {
    const std::string folder = temporaryFolder();
    ASSERT_FALSE(folder.empty());
    EXPECT_EQ(folder.back(), '\\') << folder;
    EXPECT_TRUE(isFolder(folder)) << folder;

    // The folder comes from the TMP variable first, and the system adds the backslash,
    // however long the path is.
    ScratchFolder scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string deep = scratch.path() + "\\" + std::string(200, 'd');
    ASSERT_TRUE(CreateDirectoryA(deep.c_str(), nullptr)) << deep;
    for (const std::string& tmp : {scratch.path(), scratch.path() + "\\", deep}) {
        ScopedVariable variable("TMP", tmp);
        const std::string expected = tmp.back() == '\\' ? tmp : tmp + "\\";
        EXPECT_TRUE(sameIgnoringCase(temporaryFolder(), expected)) << temporaryFolder() << " for " << tmp;
    }
    RemoveDirectoryA(deep.c_str());
}

TEST(Workstation, TemporaryFileNames) {
    ScratchFolder scratch;
    ASSERT_FALSE(scratch.path().empty());
    const struct {
        std::string folder;
        std::string prefix;
        std::string used;  // the start of the file's name
    } cases[] = {
        {scratch.path(), "ABCDEF", "ABC"}, {scratch.path() + "\\", "ABCDEF", "ABC"}, {scratch.path(), "xy", "xy"},
        {scratch.path(), "", ""},          {scratch.path(), "Tmp.Extra", "Tmp"},
    };
    std::set<std::string> names;
    for (const auto& c : cases) {
        for (int call = 0; call < 2; ++call) {
            const std::string name = temporaryFileName(c.folder, c.prefix);
            const std::string start = scratch.path() + "\\" + c.used;
            ASSERT_GT(name.size(), start.size() + 4) << name;
            EXPECT_TRUE(sameIgnoringCase(name.substr(0, start.size()), start)) << name;
            const std::string number = name.substr(start.size(), name.size() - start.size() - 4);
            EXPECT_TRUE(!number.empty() && number.size() <= 4 &&
                        number.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos)
                << name;
            EXPECT_TRUE(sameIgnoringCase(name.substr(name.size() - 4), ".tmp")) << name;
            EXPECT_EQ(fileSize(name), 0) << name;
            EXPECT_TRUE(names.insert(name).second) << "given twice: " << name;
        }
    }

    // No such folder: no name, and no file.
    const std::string missing = scratch.path() + "\\missing";
    EXPECT_EQ(temporaryFileName(missing, "ABC"), "");
    EXPECT_FALSE(isFolder(missing));
}

TEST(Workstation, WindowsFolder) {
    const std::string folder = windowsFolder();
    ASSERT_FALSE(folder.empty());
    EXPECT_TRUE(isFolder(folder)) << folder;
    EXPECT_NE(folder.back(), '\\') << folder;
    EXPECT_TRUE(sameIgnoringCase(folder, environment("windir"))) << folder << " against " << environment("windir");
    EXPECT_GT(fileSize(folder + "\\system32\\kernel32.dll"), 0) << folder;
}

struct LocaleSeparators {
    LCID locale;
    const char* decimal;
    const char* thousands;
};

constexpr LocaleSeparators kLocales[] = {
    {MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT), ".", ","},
    {MAKELCID(MAKELANGID(LANG_ITALIAN, SUBLANG_ITALIAN), SORT_DEFAULT), ",", "."},
    {MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT), ",", "."},
    {MAKELCID(MAKELANGID(LANG_SPANISH, SUBLANG_SPANISH_MODERN), SORT_DEFAULT), ",", "."},
    {MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_UK), SORT_DEFAULT), ".", ","},
};

TEST(Workstation, SeparatorsFollowTheThreadsLocale) {
    const LCID before = GetThreadLocale();
    for (const auto& c : kLocales) {
        ASSERT_TRUE(SetThreadLocale(c.locale)) << std::hex << c.locale;
        const Separators separators = localeSeparators();
        EXPECT_EQ(separators.decimal, c.decimal) << std::hex << c.locale;
        EXPECT_EQ(separators.thousands, c.thousands) << std::hex << c.locale;
    }
    SetThreadLocale(before);
}

TEST(Workstation, SeparatorsOfTheUsersLocale) {
    // A thread starts in the user's locale, which the run pins (LC_ALL under Wine).
    const LCID locale = GetThreadLocale();
    const LocaleSeparators* known = nullptr;
    for (const auto& c : kLocales)
        if (c.locale == locale)
            known = &c;
    if (!known)
        GTEST_SKIP() << "a locale this test does not know: " << std::hex << locale;
    const Separators separators = localeSeparators();
    EXPECT_EQ(separators.decimal, known->decimal);
    EXPECT_EQ(separators.thousands, known->thousands);
}

}  // namespace
}  // namespace paramcor::win32
