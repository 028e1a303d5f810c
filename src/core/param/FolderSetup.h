// The creation's part of the installation file: what the reader found becomes the
// object's folder table and the process's registry root, and its fault a message.
#pragma once

#include "folders/InstallationFile.h"

#include <CVLParamcor/Export.h>

namespace paramcor {

class Folders;
class MainParametri;
class Parametri;

// The suite root is resolved, and its default stored on first use, between the
// reading of the lines and the expansion of the defaults that name it. False
// after the one message of the first fault.
bool setUpFolders(Folders& folders, MainParametri& selection, Installation installation);

// The same with the installation file beside the library.
bool setUpFolders(Folders& folders, MainParametri& selection);

// The folder table of an object, for the folder editor (privateapi::folderEditing).
Folders& foldersOf(Parametri& owner);

}  // namespace paramcor
