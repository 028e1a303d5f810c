#include "param/FolderSetup.h"

#include "selection/MainParametri.h"

#include <CVLParamcor/Platform.h>

namespace paramcor {

bool setUpFolders(Folders& folders, MainParametri& selection, Installation installation) {
    // Set even when a later line is at fault, as the suite always had it.
    selection.setRegistryRoot(installation.registryRoot);
    // The root's default as a "FOLDER0" line gives it, before the stored root replaces it.
    const QString declaredRoot = installation.rows.empty() ? QString() : installation.rows[0].DefaultEspanso;
    if (!installation.fault) {
        // While the table is being built only the root's row resolves.
        folders.assign(installation.rows, 0, {});
        folders.setDeclaredRoot(declaredRoot);
        resolveFolders(installation, folders.Percorso(QStringLiteral("Wincor")));
    }
    folders.assign(std::move(installation.rows), installation.folderCount, std::move(installation.supplier));
    if (!installation.fault)
        return true;
    platform().messages->show(installation.fault->text, installation.fault->icon, kInstallationTitle);
    return false;
}

bool setUpFolders(Folders& folders, MainParametri& selection) {
    return setUpFolders(folders, selection, readInstallationFile());
}

}  // namespace paramcor
