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

// The store of the workstation, telling a user once that the machine's settings
// are read-only for them.
std::shared_ptr<RegistryStore> noticingMachineStore(std::shared_ptr<SqliteRegistryStore> store);
std::shared_ptr<Dialogs> followingDialogs();

}  // namespace paramcor
