// The suite's named folders: the table declared by the installation file and the
// resolution of a name into the folder's current location, kept in the registry.
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <vector>

namespace paramcor {

class MainParametri;

// One declared folder.
struct RecordPercorso {
    QString Nome;            // as declared; matched without regard to case
    QString Default;         // as written in the installation file, macros included
    QString DefaultEspanso;  // the default with its macro expanded
    short IndiceMacro = -1;  // the folder whose macro the default uses; -1 none
    QString Rif;             // the folder line's optional third field, upper-cased
};

// Row 0 is the suite root "Wincor", rows 1..n the declared folders, then the nine
// custom slots. One table per Parametri object.
class Folders {
public:
    // Locations are read and written through `selection`, which must outlive the table.
    explicit Folders(MainParametri& selection) : selection_(selection) {}

    // Takes over what the installation file declared.
    void assign(std::vector<RecordPercorso> rows, short count, QMap<QString, QString> supplier);

    std::vector<RecordPercorso>& TabellaPercorsi() { return table_; }
    const std::vector<RecordPercorso>& TabellaPercorsi() const { return table_; }
    short lastRow() const { return count_; }
    // The suite root's default: the installation file's "FOLDER0" line, else the
    // folder Wincor of the installation.
    void setDeclaredRoot(const QString& root) { declaredRoot_ = root; }
    QString rootDefault() const;
    void setLastRow(short count) { count_ = count; }

    bool DebugPercorsi() const { return debug_; }
    void DebugPercorsi(bool on);

    QString Percorso(const QString& NomePercorso);
    void ScriviPercorso(const QString& NomePercorso, const QString& PercorsoDefault);
    bool DatiPercorso(short Indice, QString& Nome, QString& Default, QString& DefaultV, QString& Rif);

    // The supplier's contacts the installation file gives, by upper-cased name.
    QMap<QString, QString>& supplierDefaults() { return supplier_; }
    const QMap<QString, QString>& supplierDefaults() const { return supplier_; }

private:
    // Index of the row named `key` (upper-cased), or -1.
    int find(const QString& key) const;

    MainParametri& selection_;
    std::vector<RecordPercorso> table_;
    QMap<QString, QString> supplier_;
    QString declaredRoot_;
    short count_ = 0;
    bool debug_ = false;
};

// The folder that holds the library, ending in a separator.
QString PercorsoPrincipale();

// Collapses doubled separators (except at the start of a network path) and ends
// the path with one separator. On POSIX, backslashes become slashes first, so that
// folders written on Windows keep working.
void normalizeFolderPath(QString& path);

// The folders kept per machine rather than per user.
bool isMachineWideFolder(const QString& name);

}  // namespace paramcor
