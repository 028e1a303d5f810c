// Where the library finds its installation by itself, whatever a platform installed
// later says: what the default platform is made from.
#pragma once

#include <QString>

namespace paramcor {

QString ownInstallationFolder();

}  // namespace paramcor
