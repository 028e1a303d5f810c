#include "Workstation.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace paramcor::win32 {

namespace {

// Calls `fill(buffer, size)`, which returns the length written without the
// terminating zero, or the size needed (with it) when the buffer is too small, or 0
// on failure. The text may grow between two calls, hence the loop.
template <class Fill>
std::string sizedText(Fill fill) {
    std::string text;
    DWORD size = fill(nullptr, 0);
    for (int attempt = 0; attempt < 4 && size > 0; ++attempt) {
        text.assign(size, '\0');
        const DWORD length = fill(text.data(), size);
        if (length == 0)
            break;
        if (length < size) {
            text.resize(length);
            return text;
        }
        size = length;
    }
    return {};
}

std::string trimBlanks(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Asks for the size first, then reads into a buffer of that size and keeps all of it
// but the terminating zero.
std::string localeText(LCID locale, LCTYPE type) {
    const int size = GetLocaleInfoA(locale, type, nullptr, 0);
    if (size <= 0)
        return {};
    std::string text(static_cast<std::size_t>(size), '\0');
    if (GetLocaleInfoA(locale, type, text.data(), size) == 0)
        return {};
    text.resize(static_cast<std::size_t>(size) - 1);
    return trimBlanks(text);
}

}  // namespace

std::string temporaryFolder() {
    return sizedText([](char* buffer, DWORD size) { return GetTempPathA(size, buffer); });
}

std::string temporaryFileName(const std::string& folder, const std::string& prefix) {
    char name[MAX_PATH + 1] = {};
    if (GetTempFileNameA(folder.c_str(), prefix.substr(0, 3).c_str(), 0, name) == 0)
        return {};
    return name;
}

std::string windowsFolder() {
    return sizedText([](char* buffer, DWORD size) { return static_cast<DWORD>(GetWindowsDirectoryA(buffer, size)); });
}

Separators localeSeparators() {
    const LCID locale = GetThreadLocale();
    return {localeText(locale, LOCALE_SDECIMAL), localeText(locale, LOCALE_STHOUSAND)};
}

}  // namespace paramcor::win32
