// The windows a linked library registers (registerWindows), and the default
// pieces that use them while the program can show windows.
#pragma once

#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <memory>

namespace paramcor {

struct RegisteredWindows {
    std::shared_ptr<MessageBoxes> messages;
    std::shared_ptr<Dialogs> dialogs;
};

// What is registered now; empty pieces when windows cannot be shown from here
// (no QApplication, or another thread than its own).
RegisteredWindows usableWindows();

// The registered dialogs, whether or not they can be shown from here.
std::shared_ptr<Dialogs> registeredDialogs();

std::shared_ptr<MessageBoxes> followingMessageBoxes();

// Options of the workstation's store: a user who may not write the machine's
// settings is told so, once per process.
SqliteRegistryStore::Options machineStoreOptions();
std::shared_ptr<Dialogs> followingDialogs();

}  // namespace paramcor
