// The installation file "ParamCor.txt" beside the library: the registry root of
// the suite and the declarations of its named folders.
#pragma once

#include "folders/FolderTable.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace paramcor {

// The supplier's contacts an installation may give, as "Name = value" lines: the
// defaults of the values of the same names under the maker's key of the machine
// hive. Name, telephone, postal address, web site.
inline const QStringList kSupplierKeys{QStringLiteral("Fornitore"), QStringLiteral("TelefonoFornitore"),
                                       QStringLiteral("IndirizzoFornitore"), QStringLiteral("SitoFornitore")};

// Reads the file into a folder table and the process-wide registry root. Strict:
// the first fault is shown in one message and reading stops there.
class InstallationFile {
public:
    explicit InstallationFile(Folders& folders) : folders_(folders) {}

    // Reads PercorsoPrincipale + "ParamCor.txt". False after a message.
    bool LeggiFileInstallazione();

    // Reads the file's content, as LeggiFileInstallazione does once it has it.
    bool read(const QByteArray& content);

private:
    bool AnalizzaRiga(const QString& Riga, int NumeroRiga);
    bool registryRootLine(const QString& value, int NumeroRiga);
    bool foldersLine(const QString& value, const QString& line, int NumeroRiga);
    bool folderLine(const QString& name, const QString& value, const QString& line, int NumeroRiga);
    bool supplierLine(const QString& name, const QString& value, const QString& line, int NumeroRiga);

    bool bindMacros();
    bool checkDeclarationsAndCycles();
    void expandDefaults();
    bool checkLeftOverMacros();
    void addCustomSlots();
    bool RiferimentoCircolare(short Inizio, short Indice) const;

    // The token a default uses to name folder j: "<NAME>", or "<PROGRAM>" for the
    // library's folder.
    QString macroOf(int j) const;
    // A fault of a line: the text, the line number, a line feed and the cleaned line.
    static bool lineFault(const QString& text, int NumeroRiga, const QString& line);
    static bool fault(const QString& text, int icon = 16);

    Folders& folders_;
    short declared_ = 0;  // the n of "FOLDERS=n"
};

// True when an ordinary file is at the path and may be written; otherwise shows
// why (a missing file only when asked to) and returns false.
bool VerificaFile(const QString& Percorso, bool AvvisaSeManca);

}  // namespace paramcor
