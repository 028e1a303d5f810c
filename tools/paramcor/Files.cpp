#include "Files.h"

#include "CommandLine.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace paramcor::tool {

QByteArray readWhole(const QString& path, const QString& what) {
    const QFileInfo info(path);
    if (!info.exists())
        throw Failure(QStringLiteral("%1: there is no such file").arg(path));
    if (info.isDir())
        throw Failure(QStringLiteral("%1 is a folder, not %2").arg(path, what));
    if (info.size() > kMaxFileSize)
        throw Failure(QStringLiteral("%1 is too large for %2 (%3 bytes, at most %4)")
                          .arg(path, what)
                          .arg(info.size())
                          .arg(kMaxFileSize));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Failure(QStringLiteral("%1 cannot be read: %2").arg(path, file.errorString()));
    QByteArray bytes = file.read(kMaxFileSize + 1);
    if (bytes.size() > kMaxFileSize)  // it grew meanwhile, or is no plain file
        throw Failure(QStringLiteral("%1 is too large for %2 (more than %3 bytes)").arg(path, what).arg(kMaxFileSize));
    return bytes;
}

void writeWhole(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw Failure(QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString()));
}

}  // namespace paramcor::tool
