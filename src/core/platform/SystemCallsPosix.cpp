#include "platform/SystemCalls.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QRandomGenerator>

namespace paramcor::systemcalls {

QString temporaryFolder() {
    QString folder = QDir::toNativeSeparators(QDir::tempPath());
    if (folder.isEmpty() || !QDir(folder).exists())
        return QString();
    if (!folder.endsWith(QDir::separator()))
        folder += QDir::separator();
    return folder;
}

QString temporaryFile(const QString& folder, const QString& prefix) {
    // Like the system's temporary names: 16-bit numbers, tried in turn from a
    // random start until one is free; O_EXCL settles races between processes.
    const QString stem = folder + prefix.left(3);
    const quint32 start = QRandomGenerator::global()->bounded(0x10000u);
    for (quint32 n = 0; n < 0x10000u; ++n) {
        const quint32 unique = (start + n) % 0xFFFFu + 1;
        const QString name = stem + QString::number(unique, 16).toUpper() + QStringLiteral(".tmp");
        QFile file(name);
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly, QFile::ReadOwner | QFile::WriteOwner))
            return name;
        if (!QFile::exists(name))
            return QString();  // not a name clash: the folder cannot take files
    }
    return QString();
}

QString windowsFolder() {
    return QStringLiteral("C:\\WINDOWS\\");
}

Separators localeSeparators() {
    const QLocale locale = QLocale::system();
    return {locale.decimalPoint(), locale.groupSeparator()};
}

}  // namespace paramcor::systemcalls
