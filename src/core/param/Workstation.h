// Workstation chores of the parameter object: the temporary folder and files,
// document types, the suite's version records and the regional settings check.
#pragma once

#include <QString>

namespace paramcor {
class MainParametri;
}

namespace paramcor::workstation {

// The temporary folder ending in a separator; empty, after a message, when the
// system has none.
QString queryTempFolder();

// Creates a new empty file in `folder` named after the first three characters of
// `prefix`, a hexadecimal number and ".tmp", and returns its full name; the name is
// unique even among processes asking at the same moment. Empty when no file can be
// made there.
QString createTempFile(const QString& folder, const QString& prefix);

// Clears pending floating-point exception flags.
void clearPendingErrors();

// "SOFTWARE" followed by the registry root.
QString makerKey(const MainParametri& selection);

// The suite's version records: string values of the maker's key in the
// local-machine store.
enum class VersionRecord { Product, Upgrade, Marble, Glass, GlassCam };
QString readVersion(MainParametri& selection, VersionRecord record);
void writeVersion(MainParametri& selection, VersionRecord record, const QString& value);

// A string value under the maker's key of the machine store; "" when it is missing.
QString readMachineValue(MainParametri& selection, const QString& name);

// Registers a document type under the classes root. Leaves the no-maker-root flag
// set, as client programs of the suite expect.
void registerDocument(MainParametri& selection, const QString& extension, const QString& group, const QString& shell,
                      short iconIndex);

// The one-letter language file older programs of the suite read; written on
// Windows only, best effort.
void writeLegacyLanguageFile(short language);

// The suite's language the login names (LC_ALL, else LC_MESSAGES, else LANG, as
// POSIX orders them: "de_DE.UTF-8" is German); 0 when it names none of them.
short languageOfLogin();

// True while the user's hive is still to be made by this process: a store that
// keeps it in a file that is not there yet.
bool userHiveIsNew();

// Warns when the regional number settings would break numbers the suite writes.
void checkRegionalSettings();

}  // namespace paramcor::workstation
