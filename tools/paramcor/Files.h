// Whole files in and out, with the limits and the care every command wants.
#pragma once

#include <QByteArray>
#include <QString>

namespace paramcor::tool {

// Far beyond any settings or translations of the suite.
constexpr qint64 kMaxFileSize = 64 * 1024 * 1024;

// The bytes of a file the user gave, `what` naming it in errors ("a PO file").
QByteArray readWhole(const QString& path, const QString& what);

// Writes a file that appears whole or not at all, replacing what was there.
void writeWhole(const QString& path, const QByteArray& bytes);

}  // namespace paramcor::tool
