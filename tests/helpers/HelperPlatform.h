// The platform of the suite's client programs that the tests start: a store in the
// given folder, the "." and "," separators, and the tests' recorded message boxes.
#pragma once

#include "support/RecordingMessageBoxes.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <cstdio>
#include <memory>

namespace paramcor::test {

inline std::shared_ptr<RecordingMessageBoxes> installHelperPlatform(const char* storeFolder,
                                                                    const char* libraryFolder) {
    auto messages = std::make_shared<RecordingMessageBoxes>();
    Platform platform;
    platform.registry = std::make_shared<SqliteRegistryStore>(storeFolder);
    platform.messages = messages;
    platform.libraryFolder = QString::fromLocal8Bit(libraryFolder);
    platform.separators = [] { return Separators{".", ","}; };
    installPlatform(platform);
    return messages;
}

// Prints every message shown, and tells how many there were, notices (such as
// waiting for another program's delivery) only when they count.
inline int messagesShown(const RecordingMessageBoxes& boxes, bool noticesCount) {
    int count = 0;
    for (const RecordedMessage& m : boxes.messages) {
        std::fprintf(stderr, "message: %s\n", qUtf8Printable(m.text));
        count += noticesCount || (m.flags & 0x70) != mb::Information;
    }
    return count;
}

}  // namespace paramcor::test
