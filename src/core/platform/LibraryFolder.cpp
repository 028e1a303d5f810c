#include <CVLParamcor/Platform.h>

#include "platform/LibraryFolder.h"

#include <QDir>
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

// The installation file lies beside the library in a build tree and on Windows. An
// installed library lives in a library folder of its own, and its installation is
// in the configuration folder of the same prefix (/etc/CVLParamcor for /usr), where
// the administrator edits it. Once that folder exists it is the installation, so a
// removed file is reported where the administrator looks for it.
QString installationFolder(const QString& moduleFolder) {
    if (moduleFolder.isEmpty() || QFileInfo::exists(moduleFolder + QStringLiteral("/ParamCor.txt")))
        return moduleFolder;
    // Through the real folder: the loader may have found it by a link (/lib to /usr/lib).
    const QString installed = QDir::cleanPath(QFileInfo(moduleFolder).canonicalFilePath() +
                                              QStringLiteral("/" CVLPARAMCOR_INSTALLATION_FROM_LIBRARY));
    return QFileInfo(installed).isDir() ? installed : moduleFolder;
}

}  // namespace

QString ownInstallationFolder() {
    static const QString loaded = installationFolder(folderOfThisModule());
    return loaded;
}

QString libraryFolder() {
    const QString& installed = platform().libraryFolder;
    return installed.isEmpty() ? ownInstallationFolder() : installed;
}

}  // namespace paramcor
