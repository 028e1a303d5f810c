#include "RegistryValues.h"

#include <QJsonArray>

#include <charconv>
#include <cstring>

namespace paramcor::tool {
namespace {

constexpr const char* kTypeNames[] = {
    "REG_NONE",          "REG_SZ",        "REG_EXPAND_SZ",
    "REG_BINARY",        "REG_DWORD",     "REG_DWORD_BIG_ENDIAN",
    "REG_LINK",          "REG_MULTI_SZ",  "REG_RESOURCE_LIST",
    "REG_FULL_RESOURCE_DESCRIPTOR", "REG_RESOURCE_REQUIREMENTS_LIST", "REG_QWORD",
};

template <class Number>
Number little(const std::vector<std::uint8_t>& data) {
    Number value{};
    std::memcpy(&value, data.data(), sizeof value);  // the suite's files are little-endian, as its machines
    return value;
}

template <class Number>
QString shortest(Number value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return QString::fromLatin1(buffer, static_cast<qsizetype>(result.ptr - buffer));
}

QStringList multiText(const std::vector<std::uint8_t>& data) {
    QStringList items =
        QString::fromUtf8(reinterpret_cast<const char*>(data.data()), qsizetype(data.size())).split(QChar(u'\0'));
    while (!items.isEmpty() && items.last().isEmpty())
        items.removeLast();
    return items;
}

bool isText(std::uint32_t type) {
    return type == 1 || type == 2;
}

}  // namespace

QString escaped(const QString& text) {
    QString out;
    for (const QChar c : text) {
        if (c == u'\n')
            out += QLatin1String("\\n");
        else if (c == u'\r')
            out += QLatin1String("\\r");
        else if (c == u'\t')
            out += QLatin1String("\\t");
        else if (c.unicode() < 0x20 || (c.unicode() >= 0x7f && c.unicode() < 0xa0))  // a terminal obeys C1 too
            out += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out;
}

QString registryTypeName(std::uint32_t type) {
    if (type < std::size(kTypeNames))
        return QLatin1String(kTypeNames[type]);
    return QStringLiteral("0x%1").arg(type, 8, 16, QLatin1Char('0'));
}

QString hexBytes(const std::vector<std::uint8_t>& data) {
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(data.data()), qsizetype(data.size()))
                                   .toHex(' '));
}

QString storedText(const std::vector<std::uint8_t>& data) {
    std::size_t size = data.size();
    if (size > 0 && data[size - 1] == 0)
        --size;
    return QString::fromUtf8(reinterpret_cast<const char*>(data.data()), qsizetype(size));
}

QString decodedContents(std::uint32_t type, const std::vector<std::uint8_t>& data) {
    if (isText(type))
        return escaped(storedText(data));
    if (type == 7)
        return escaped(multiText(data).join(QLatin1String("\\0")));
    if (type == 4 && data.size() == 4)
        return QStringLiteral("%1 (0x%2)").arg(little<std::int32_t>(data)).arg(little<std::uint32_t>(data), 8, 16,
                                                                                    QLatin1Char('0'));
    if (type == 11 && data.size() == 8)
        return QString::number(little<std::int64_t>(data));
    QString shown = hexBytes(data);
    // What the suite's typed reads make of binary data of their sizes.
    if (type == 3 && data.size() == 1)
        shown += data[0] > 0 ? QLatin1String(" (Boolean True)") : QLatin1String(" (Boolean False)");
    else if (type == 3 && data.size() == 2)
        shown += QStringLiteral(" (Integer %1)").arg(little<std::int16_t>(data));
    else if (type == 3 && data.size() == 8)
        shown += QStringLiteral(" (Double %1)").arg(shortest(little<double>(data)));
    return shown;
}

QJsonObject valueJson(const QString& name, std::uint32_t type, const std::vector<std::uint8_t>& data) {
    QJsonObject value{{"nome", name},
                      {"tipo", registryTypeName(type)},
                      {"codice", qint64(type)},
                      {"dati", QString(hexBytes(data)).remove(u' ')}};
    if (isText(type))
        value.insert("valore", storedText(data));
    else if (type == 7)
        value.insert("valore", QJsonArray::fromStringList(multiText(data)));
    else if (type == 4 && data.size() == 4)
        value.insert("valore", little<std::int32_t>(data));
    else if (type == 11 && data.size() == 8)
        value.insert("valore", qint64(little<std::int64_t>(data)));
    return value;
}

}  // namespace paramcor::tool
