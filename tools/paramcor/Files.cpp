#include "Files.h"

#include "Output.h"
#include "Wording.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryFile>

#include <cerrno>
#include <climits>
#include <cstring>

#include <fcntl.h>
#include <pwd.h>
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

QString userName(uid_t uid) {
    const passwd* user = ::getpwuid(uid);
    return user ? QString::fromLocal8Bit(user->pw_name) : QString::number(uid);
}

// The kernel's rule for links (protected_symlinks), whatever the system's setting: a
// link in a folder that others may write is followed only when it belongs to this
// user or to the folder's owner. Otherwise another user could point a command run by
// root at any file. Every link on the way is checked, and the links they lead to.
void refuseLinksOfOthers(const QString& path) {
    QStringList pending = QDir::cleanPath(QFileInfo(path).absoluteFilePath()).split(u'/', Qt::SkipEmptyParts);
    QString walked;  // the folders passed, links resolved
    int links = 0;
    while (!pending.isEmpty()) {
        const QString name = pending.takeFirst();
        if (name == QLatin1String("."))
            continue;
        if (name == QLatin1String("..")) {
            walked = walked.section(u'/', 0, -2);
            continue;
        }
        const QString next = walked + u'/' + name;
        struct stat entry {};
        if (::lstat(QFile::encodeName(next).constData(), &entry) != 0 || !S_ISLNK(entry.st_mode)) {
            walked = next;
            continue;
        }
        struct stat folder {};
        const QString folderPath = walked.isEmpty() ? QStringLiteral("/") : walked;
        if (::stat(QFile::encodeName(folderPath).constData(), &folder) == 0 && (folder.st_mode & (S_IWGRP | S_IWOTH)) &&
            entry.st_uid != ::geteuid() && entry.st_uid != folder.st_uid)
            throw Failure(tr("%1 is a link of another user (%2) in a folder that others may write: it is not followed")
                              .arg(next, userName(entry.st_uid)));
        QByteArray target(PATH_MAX, '\0');
        const ssize_t size = ::readlink(QFile::encodeName(next).constData(), target.data(), target.size());
        if (size < 0 || ++links > 40)
            throw Failure(tr("%1: the link cannot be followed").arg(next));
        target.truncate(size);
        if (target.startsWith('/'))
            walked.clear();
        pending = QFile::decodeName(target).split(u'/', Qt::SkipEmptyParts) + pending;
    }
}

// Reads a pipe whole. One that no program writes to would hold the command for ever,
// so the first read does not wait: end of file at once means there is no writer.
QByteArray readPipe(int fd, const QString& path) {
    QByteArray bytes;
    char block[65536];
    for (;;) {
        const ssize_t n = ::read(fd, block, sizeof block);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN) {
            ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);  // a writer: wait for it
            continue;
        }
        if (n < 0)
            throw Failure(tr("%1 cannot be read: %2").arg(path, systemError(errno)));
        if (n == 0 && bytes.isEmpty() && (::fcntl(fd, F_GETFL) & O_NONBLOCK))
            throw Failure(tr("%1 cannot be read: no program writes to the pipe").arg(path));
        if (n == 0 || bytes.size() > kMaxFileSize)
            return bytes;
        bytes.append(block, n);
    }
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

std::unique_ptr<QIODevice> openToRead(const QString& path, const QString& what) {
    refuseLinksOfOthers(path);
    const QFileInfo info(path);
    if (const QString why = whyUnreachable(path); !why.isEmpty())
        throw Failure(QStringLiteral("%1: %2").arg(path, why));
    if (info.isDir())
        throw Failure(tr("%1 is a folder, not %2").arg(path, what));
    if (info.size() > kMaxFileSize)
        throw Failure(
            tr("%1 is too large for %2 (%3 bytes, at most %4)").arg(path, what).arg(info.size()).arg(kMaxFileSize));
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        throw Failure(tr("%1 cannot be read: %2").arg(path, systemError(errno)));
    struct stat status {};
    if (::fstat(fd, &status) == 0 && S_ISFIFO(status.st_mode)) {
        QByteArray bytes;
        try {
            bytes = readPipe(fd, path);
        } catch (...) {
            ::close(fd);
            throw;
        }
        ::close(fd);
        auto buffer = std::make_unique<QBuffer>();
        buffer->setData(bytes);
        buffer->open(QIODevice::ReadOnly);
        return buffer;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    auto file = std::make_unique<QFile>();
    if (!file->open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        throw Failure(tr("%1 cannot be read: %2").arg(path, file->errorString()));
    }
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
    refuseLinksOfOthers(path);
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
