// Registry values as an administrator reads them: type names, bytes in hex, and
// the contents decoded by type.
#pragma once

#include <QJsonObject>
#include <QString>

#include <cstdint>
#include <vector>

namespace paramcor::tool {

// "REG_SZ", "REG_DWORD"...; "0x12345678" for a type without a name.
QString registryTypeName(std::uint32_t type);

// "00 0a ff"
QString hexBytes(const std::vector<std::uint8_t>& data);

// Text as the store keeps it (UTF-8), without the one terminating zero it may have.
QString storedText(const std::vector<std::uint8_t>& data);

// Text on one line, its control characters escaped ("\n", "\x1b"): nothing a name
// or a value holds may forge a line or reach the terminal as a command.
QString escaped(const QString& text);

// The contents on one line: text with its control characters escaped, numbers in
// decimal, bytes in hex, with what the suite's typed reads would make of them.
QString decodedContents(std::uint32_t type, const std::vector<std::uint8_t>& data);

// {"nome", "tipo", "codice", "dati" (hex without blanks), "valore" where it decodes}
QJsonObject valueJson(const QString& name, std::uint32_t type, const std::vector<std::uint8_t>& data);

}  // namespace paramcor::tool
