// Whole files in and out, with the limits and the care every command wants.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <memory>

namespace paramcor::tool {

// Far beyond any settings or translations of the suite.
constexpr qint64 kMaxFileSize = 64 * 1024 * 1024;

// Why `path` cannot be reached ("there is no such file", "it cannot be read
// (Permission denied)"); empty when it exists.
QString whyUnreachable(const QString& path);

// A file the user gave, open for reading once it is known to be a file of at most
// kMaxFileSize bytes; `what` names it in errors ("a PO file"). A named pipe is read
// whole first, and refused when no program writes to it.
std::unique_ptr<QIODevice> openToRead(const QString& path, const QString& what);

// The bytes of such a file.
QByteArray readWhole(const QString& path, const QString& what);

// Writes bytes to standard output as they are.
void writeStandardOutput(const QByteArray& bytes);

// Writes a file that appears whole or not at all, replacing what was there. A pipe
// or a character device (/dev/stdout) takes the bytes straight; anything else that
// is not a regular file is refused, never replaced.
void writeWhole(const QString& path, const QByteArray& bytes);

}  // namespace paramcor::tool
