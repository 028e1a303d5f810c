// A program of the suite starting up: texts_opener INSTALLATION_FOLDER STORE_FOLDER.
// Creates a Parametri object, which consumes a delivered text database, and exits 0
// when no message was shown.
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <cstdio>

namespace {

class CountingMessageBoxes final : public paramcor::MessageBoxes {
public:
    int show(const QString& text, int, const QString&) override {
        std::fprintf(stderr, "texts_opener: %s\n", qUtf8Printable(text));
        ++count;
        return paramcor::mb::Ok;
    }
    int count = 0;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: texts_opener INSTALLATION_FOLDER STORE_FOLDER\n");
        return 2;
    }
    auto messages = std::make_shared<CountingMessageBoxes>();
    paramcor::Platform platform;
    platform.libraryFolder = QString::fromLocal8Bit(argv[1]);
    platform.registry = std::make_shared<paramcor::SqliteRegistryStore>(argv[2]);
    platform.messages = messages;
    platform.separators = [] { return paramcor::Separators{".", ","}; };
    paramcor::installPlatform(platform);
    paramcor::Parametri par;
    return messages->count == 0 ? 0 : 1;
}
