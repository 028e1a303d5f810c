// Any bytes as an installation file: the reader must end in a complete table or in
// one fault with a text, never crash, hang or leak. It needs no store.
#include "folders/InstallationFile.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    paramcor::Installation installation =
        paramcor::readInstallation(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    if (!installation.fault)
        paramcor::resolveFolders(installation, QStringLiteral("/suite/Wincor/"));
    if (installation.fault ? installation.fault->text.isEmpty() || installation.folderCount != 0
                           : installation.folderCount < 9 ||
                                 installation.rows.size() <= static_cast<std::size_t>(installation.folderCount)) {
        std::fprintf(stderr, "a reading ended with neither a table nor a fault\n");
        std::abort();
    }
    return 0;
}
