#include "folders/FolderTable.h"

#include "selection/MainParametri.h"
#include "platform/SystemCalls.h"

#include <CVLParamcor/Platform.h>

#include <QDir>

namespace paramcor {
namespace {

const QString kPrefix = QStringLiteral("PERCORSO");

constexpr QChar kSeparator =
#ifdef Q_OS_WIN
    u'\\';
#else
    u'/';
#endif

// Drops the "PERCORSO" prefix, so that "PercorsoDxf" and "Dxf" name one folder.
// False, after a message, when nothing is left of the name.
bool stripPrefix(QString& key, const QString& NomePercorso) {
    if (!key.startsWith(kPrefix))
        return true;
    if (key.size() <= kPrefix.size()) {
        platform().messages->show(QStringLiteral("Wrong folder name '") + NomePercorso + u'\'', mb::Information,
                                  QStringLiteral("CVLparamcor DEBUG"));
        return false;
    }
    key.remove(0, kPrefix.size());
    return true;
}

void reportMissingFolder(const QString& NomePercorso) {
    platform().messages->show(QStringLiteral("Missing folder ") + u'\n' + NomePercorso, mb::Critical,
                              QStringLiteral("Cvlparamcor"));
}

// Machine-wide folders live in the local-machine store, the others per user; both
// directly under the suite's root.
void selectStoreFor(MainParametri& selection, const QString& NomePercorso) {
    selection.selectHive(isMachineWideFolder(NomePercorso) ? Hive::LocalMachine : Hive::CurrentUser, false);
}

}  // namespace

bool isMachineWideFolder(const QString& name) {
    static const QStringList machineWide = {"CONI",  "IMMAGINI", "REPORT", "IMMAGINIMILLORA",
                                            "TESTI", "UTENSILI", "WINCOR"};
    return machineWide.contains(name.trimmed().toUpper());
}

QString PercorsoPrincipale() {
    QString folder = QDir::toNativeSeparators(libraryFolder());
    if (!folder.endsWith(kSeparator))
        folder += kSeparator;
    return folder;
}

void normalizeFolderPath(QString& path) {
#ifndef Q_OS_WIN
    path.replace(u'\\', u'/');
#endif
    const QString doubled(2, kSeparator);
    for (qsizetype at = path.indexOf(doubled); at >= 1; at = path.indexOf(doubled))
        path.remove(at, 1);
    if (!path.endsWith(kSeparator))
        path += kSeparator;
}

QString Folders::rootDefault() const {
    return declaredRoot_.isEmpty() ? PercorsoPrincipale() + QStringLiteral("Wincor\\") : declaredRoot_;
}

void Folders::assign(std::vector<RecordPercorso> rows, short count, QMap<QString, QString> supplier) {
    table_ = std::move(rows);
    count_ = count;
    supplier_ = std::move(supplier);
}

int Folders::find(const QString& key) const {
    for (int i = 0; i <= count_ && i < static_cast<int>(table_.size()); ++i)
        if (table_[i].Nome.toUpper() == key)
            return i;
    return -1;
}

QString Folders::Percorso(const QString& NomePercorso) {
    QString key = NomePercorso.trimmed().toUpper();
    if (key == QLatin1String("WINDOWS"))
        return systemcalls::windowsFolder();
    if (!stripPrefix(key, NomePercorso))
        return QString();

    QString valueName;
    QString defaultPath;
    const int row = find(key);
    if (row >= 0) {
        valueName = QStringLiteral("Percorso") + table_[row].Nome;
        defaultPath = table_[row].DefaultEspanso;
    }
    bool storeDefault = true;
    if (defaultPath.isEmpty()) {
        if (valueName == QLatin1String("PercorsoWincor")) {
            // The suite root while the table is being built: stored on first read.
            defaultPath = rootDefault();
        } else {
            // Unknown names and empty custom slots fall back on the library's folder,
            // without leaving a value named after them.
            if (debug_)
                reportMissingFolder(NomePercorso);
            const QString name = NomePercorso.trimmed();
            valueName = name.toUpper().startsWith(kPrefix) ? name : QStringLiteral("Percorso") + name;
            defaultPath = PercorsoPrincipale();
            storeDefault = false;
        }
    }
    normalizeFolderPath(defaultPath);

    QString path;
    {
        const SelectionScope keep(selection_);
        selectStoreFor(selection_, NomePercorso);
        selection_.setSkipDefaultWrite(!storeDefault);
        path = selection_.ReadString(valueName, defaultPath);
        selection_.setSkipDefaultWrite(false);
    }

    normalizeFolderPath(path);
    if (debug_ && !QDir(path).exists())
        platform().messages->show(QStringLiteral("Cannot open folder ") + u'\n' + path, mb::Information,
                                  QStringLiteral("CVLparamcor"));
    return path;
}

// No Push before the Pop: the selection restored is whatever the caller saved last.
// Client programs of the suite rely on it.
void Folders::ScriviPercorso(const QString& NomePercorso, const QString& PercorsoDefault) {
    QString key = NomePercorso.trimmed().toUpper();
    if (!stripPrefix(key, NomePercorso))
        return;
    QString valueName;
    const int row = find(key);
    if (row >= 0)
        valueName = QStringLiteral("Percorso") + table_[row].Nome;
    else if (debug_)
        reportMissingFolder(NomePercorso);

    selectStoreFor(selection_, NomePercorso);
    selection_.WriteString(valueName, PercorsoDefault);
    selection_.setSkipDefaultWrite(false);
    selection_.Pop();
}

void Folders::DebugPercorsi(bool on) {
    if (on != debug_ && on)
        platform().messages->show(QStringLiteral("WARNING! Folder debug enabled !!!!"), mb::Exclamation, QString());
    debug_ = on;
}

bool Folders::DatiPercorso(short Indice, QString& Nome, QString& Default, QString& DefaultV, QString& Rif) {
    if (Indice < 0 || Indice > count_ || Indice >= static_cast<int>(table_.size()))
        return false;
    const RecordPercorso row = table_[Indice];
    Nome = row.Nome;
    Default = row.Default;
    DefaultV = Percorso(row.Nome);
    Rif = row.Rif;
    return true;
}

}  // namespace paramcor
