// The installation file "ParamCor.txt" beside the library: the registry root of
// the suite and the declarations of its named folders. Reading it touches neither
// the store nor the screen: the caller shows the fault and keeps what was read.
#pragma once

#include "folders/FolderTable.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace paramcor {

// The supplier's contacts an installation may give, as "Name = value" lines: the
// defaults of the values of the same names under the maker's key of the machine
// hive. Name, telephone, postal address, web site.
inline const QStringList kSupplierKeys{QStringLiteral("Fornitore"), QStringLiteral("TelefonoFornitore"),
                                       QStringLiteral("IndirizzoFornitore"), QStringLiteral("SitoFornitore")};

// The title of every message about the installation file.
inline const QString kInstallationTitle = QStringLiteral("CVLParamCor - ParamCor.txt");

struct InstallationFault {
    QString text;
    int icon = 16;  // critical
};

// What a reading found, up to its first fault. Strict: reading stops there, and
// the registry root and rows read before it are kept, as the suite always had them.
struct Installation {
    QString registryRoot;
    std::vector<RecordPercorso> rows;
    short declared = 0;     // the n of "FOLDERS=n"
    short folderCount = 0;  // the last row's index once resolved; 0 until then
    QMap<QString, QString> supplier;  // by upper-cased name
    std::optional<InstallationFault> fault;
};

// Reads the lines of PercorsoPrincipale + "ParamCor.txt" (the name in any case).
Installation readInstallationFile();

// Reads the lines of a file's content.
Installation readInstallation(const QByteArray& content);

// Completes a reading whose lines are sound: the suite root's row takes
// `suiteRoot`, its current location, the defaults' macros are bound and expanded
// and the nine custom slots added. A fault of the declarations stops it.
void resolveFolders(Installation& installation, const QString& suiteRoot);

// True when an ordinary file is at the path and may be written; otherwise shows
// why (a missing file only when asked to) and returns false.
bool checkFilePresent(const QString& Percorso, bool AvvisaSeManca);

}  // namespace paramcor
