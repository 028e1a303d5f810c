#include <CVLParamcor/Platform.h>

#include <QFileInfo>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace paramcor {
namespace {

// The folder of the module that holds this function: the library itself, wherever
// the program loaded it from.
QString folderOfThisModule() {
#ifdef _WIN32
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&folderOfThisModule), &module))
        return {};
    wchar_t path[32768];
    const DWORD length = GetModuleFileNameW(module, path, 32768);
    return QFileInfo(QString::fromWCharArray(path, static_cast<int>(length))).absolutePath();
#else
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&folderOfThisModule), &info) == 0 || info.dli_fname == nullptr)
        return {};
    return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absolutePath();
#endif
}

}  // namespace

QString libraryFolder() {
    const QString& installed = platform().libraryFolder;
    if (!installed.isEmpty())
        return installed;
    static const QString loaded = folderOfThisModule();
    return loaded;
}

}  // namespace paramcor
