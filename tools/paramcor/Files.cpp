#include "Files.h"

#include "Output.h"
#include "Wording.h"

#include <QFileInfo>
#include <QTemporaryFile>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace paramcor::tool {
namespace {

mode_t currentUmask() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

QString systemError(int code) {
    return QString::fromLocal8Bit(std::strerror(code));
}

[[noreturn]] void cannotWrite(const QString& path, const QString& why) {
    throw Failure(tr("%1 cannot be written: %2").arg(path, why));
}

// Every byte, or the system's reason why not.
bool writeAll(int fd, const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

void writeStraight(const QString& path, const QByteArray& bytes, bool pipe) {
    // Without a reader, a pipe would hold the command forever.
    const int fd =
        ::open(QFile::encodeName(path).constData(), O_WRONLY | O_NOCTTY | O_CLOEXEC | (pipe ? O_NONBLOCK : 0));
    if (fd < 0)
        cannotWrite(path, errno == ENXIO && pipe ? tr("no program reads from the pipe") : systemError(errno));
    if (pipe)
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    const bool written = writeAll(fd, bytes);
    const int error = errno;
    if (::close(fd) != 0 && written)
        cannotWrite(path, systemError(errno));
    if (!written)
        cannotWrite(path, systemError(error));
}

}  // namespace

QString whyUnreachable(const QString& path) {
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) == 0)
        return QString();
    // A folder on the way that may not be entered is no missing file.
    if (errno == ENOENT)
        return tr("there is no such file");
    return tr("it cannot be read (%1)").arg(systemError(errno));
}

std::unique_ptr<QFile> openToRead(const QString& path, const QString& what) {
    const QFileInfo info(path);
    if (const QString why = whyUnreachable(path); !why.isEmpty())
        throw Failure(QStringLiteral("%1: %2").arg(path, why));
    if (info.isDir())
        throw Failure(tr("%1 is a folder, not %2").arg(path, what));
    if (info.size() > kMaxFileSize)
        throw Failure(
            tr("%1 is too large for %2 (%3 bytes, at most %4)").arg(path, what).arg(info.size()).arg(kMaxFileSize));
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly))
        throw Failure(tr("%1 cannot be read: %2").arg(path, file->errorString()));
    return file;
}

QByteArray readWhole(const QString& path, const QString& what) {
    const auto file = openToRead(path, what);
    QByteArray bytes = file->read(kMaxFileSize + 1);
    if (bytes.size() > kMaxFileSize)  // it grew meanwhile, or is no plain file
        throw Failure(tr("%1 is too large for %2 (more than %3 bytes)").arg(path, what).arg(kMaxFileSize));
    return bytes;
}

void writeStandardOutput(const QByteArray& bytes) {
    const auto size = static_cast<std::size_t>(bytes.size());
    if (std::fwrite(bytes.constData(), 1, size, stdout) != size || std::fflush(stdout) != 0)
        throw Failure(tr("standard output cannot be written"));
}

void writeWhole(const QString& path, const QByteArray& bytes) {
    struct stat status {};
    const bool exists = ::stat(QFile::encodeName(path).constData(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        if (!S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode))
            cannotWrite(path, tr("it is not a regular file, and it is not replaced"));
        writeStraight(path, bytes, S_ISFIFO(status.st_mode));
        return;
    }

    // A link stays a link: its file is the one replaced.
    const QString target = exists ? QFileInfo(path).canonicalFilePath() : path;
    QTemporaryFile temporary(target + QStringLiteral(".XXXXXX"));
    if (!temporary.open())
        cannotWrite(path, temporary.errorString());
    const int fd = static_cast<int>(temporary.handle());
    // An export is a file for others to read: a new one takes the rights the umask
    // leaves, as cp gives them; one replaced keeps its own.
    ::fchmod(fd, exists ? status.st_mode & 07777 : 0666 & ~currentUmask());
    if (!writeAll(fd, bytes) || ::fsync(fd) != 0)
        cannotWrite(path, systemError(errno));
    if (::rename(QFile::encodeName(temporary.fileName()).constData(), QFile::encodeName(target).constData()) != 0)
        cannotWrite(path, systemError(errno));
    temporary.setAutoRemove(false);
}

}  // namespace paramcor::tool
