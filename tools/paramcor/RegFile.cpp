#include "RegFile.h"

#include "CodePage.h"

#include <QStringDecoder>
#include <QStringList>

namespace paramcor::tool::regfile {
namespace {

const QString kUnicodeHeader = QStringLiteral("Windows Registry Editor Version 5.00");
const QString kRegedit4Header = QStringLiteral("REGEDIT4");
constexpr qsizetype kMaxKeyName = 256;  // characters, as the registry takes them
constexpr qsizetype kLineWidth = 80;    // regedit wraps byte lists before this column

bool isText(std::uint32_t type) {
    return type == 1 || type == 2 || type == 7;  // REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ
}

struct Hives {
    Hive hive;
    const char* name;
    const char* shortName;
};

constexpr Hives kHives[] = {
    {Hive::CurrentUser, "HKEY_CURRENT_USER", "HKCU"},
    {Hive::LocalMachine, "HKEY_LOCAL_MACHINE", "HKLM"},
    {Hive::ClassesRoot, "HKEY_CLASSES_ROOT", "HKCR"},
};

QString decodeFile(const QByteArray& bytes) {
    if (bytes.startsWith("\xFF\xFE")) {
        if (bytes.size() % 2 != 0)
            throw FormatError(0,
                              QStringLiteral("the file is cut short: UTF-16 text cannot have an odd number of bytes"));
        QStringDecoder utf16(QStringDecoder::Utf16LE, QStringDecoder::Flag::Stateless);
        QString text = utf16.decode(QByteArrayView(bytes).sliced(2));
        if (utf16.hasError())
            throw FormatError(0, QStringLiteral("the file is not valid UTF-16 text"));
        return text;
    }
    if (bytes.startsWith("\xFE\xFF"))
        throw FormatError(0, QStringLiteral("the file is big-endian UTF-16, which regedit neither writes nor reads"));
    if (bytes.startsWith("\xEF\xBB\xBF")) {
        if (auto text = fromStrictUtf8(QByteArrayView(bytes).sliced(3)))
            return *text;
        throw FormatError(0, QStringLiteral("the file starts as UTF-8 but is not valid UTF-8"));
    }
    if (bytes.contains('\0'))
        throw FormatError(0, QStringLiteral("unexpected encoding: the file holds zero bytes, as UTF-16 without "
                                            "its byte-order mark or binary data do"));
    return fromEightBit(bytes);
}

QStringList splitLines(const QString& text) {
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c != u'\n' && c != u'\r')
            continue;
        lines.append(text.mid(start, i - start));
        if (c == u'\r' && i + 1 < text.size() && text.at(i + 1) == u'\n')
            ++i;
        start = i + 1;
    }
    if (start < text.size())
        lines.append(text.mid(start));
    return lines;
}

bool isBlank(QChar c) {
    return c == u' ' || c == u'\t';
}

QString trimmedRight(const QString& text) {
    qsizetype end = text.size();
    while (end > 0 && isBlank(text.at(end - 1)))
        --end;
    return text.left(end);
}

// Reads one line of a value from its start; the byte lists of "hex" values may go
// on over the following lines.
class ValueReader {
public:
    ValueReader(const QStringList& lines, qsizetype& index, Format format)
        : lines_(lines), index_(index), format_(format), text_(lines[index]), line_(static_cast<int>(index) + 1) {
        while (pos_ < text_.size() && isBlank(text_.at(pos_)))
            ++pos_;
    }

    Value read() {
        Value value;
        if (peek() == u'@') {
            ++pos_;
        } else {
            value.name = quoted(QStringLiteral("the name")).toStdString();
        }
        skipBlanks();
        if (peek() != u'=')
            fail(QStringLiteral("\"=\" should follow the value's name"));
        ++pos_;
        skipBlanks();
        const QString rest = text_.mid(pos_);
        if (peek() == u'"') {
            const QByteArray text = quoted(QStringLiteral("the string")).toUtf8();
            value.type = regtype::String;
            value.data.assign(text.begin(), text.end());
            endOfLine();
        } else if (peek() == u'-') {
            fail(QStringLiteral("removing a value (=-) is not something this store does"));
        } else if (rest.startsWith(QLatin1String("dword:"), Qt::CaseInsensitive)) {
            pos_ += 6;
            const qsizetype start = pos_;
            while (pos_ < text_.size() && isHexDigit(text_.at(pos_)))
                ++pos_;
            const qsizetype digits = pos_ - start;
            if (digits < 1 || digits > 8)
                fail(QStringLiteral("a dword needs one to eight hex digits"));
            endOfLine();
            const std::uint32_t number = text_.mid(start, digits).toUInt(nullptr, 16);
            value.type = regtype::Dword;
            value.data = {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
                          static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
        } else if (rest.startsWith(QLatin1String("hex"), Qt::CaseInsensitive)) {
            pos_ += 3;
            value.type = regtype::Binary;
            if (peek() == u'(') {
                const qsizetype close = text_.indexOf(u')', pos_);
                const QString number = close < 0 ? QString() : text_.mid(pos_ + 1, close - pos_ - 1);
                bool ok = number.size() >= 1 && number.size() <= 8;
                for (const QChar c : number)
                    ok = ok && isHexDigit(c);
                if (!ok)
                    fail(QStringLiteral("hex(N) needs a type of one to eight hex digits"));
                value.type = number.toUInt(nullptr, 16);
                pos_ = close + 1;
            }
            if (peek() != u':')
                fail(QStringLiteral("\":\" should follow \"hex\""));
            ++pos_;
            const std::vector<std::uint8_t> bytes = byteList();
            value.data = isText(value.type) ? textFromFile(bytes) : bytes;
        } else {
            fail(QStringLiteral("the value should be a string in quotes, dword:, hex: or hex(N):"));
        }
        return value;
    }

private:
    static bool isHexDigit(QChar c) {
        return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
    }

    [[noreturn]] void fail(const QString& message) const { throw FormatError(line_, message); }

    QChar peek() const { return pos_ < text_.size() ? text_.at(pos_) : QChar(); }

    void skipBlanks() {
        while (pos_ < text_.size() && isBlank(text_.at(pos_)))
            ++pos_;
    }

    void endOfLine() {
        skipBlanks();
        if (pos_ < text_.size())
            fail(QStringLiteral("unexpected \"%1\" after the value").arg(text_.mid(pos_)));
    }

    // A string in quotes, in which \\ stands for a backslash and \" for a quote.
    QString quoted(const QString& what) {
        if (peek() != u'"')
            fail(QStringLiteral("%1 should be in quotes").arg(what));
        ++pos_;
        QString out;
        while (pos_ < text_.size()) {
            const QChar c = text_.at(pos_++);
            if (c == u'"')
                return out;
            if (c == u'\\') {
                const QChar next = peek();
                if (next != u'\\' && next != u'"')
                    fail(QStringLiteral("%1 holds \"\\%2\": only \\\\ and \\\" may follow a backslash")
                             .arg(what, next.isNull() ? QString() : QString(next)));
                out += next;
                ++pos_;
                continue;
            }
            out += c;
        }
        fail(QStringLiteral("%1 has no closing quote").arg(what));
    }

    // "00,ff,1a": one or two hex digits a byte. A line that ends with a backslash
    // goes on in the next one.
    std::vector<std::uint8_t> byteList() {
        std::vector<std::uint8_t> bytes;
        QString segment = text_.mid(pos_);
        int segmentLine = line_;
        for (;;) {
            segment = trimmedRight(segment);
            const bool goesOn = segment.endsWith(u'\\');
            if (goesOn)
                segment.chop(1);
            const QStringList tokens = segment.split(u',');
            for (qsizetype t = 0; t < tokens.size(); ++t) {
                const QString token = tokens[t].trimmed();
                if (token.isEmpty()) {
                    if (t + 1 == tokens.size())
                        continue;  // nothing, or the comma before the line's end
                    throw FormatError(segmentLine, QStringLiteral("a byte is missing between two commas"));
                }
                bool ok = token.size() <= 2;
                for (const QChar c : token)
                    ok = ok && isHexDigit(c);
                if (!ok)
                    throw FormatError(segmentLine, QStringLiteral("\"%1\" is not a byte in hex").arg(token));
                bytes.push_back(static_cast<std::uint8_t>(token.toUInt(nullptr, 16)));
            }
            if (!goesOn)
                return bytes;
            if (index_ + 1 >= lines_.size())
                fail(QStringLiteral("the list of bytes goes on past the end of the file"));
            segment = lines_[++index_];
            segmentLine = static_cast<int>(index_) + 1;
        }
    }

    // The bytes of a text value as the file holds them, as the store keeps them.
    std::vector<std::uint8_t> textFromFile(const std::vector<std::uint8_t>& bytes) const {
        QString text;
        if (format_ == Format::Unicode) {
            // An odd last byte belongs to no UTF-16 character, as for the registry.
            for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
                text += QChar(char16_t(bytes[i] | (bytes[i + 1] << 8)));
        } else {
            text = fromEightBit(
                QByteArrayView(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())));
        }
        const QByteArray utf8 = text.toUtf8();
        return {utf8.begin(), utf8.end()};
    }

    const QStringList& lines_;
    qsizetype& index_;
    Format format_;
    QString text_;
    int line_;
    qsizetype pos_ = 0;
};

Key parseKeyLine(const QString& line, int number) {
    QString text = trimmedRight(line).trimmed();
    if (!text.endsWith(u']'))
        throw FormatError(number, QStringLiteral("a key's line should end with \"]\""));
    text = text.mid(1, text.size() - 2);
    if (text.startsWith(u'-'))
        throw FormatError(number, QStringLiteral("removing a key ([-...]) is not something this store does"));
    const auto split = splitKeyName(text);
    if (!split) {
        const QString hive = text.section(u'\\', 0, 0);
        if (hive.isEmpty())
            throw FormatError(number, QStringLiteral("the key has no hive"));
        bool known = false;
        for (const Hives& h : kHives)
            known = known || hive.compare(QLatin1String(h.name), Qt::CaseInsensitive) == 0 ||
                    hive.compare(QLatin1String(h.shortName), Qt::CaseInsensitive) == 0;
        if (!known)
            throw FormatError(number, QStringLiteral("%1 is not a hive of this store (HKEY_CURRENT_USER, "
                                                     "HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT)")
                                          .arg(hive));
        throw FormatError(number, QStringLiteral("the key's path has an empty name in it"));
    }
    for (const QString& name : QString::fromStdString(split->second).split(u'\\'))
        if (name.size() > kMaxKeyName)
            throw FormatError(number, QStringLiteral("a key name is longer than %1 characters").arg(kMaxKeyName));
    return Key{split->first, split->second, {}};
}

QString quote(const QString& text) {
    QString escaped = text;
    escaped.replace(u'\\', QLatin1String("\\\\"));
    escaped.replace(u'"', QLatin1String("\\\""));
    return u'"' + escaped + u'"';
}

QString hexList(const QString& start, const QByteArray& bytes) {
    QString out = start;
    qsizetype column = out.size();
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const bool last = i + 1 == bytes.size();
        if (column + 3 >= kLineWidth - 1) {
            out += QStringLiteral("\\\r\n  ");
            column = 2;
        }
        out += QStringLiteral("%1").arg(static_cast<unsigned char>(bytes[i]), 2, 16, QLatin1Char('0'));
        if (!last)
            out += u',';
        column += 3;
    }
    return out;
}

QByteArray utf16le(const QString& text) {
    QByteArray bytes;
    bytes.reserve(text.size() * 2);
    for (const QChar c : text) {
        bytes.append(static_cast<char>(c.unicode() & 0xFF));
        bytes.append(static_cast<char>(c.unicode() >> 8));
    }
    return bytes;
}

QByteArray asBytes(const std::vector<std::uint8_t>& data) {
    return QByteArray(reinterpret_cast<const char*>(data.data()), static_cast<qsizetype>(data.size()));
}

// The bytes of a text value as the file writes them.
QByteArray textForFile(const std::vector<std::uint8_t>& data, Format format, const QString& where) {
    const QString text = QString::fromUtf8(asBytes(data));
    if (format == Format::Unicode)
        return utf16le(text);
    if (auto bytes = toWindows1252(text))
        return *bytes;
    throw FormatError(0, QStringLiteral("%1 has characters that REGEDIT4's code page (Windows-1252) "
                                        "cannot hold: write the file without --regedit4")
                             .arg(where));
}

QString valueLine(const Value& value, Format format, const QString& key) {
    const QString name = QString::fromUtf8(value.name.data(), static_cast<qsizetype>(value.name.size()));
    const QString where = key + QStringLiteral(" value ") + (value.name.empty() ? QStringLiteral("@") : quote(name));
    const QString start = (value.name.empty() ? QStringLiteral("@") : quote(name)) + u'=';
    switch (value.type) {
        case regtype::String: {
            // Quotes only for what reads back the same: text without zeros or line ends.
            const auto text = fromStrictUtf8(asBytes(value.data));
            if (text && !text->contains(QChar(0)) && !text->contains(u'\r') && !text->contains(u'\n') &&
                (format == Format::Unicode || toWindows1252(*text)))
                return start + quote(*text);
            return hexList(start + QStringLiteral("hex(1):"), textForFile(value.data, format, where));
        }
        case 2:
        case 7:
            return hexList(start + QStringLiteral("hex(%1):").arg(value.type), textForFile(value.data, format, where));
        case regtype::Dword:
            if (value.data.size() == 4) {
                const std::uint32_t number =
                    value.data[0] | (value.data[1] << 8) | (value.data[2] << 16) | (std::uint32_t(value.data[3]) << 24);
                return start + QStringLiteral("dword:%1").arg(number, 8, 16, QLatin1Char('0'));
            }
            break;
        case regtype::Binary:
            return hexList(start + QStringLiteral("hex:"), asBytes(value.data));
        default:
            break;
    }
    return hexList(start + QStringLiteral("hex(%1):").arg(value.type, 0, 16), asBytes(value.data));
}

}  // namespace

QString hiveName(Hive hive) {
    for (const Hives& h : kHives)
        if (h.hive == hive)
            return QLatin1String(h.name);
    return QString();
}

std::optional<std::pair<Hive, std::string>> splitKeyName(const QString& name) {
    const qsizetype slash = name.indexOf(u'\\');
    const QString hive = slash < 0 ? name : name.left(slash);
    const QString path = slash < 0 ? QString() : name.mid(slash + 1);
    for (const Hives& h : kHives) {
        if (hive.compare(QLatin1String(h.name), Qt::CaseInsensitive) != 0 &&
            hive.compare(QLatin1String(h.shortName), Qt::CaseInsensitive) != 0)
            continue;
        if (slash >= 0 && path.split(u'\\').contains(QString()))
            return std::nullopt;
        return std::make_pair(h.hive, path.toStdString());
    }
    return std::nullopt;
}

Document parse(const QByteArray& bytes) {
    const QStringList lines = splitLines(decodeFile(bytes));
    Document document;
    const QString header = lines.isEmpty() ? QString() : trimmedRight(lines.first());
    if (header == kUnicodeHeader)
        document.format = Format::Unicode;
    else if (header == kRegedit4Header)
        document.format = Format::Regedit4;
    else
        throw FormatError(1, QStringLiteral("not a registry file: it should start with \"%1\" or \"%2\"")
                                 .arg(kUnicodeHeader, kRegedit4Header));

    for (qsizetype i = 1; i < lines.size(); ++i) {
        const int number = static_cast<int>(i) + 1;
        const QString text = lines[i].trimmed();
        if (text.isEmpty() || text.startsWith(u';'))
            continue;
        if (text.startsWith(u'[')) {
            document.keys.push_back(parseKeyLine(lines[i], number));
        } else if (text.startsWith(u'"') || text.startsWith(u'@')) {
            if (document.keys.empty())
                throw FormatError(number, QStringLiteral("a value before the first key"));
            document.keys.back().values.push_back(ValueReader(lines, i, document.format).read());
        } else {
            throw FormatError(number, QStringLiteral("neither a key in [ ], a value nor a comment"));
        }
    }
    return document;
}

QByteArray write(const Document& document) {
    QString text = (document.format == Format::Unicode ? kUnicodeHeader : kRegedit4Header) + QStringLiteral("\r\n\r\n");
    for (const Key& key : document.keys) {
        QString name = hiveName(key.hive);
        if (!key.path.empty())
            name += u'\\' + QString::fromStdString(key.path);
        text += u'[' + name + QStringLiteral("]\r\n");
        for (const Value& value : key.values)
            text += valueLine(value, document.format, name) + QStringLiteral("\r\n");
        text += QStringLiteral("\r\n");
    }
    if (document.format == Format::Unicode)
        return QByteArray("\xFF\xFE", 2) + utf16le(text);
    if (auto bytes = toWindows1252(text))
        return *bytes;
    throw FormatError(0, QStringLiteral("a key or value name has characters that REGEDIT4's code page "
                                        "(Windows-1252) cannot hold: write the file without --regedit4"));
}

}  // namespace paramcor::tool::regfile
