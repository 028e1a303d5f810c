#include "param/PrivateApi.h"

#include "param/FolderSetup.h"
#include "param/SystemReport.h"
#include "store/PostgresRegistryStore.h"
#include "store/StationRegistryStore.h"

namespace paramcor::privateapi {

std::unique_ptr<FolderEditing> folderEditing(Parametri& owner) {
    return std::make_unique<FolderEditing>(foldersOf(owner));
}

info::BuildInfo buildInfo() {
    return info::buildInfo();
}

info::TextDatabaseFacts textDatabaseFacts(const QString& path) {
    return info::textDatabaseFacts(path);
}

info::SystemInformation systemInformation(Parametri& owner, const QString& program, const QString& version,
                                          QString* text) {
    info::SystemInformation report = paramcor::systemInformation(owner, program, version);
    if (text)
        *text = report.text();
    return report;
}

std::string prepareShop(const std::string& conninfo) {
    return PostgresRegistryStore::prepareDatabase(conninfo);
}

std::unique_ptr<RegistryStore> shopServer(const std::string& conninfo) {
    return std::make_unique<PostgresRegistryStore>(conninfo);
}

std::string shopConnection(const std::string& file) {
    return paramcor::shopConnection(file);
}

}  // namespace paramcor::privateapi
