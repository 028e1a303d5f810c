#include "param/Workstation.h"

#include "param/registry/MainParametri.h"

#include <CVLParamcor/Platform.h>

#include <QDir>
#include <QHash>
#include <QFile>
#include <QRandomGenerator>

#include <cfenv>

namespace paramcor::workstation {
namespace {

MainParametri& selection() {
    return MainParametri::instance();
}

QString valueName(VersionRecord record) {
    switch (record) {
        case VersionRecord::Product:
            return QStringLiteral("Version");
        case VersionRecord::Upgrade:
            return QStringLiteral("Upgrade");
        case VersionRecord::Marble:
            return QStringLiteral("VersioneProdottoMarmo");
        case VersionRecord::Glass:
            return QStringLiteral("VersioneProdottoVetro");
        case VersionRecord::GlassCam:
            return QStringLiteral("VersioneProdottoVetroCam");
    }
    return QString();
}

// The maker's key in the local-machine store. The record of glass cutting has
// always cleared program and section once more: harmless, and kept.
void selectMakerKey(VersionRecord record) {
    selection().selectHive(Hive::LocalMachine, false);
    if (record == VersionRecord::GlassCam) {
        selection().setProgram(QString());
        selection().setSection(QString());
    }
}

void regionalError(const QString& problem) {
    platform().messages->show(
        QStringLiteral("ERROR:") + u'\n' + problem + u'\n' + QStringLiteral("Check your international settings"),
        mb::Critical, QStringLiteral("CvlParamcor"));
}

}  // namespace

QString queryTempFolder() {
    QString folder = QDir::toNativeSeparators(QDir::tempPath());
    if (folder.isEmpty() || !QDir(folder).exists()) {
        platform().messages->show(QStringLiteral("Cannot query TempDirectory"), mb::Critical,
                                  QStringLiteral("CVLParamCor"));
        return QString();
    }
    if (!folder.endsWith(QDir::separator()))
        folder += QDir::separator();
    return folder;
}

QString createTempFile(const QString& folder, const QString& prefix) {
    if (folder.isEmpty())
        return QString();
    // Like the system's temporary names: 16-bit numbers, tried in turn from a
    // random start until one is free; O_EXCL settles races between processes.
    const QString stem = folder + prefix.left(3);
    const quint32 start = QRandomGenerator::global()->bounded(0x10000u);
    for (quint32 n = 0; n < 0x10000u; ++n) {
        const quint32 unique = (start + n) % 0xFFFFu + 1;
        const QString name = stem + QString::number(unique, 16).toUpper() + QStringLiteral(".tmp");
        QFile file(name);
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return name;
        if (!QFile::exists(name))
            return QString();  // not a name clash: the folder cannot take files
    }
    return QString();
}

void clearPendingErrors() {
    std::feclearexcept(FE_ALL_EXCEPT);
}

QString makerKey() {
    return QStringLiteral("SOFTWARE") + selection().registryRoot();
}

QString readVersion(VersionRecord record) {
    selection().Push();
    selectMakerKey(record);
    const QString value = selection().ReadString(valueName(record), QString());
    if (record == VersionRecord::Product)
        selection().selectHive(Hive::CurrentUser, false);
    selection().Pop();
    return value;
}

void writeVersion(VersionRecord record, const QString& value) {
    selection().Push();
    selectMakerKey(record);
    selection().WriteString(valueName(record), value);
    selection().Pop();
}

void registerDocument(const QString& extension, const QString& group, const QString& shell, short iconIndex) {
    MainParametri& s = selection();
    s.Push();
    s.selectHive(Hive::ClassesRoot, true);
    s.setSection(extension);
    s.WriteValue(QString(), group);
    s.setSection(group + QStringLiteral("\\CLID"));
    s.WriteValue(QString(), QString());
    if (iconIndex >= 0) {
        s.setSection(group + QStringLiteral("\\shell\\open\\command"));
        s.WriteValue(QString(), QStringLiteral("\"%1\" \"%2\"").arg(shell, QStringLiteral("%1")));
    }
    s.setSection(group + QStringLiteral("\\DefaultIcon"));
    s.WriteValue(QString(), iconIndex >= 0 ? shell + u',' + QString::number(iconIndex) : shell);
    s.Pop();
}

void writeLegacyLanguageFile(short language) {
#ifdef Q_OS_WIN
    static const QHash<short, char> letters{{1, 'I'}, {3, 'D'}, {4, 'F'}, {5, 'S'}, {6, 'P'}, {7, 'K'}};
    QFile file(QStringLiteral("C:\\CORVEL50\\CVLLING"));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(QByteArray(1, letters.value(language, 'G')) + "\r\n");
#else
    Q_UNUSED(language);
#endif
}

void checkRegionalSettings() {
    const Separators separators = platform().separators();
    const QString decimal = separators.decimal.trimmed();
    const QString thousands = separators.thousands.trimmed();
    if (decimal == thousands)
        regionalError(QStringLiteral("Decimal and thousand separators must be different"));
    if (decimal.isEmpty())
        regionalError(QStringLiteral("Decimal separators is empty"));
}

}  // namespace paramcor::workstation
