// The platform of the suite's client programs that the tests start: a store in the
// given folder, the "." and "," separators, and message boxes that print every
// message and count those that are not a notice.
#pragma once

#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <cstdio>
#include <memory>

namespace paramcor::test {

class CountingMessageBoxes final : public MessageBoxes {
public:
    int show(const QString& text, int flags, const QString&) override {
        std::fprintf(stderr, "message: %s\n", qUtf8Printable(text));
        ++((flags & 0x70) == mb::Information ? notices : faults);
        return mb::Ok;
    }
    int faults = 0;
    int notices = 0;
};

inline std::shared_ptr<CountingMessageBoxes> installHelperPlatform(const char* storeFolder, const char* libraryFolder) {
    auto messages = std::make_shared<CountingMessageBoxes>();
    Platform platform;
    platform.registry = std::make_shared<SqliteRegistryStore>(storeFolder);
    platform.messages = messages;
    platform.libraryFolder = QString::fromLocal8Bit(libraryFolder);
    platform.separators = [] { return Separators{".", ","}; };
    installPlatform(platform);
    return messages;
}

}  // namespace paramcor::test
