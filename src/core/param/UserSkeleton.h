// A new user's settings start from the shop's: the registry file "utente.reg" beside
// the installation file, which the administrator writes or exports from a prepared
// user. It is imported when the user's hive is made, never later, so that nothing
// a user has set is ever overwritten by it.
#pragma once

#include <QString>

namespace paramcor {
class RegistryStore;
}

namespace paramcor::workstation {

inline const QString kUserSkeletonName = QStringLiteral("utente.reg");

// Imports the keys of `file` into the store's current-user hive, all or nothing.
// Nothing to do when there is no such file. Returns why nothing was imported, empty
// when the skeleton was imported or there is none. A skeleton that writes outside
// HKEY_CURRENT_USER is refused: the machine's settings are made by the administrator.
QString importUserSkeleton(RegistryStore& store, const QString& file);

}  // namespace paramcor::workstation
