// The 8-bit code page of the suite's Windows workstations, Windows-1252, and the
// UTF-8 that stands for it on POSIX.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace paramcor {

QString fromWindows1252(QByteArrayView bytes);

// Empty when some character has no byte in the code page.
std::optional<QByteArray> toWindows1252(const QString& text);

// The text of valid UTF-8; empty when the bytes are not UTF-8.
std::optional<QString> fromStrictUtf8(QByteArrayView bytes);

// 8-bit text from a file: UTF-8 when it is valid UTF-8 (made on Linux), else
// Windows-1252 (made on Windows).
QString fromEightBit(QByteArrayView bytes);

}  // namespace paramcor
