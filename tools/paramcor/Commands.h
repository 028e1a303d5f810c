// The subcommands of paramcor, each in the file of its subject.
#pragma once

#include "Arguments.h"
#include "Output.h"

#include "regfile/RegFile.h"

namespace paramcor::tool {
class Session;
}

namespace paramcor::tool {

// ValueCommands.cpp
int readValue(Session& session, const Arguments& arguments, const QStringList& operands);
int writeValue(Session& session, const Arguments& arguments, const QStringList& operands);

// FolderCommands.cpp
int showFolder(Session& session, const Arguments& arguments, const QStringList& operands);
int listFolders(Session& session, const Arguments& arguments, const QStringList& operands);
int writeFolder(Session& session, const Arguments& arguments, const QStringList& operands);

// LanguageCommands.cpp
int translate(Session& session, const Arguments& arguments, const QStringList& operands);
int translateKey(Session& session, const Arguments& arguments, const QStringList& operands);
int language(Session& session, const Arguments& arguments, const QStringList& operands);
int units(Session& session, const Arguments& arguments, const QStringList& operands);

// InfoCommands.cpp
int systemInformation(Session& session, const Arguments& arguments, const QStringList& operands);

// RegistryCommands.cpp
int listKey(Session& session, const Arguments& arguments, const QStringList& operands);
int deleteFromRegistry(Session& session, const Arguments& arguments, const QStringList& operands);
int watchRegistry(Session& session, const Arguments& arguments, const QStringList& operands);
int exportRegistry(Session& session, const Arguments& arguments, const QStringList& operands);
int importRegistry(Session& session, const Arguments& arguments, const QStringList& operands);
// A key with all below it, as a registry file holds it; a Failure names what could
// not be read.
regfile::Document readKeyTree(RegistryStore& store, Hive hive, const std::string& path);

// ShopCommands.cpp
int createShop(Session& session, const Arguments& arguments, const QStringList& operands);
int joinShop(Session& session, const Arguments& arguments, const QStringList& operands);
int shopStatus(Session& session, const Arguments& arguments, const QStringList& operands);

// TextCommands.cpp
int exportTexts(Session& session, const Arguments& arguments, const QStringList& operands);
int importTexts(Session& session, const Arguments& arguments, const QStringList& operands);
int createTexts(Session& session, const Arguments& arguments, const QStringList& operands);

}  // namespace paramcor::tool
