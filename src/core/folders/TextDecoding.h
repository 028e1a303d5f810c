// Text files edited by hand, on Linux or brought over from a Windows installation.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace paramcor {

// UTF-8 (a byte-order mark at the start is dropped); bytes that are not valid
// UTF-8 are read as Windows-1252, the code page such files were written in.
QString decodeHandEditedText(const QByteArray& bytes);

// Lines ended by CR LF, LF or a lone CR; a last line without an end counts too.
QStringList splitLines(const QString& text);

}  // namespace paramcor
