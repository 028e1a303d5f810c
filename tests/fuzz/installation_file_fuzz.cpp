// Any bytes as an installation file: the reader must end in success or in exactly
// one message of its own, never crash, hang or leak. (A root that the store cannot
// open, say a key name of 300 characters, is reported by the registry's messages
// when the suite root is resolved; those are not the reader's.)
#include "folders/InstallationFile.h"
#include "param/registry/MainParametri.h"

#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace {

class CountingMessageBoxes final : public paramcor::MessageBoxes {
public:
    int show(const QString&, int, const QString& title) override {
        if (title == QLatin1String("CVLParamCor - ParamCor.txt"))
            ++count;
        return paramcor::mb::Ok;
    }
    int count = 0;
};

struct Setup {
    Setup() {
        paramcor::Platform p;
        p.registry = std::make_shared<paramcor::SqliteRegistryStore>((dir.path() + "/registry").toStdString());
        p.messages = messages;
        p.libraryFolder = dir.path();
        paramcor::installPlatform(p);
    }
    QTemporaryDir dir;
    std::shared_ptr<CountingMessageBoxes> messages = std::make_shared<CountingMessageBoxes>();
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Setup setup;
    setup.messages->count = 0;
    paramcor::MainParametri::instance().setRegistryRoot(QString());
    paramcor::Folders folders;
    const bool ok = paramcor::InstallationFile(folders).read(
        QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    if (setup.messages->count != (ok ? 0 : 1)) {
        std::fprintf(stderr, "read() returned %d after %d messages\n", ok, setup.messages->count);
        std::abort();
    }
    if (ok && folders.NumeroPercorsi() < 9)
        std::abort();
    return 0;
}
