#include "texts/SharedFolderFiles.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <filesystem>
#include <system_error>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace paramcor::texts {

QString refusedFileReason(const QString& path) {
#ifdef Q_OS_UNIX
    struct stat file {};
    if (::lstat(QFile::encodeName(path).constData(), &file) != 0)
        return QString();
    if (S_ISLNK(file.st_mode))
        return QStringLiteral("%1: it is a link, and links are not followed here").arg(path);
    if (!S_ISREG(file.st_mode))
        return QStringLiteral("%1: it is not a regular file").arg(path);
    if (file.st_nlink > 1)
        return QStringLiteral("%1: it has other names too (hard links), and is not used").arg(path);
    struct stat folder {};
    const QString folderPath = QFileInfo(path).absolutePath();
    if (::stat(QFile::encodeName(folderPath).constData(), &folder) != 0)
        return QString();
    if (file.st_uid != ::geteuid() && file.st_uid != folder.st_uid && file.st_gid != folder.st_gid)
        return QStringLiteral("%1: it belongs to another user (%2) and not to the folder's group")
            .arg(path)
            .arg(file.st_uid);
#else
    const QFileInfo info(path);
    if (info.isSymLink())
        return QStringLiteral("%1: it is a link, and links are not followed here").arg(path);
    if (info.exists() && !info.isFile())
        return QStringLiteral("%1: it is not a regular file").arg(path);
#endif
    return QString();
}

QString copyIntoPlace(const QString& from, const QString& to) {
    const QString refused = refusedFileReason(from);
    if (!refused.isEmpty())
        return refused;
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly))
        return QStringLiteral("%1: %2").arg(from, source.errorString());
    // Created exclusively: a name someone else planted makes it pick another one.
    QTemporaryFile copy(to + QStringLiteral(".XXXXXX"));
    if (!copy.open())
        return QStringLiteral("%1: %2").arg(copy.fileTemplate(), copy.errorString());
    while (!source.atEnd()) {
        const QByteArray block = source.read(1 << 20);
        if (block.isEmpty() && source.error() != QFile::NoError)
            return QStringLiteral("%1: %2").arg(from, source.errorString());
        if (copy.write(block) != block.size())
            return QStringLiteral("%1: %2").arg(copy.fileName(), copy.errorString());
    }
    if (!copy.flush() || !copy.setPermissions(source.permissions()))
        return QStringLiteral("%1: %2").arg(copy.fileName(), copy.errorString());
    std::error_code error;
    std::filesystem::rename(std::filesystem::path(copy.fileName().toStdU16String()),
                            std::filesystem::path(to.toStdU16String()), error);
    if (error)
        return QStringLiteral("%1: %2 %3").arg(to).arg(error.value()).arg(QString::fromStdString(error.message()));
    copy.setAutoRemove(false);
    return QString();
}

}  // namespace paramcor::texts
