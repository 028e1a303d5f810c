// What the windows' library and paramcor need of the core beyond the public headers,
// and nothing more. Exported for them alone, under its own macro: no client includes it
// (it is not installed), and it changes with any release, since both libraries
// ship together. The symbols are in paramcor::privateapi; the types it hands out
// are reached inline or through virtual calls, so none of theirs is exported.
#pragma once

#include "folders/FolderEditing.h"
#include "info/SystemInformation.h"

#include <memory>
#include <string>

#if defined(_WIN32)
#define CVLPARAMCOR_PRIVATE_EXPORT
#else
#define CVLPARAMCOR_PRIVATE_EXPORT __attribute__((visibility("default")))
#endif

namespace paramcor {

class Parametri;
class RegistryStore;

namespace privateapi {

// The folder editor's working copy of the folder table of `owner`.
CVLPARAMCOR_PRIVATE_EXPORT std::unique_ptr<FolderEditing> folderEditing(Parametri& owner);

// How the library was built, for the versions and about windows.
CVLPARAMCOR_PRIVATE_EXPORT info::BuildInfo buildInfo();

// The format version and row count of the text database at `path`.
CVLPARAMCOR_PRIVATE_EXPORT info::TextDatabaseFacts textDatabaseFacts(const QString& path);

// The report of the about window, with what `owner` knows, and its plain text.
CVLPARAMCOR_PRIVATE_EXPORT info::SystemInformation systemInformation(Parametri& owner, const QString& program,
                                                                     const QString& version, QString* text = nullptr);

// The shop's server: makes the tables and the roles paramcor_operators (who may
// write) and paramcor_readers in its database; an empty string, or why not.
CVLPARAMCOR_PRIVATE_EXPORT std::string prepareShop(const std::string& conninfo);

// The machine hive on the shop's server itself, not through a station's copy.
CVLPARAMCOR_PRIVATE_EXPORT std::unique_ptr<RegistryStore> shopServer(const std::string& conninfo);

// The connection the shop file `file` names; empty when the station belongs to no shop.
CVLPARAMCOR_PRIVATE_EXPORT std::string shopConnection(const std::string& file);

}  // namespace privateapi
}  // namespace paramcor
