// Reads the registry editor's files (RegFile.h), a piece at a time.
#include "regfile/RegFile.h"

#include "base/CodePage.h"

#include <QIODevice>
#include <QStringDecoder>
#include <QStringList>
#include <QStringTokenizer>

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

namespace paramcor::regfile {
namespace {

constexpr qsizetype kMaxKeyName = 256;  // characters, as the registry takes them
constexpr qsizetype kMaxValueName = 16383;

bool isText(std::uint32_t type) {
    return type == 1 || type == 2 || type == 7;  // REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ
}

bool isBlank(char32_t c) {
    return c == u' ' || c == u'\t';
}

bool isHexDigit(char32_t c) {
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

QString trimmedRight(const QString& text) {
    qsizetype end = text.size();
    while (end > 0 && isBlank(text.at(end - 1).unicode()))
        --end;
    return text.left(end);
}

// Longer lines of keys are refused rather than kept: deeper than the registry goes.
constexpr qsizetype kMaxKeyLine = 512 * (kMaxKeyName + 1) + 64;
constexpr qint64 kReadSize = 64 * 1024;
constexpr char32_t kEnd = 0xFFFFFFFF;

// The characters of a file, decoded a piece at a time. Every line end (CR LF, CR or
// LF) reads as one LF, and the number of the current line is kept.
class Source {
public:
    Source(QIODevice& device, qint64 maxBytes) : device_(device), maxBytes_(maxBytes) {
        const QByteArray start = device_.peek(3);
        if (start.startsWith("\xFF\xFE")) {
            encoding_ = Encoding::Utf16;
            device_.skip(2);
        } else if (start.startsWith("\xFE\xFF")) {
            throw FormatError(1,
                              QStringLiteral("the file is big-endian UTF-16, which regedit neither writes nor reads"));
        } else if (start.startsWith("\xEF\xBB\xBF")) {
            encoding_ = Encoding::Utf8;
            device_.skip(3);
        }
    }

    int line() const { return line_; }

    char32_t peek() {
        const char32_t c = rawPeek();
        return c == u'\r' ? u'\n' : c;
    }

    char32_t get() {
        char32_t c = rawPeek();
        if (c == kEnd) {
            if (highSurrogate_)
                loneSurrogate();
            return c;
        }
        ++pos_;
        if (c == u'\r') {
            if (rawPeek() == u'\n')
                ++pos_;
            c = u'\n';
        }
        // Text that is not UTF-16 would reach the store changed.
        if (QChar::isLowSurrogate(c) != highSurrogate_)
            loneSurrogate();
        highSurrogate_ = QChar::isHighSurrogate(c);
        if (c == u'\n')
            ++line_;
        return c;
    }

    void skipBlanks() {
        while (isBlank(peek()))
            get();
    }

    // Takes at once, up to `limit` characters, the run that get() would give one by
    // one before the next of `stops`, a line end, a surrogate or the end of what is
    // decoded: the bulk of a large file.
    void takePlain(QString& out, std::u16string_view stops, qsizetype limit) {
        if (highSurrogate_)
            return;
        const qsizetype start = pos_;
        const qsizetype end = limit < text_.size() - pos_ ? pos_ + std::max<qsizetype>(limit, 0) : text_.size();
        while (pos_ < end) {
            const char16_t c = text_.at(pos_).unicode();
            if (c == u'\n' || c == u'\r' || QChar::isSurrogate(c) || stops.find(c) != std::u16string_view::npos)
                break;
            ++pos_;
        }
        out.append(QStringView(text_).sliced(start, pos_ - start));
    }

    // The rest of the line, its end taken too; at most `keep` characters of it are
    // kept, and `cut` says whether there were more.
    QString restOfLine(qsizetype keep, bool* cut = nullptr) {
        QString text;
        takePlain(text, {}, keep);
        for (char32_t c = get(); c != u'\n' && c != kEnd; c = get()) {
            if (text.size() < keep)
                text += QChar(char16_t(c));
            else if (cut)
                *cut = true;
        }
        return text;
    }

private:
    enum class Encoding { EightBit, Utf8, Utf16 };

    [[noreturn]] void loneSurrogate() const {
        throw FormatError(line_, QStringLiteral("the text holds half of a UTF-16 surrogate pair, which is no "
                                                "character"));
    }

    char32_t rawPeek() {
        while (pos_ >= text_.size())
            if (!refill())
                return kEnd;
        return text_.at(pos_).unicode();
    }

    QByteArray read() {
        QByteArray block = device_.read(kReadSize);
        bytes_ += block.size();
        if (bytes_ > maxBytes_)
            throw FormatError(0, QStringLiteral("the file is larger than %1 bytes").arg(maxBytes_));
        return block;
    }

    bool refill() {
        text_.clear();
        pos_ = 0;
        if (encoding_ == Encoding::Utf16) {
            const QByteArray block = read();
            if (block.isEmpty()) {
                if (bytes_ % 2 != 0)
                    throw FormatError(
                        line_, QStringLiteral("the file is cut short: UTF-16 text cannot have an odd number of bytes"));
                return false;
            }
            text_ = utf16_.decode(block);
            return true;
        }
        // 8-bit text is decoded a line at a time, UTF-8 or Windows-1252 by line. A
        // line in plain ASCII reads the same either way: it is not held back whole.
        for (;;) {
            const QByteArray block = read();
            if (block.isEmpty()) {
                if (pending_.isEmpty())
                    return false;
                text_ = decodeLine(pending_);
                pending_.clear();
                return true;
            }
            qsizetype start = 0;
            for (qsizetype i = 0; i < block.size(); ++i) {
                const char byte = block.at(i);
                if (byte == '\0' && encoding_ == Encoding::EightBit)
                    throw FormatError(rawLine_, QStringLiteral("unexpected encoding: the file holds zero bytes, as "
                                                               "UTF-16 without its byte-order mark or binary data do"));
                if (byte == '\n' || byte == '\r') {
                    pending_ += QByteArrayView(block).sliced(start, i - start);
                    text_ += decodeLine(pending_);
                    text_ += QChar(char16_t(byte));
                    pending_.clear();
                    pendingAscii_ = true;
                    start = i + 1;
                    if (byte == '\r' || lastByte_ != '\r')
                        ++rawLine_;
                } else if (static_cast<unsigned char>(byte) >= 0x80) {
                    pendingAscii_ = false;
                }
                lastByte_ = byte;
            }
            pending_ += QByteArrayView(block).sliced(start);
            if (pendingAscii_) {
                text_ += QString::fromLatin1(pending_);
                pending_.clear();
            }
            if (!text_.isEmpty())
                return true;
        }
    }

    QString decodeLine(QByteArrayView bytes) const {
        if (encoding_ == Encoding::EightBit)
            return fromEightBit(bytes);
        if (auto text = fromStrictUtf8(bytes))
            return *text;
        throw FormatError(rawLine_, QStringLiteral("the file starts as UTF-8 but this line is not valid UTF-8"));
    }

    QIODevice& device_;
    qint64 maxBytes_;
    qint64 bytes_ = 0;
    Encoding encoding_ = Encoding::EightBit;
    QStringDecoder utf16_{QStringDecoder::Utf16LE};
    QByteArray pending_;
    QString text_;
    qsizetype pos_ = 0;
    int line_ = 1;
    // The line that 8-bit text is decoded at, ahead of line_, which is where reading is.
    int rawLine_ = 1;
    char lastByte_ = 0;
    bool pendingAscii_ = true;
    bool highSurrogate_ = false;
};

// The bytes of a long list, gathered in pieces and joined once at the end, so that
// a large value is never held more than twice.
class ByteCollector {
public:
    void add(std::uint8_t byte) {
        if (current_.size() == kPiece)
            pieces_.push_back(std::exchange(current_, {}));
        current_.push_back(byte);
    }

    std::vector<std::uint8_t> take() {
        if (pieces_.empty())
            return std::move(current_);
        std::vector<std::uint8_t> all;
        all.reserve(pieces_.size() * kPiece + current_.size());
        for (std::vector<std::uint8_t>& piece : pieces_) {
            all.insert(all.end(), piece.begin(), piece.end());
            std::vector<std::uint8_t>().swap(piece);
        }
        all.insert(all.end(), current_.begin(), current_.end());
        pieces_.clear();
        current_ = {};
        return all;
    }

private:
    static constexpr std::size_t kPiece = 1 << 20;
    std::vector<std::vector<std::uint8_t>> pieces_;
    std::vector<std::uint8_t> current_;
};

// Reads one value from its first character; the byte lists of "hex" values may go
// on over the following lines.
class ValueReader {
public:
    ValueReader(Source& source, Format format) : source_(source), format_(format), line_(source.line()) {}

    Value read() {
        Value value;
        if (source_.peek() == u'@') {
            source_.get();
        } else {
            const QString name = quoted(QStringLiteral("the name"));
            if (name.contains(QChar(0)))
                fail(QStringLiteral("the name holds a zero character, which no registry name can"));
            if (name.size() > kMaxValueName)
                fail(QStringLiteral("a value name is longer than %1 characters").arg(kMaxValueName));
            value.name = name.toStdString();
        }
        source_.skipBlanks();
        if (source_.peek() != u'=')
            fail(QStringLiteral("\"=\" should follow the value's name"));
        source_.get();
        source_.skipBlanks();
        const char32_t first = source_.peek();
        if (first == u'"') {
            const QByteArray text = quoted(QStringLiteral("the string")).toUtf8();
            value.type = regtype::String;
            value.data.assign(text.begin(), text.end());
            endOfLine();
            return value;
        }
        if (first == u'-') {
            source_.get();
            endOfLine();
            value.remove = true;
            return value;
        }
        QString word;
        while (word.size() < 6 && ((source_.peek() >= u'a' && source_.peek() <= u'z') ||
                                   (source_.peek() >= u'A' && source_.peek() <= u'Z')))
            word += QChar(char16_t(source_.get()));
        word = word.toLower();
        if (word == QLatin1String("dword") && source_.peek() == u':') {
            source_.get();
            QString digits;
            while (digits.size() <= 8 && isHexDigit(source_.peek()))
                digits += QChar(char16_t(source_.get()));
            if (digits.isEmpty() || digits.size() > 8)
                fail(QStringLiteral("a dword needs one to eight hex digits"));
            endOfLine();
            const std::uint32_t number = digits.toUInt(nullptr, 16);
            value.type = regtype::Dword;
            value.data = {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
                          static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
            return value;
        }
        if (word != QLatin1String("hex"))
            fail(QStringLiteral("the value should be a string in quotes, dword:, hex: or hex(N):"));
        value.type = regtype::Binary;
        if (source_.peek() == u'(') {
            source_.get();
            QString number;
            while (number.size() <= 8 && source_.peek() != u')' && source_.peek() != u'\n' && source_.peek() != kEnd)
                number += QChar(char16_t(source_.get()));
            bool ok = source_.peek() == u')' && !number.isEmpty() && number.size() <= 8;
            for (const QChar c : number)
                ok = ok && isHexDigit(c.unicode());
            if (!ok)
                fail(QStringLiteral("hex(N) needs a type of one to eight hex digits"));
            source_.get();
            value.type = number.toUInt(nullptr, 16);
        }
        if (source_.peek() != u':')
            fail(QStringLiteral("\":\" should follow \"hex\""));
        source_.get();
        value.data = byteList();
        if (isText(value.type))
            value.data = textFromFile(std::move(value.data), value.type);
        return value;
    }

private:
    [[noreturn]] void fail(const QString& message) const { throw FormatError(line_, message); }

    void endOfLine() {
        source_.skipBlanks();
        if (source_.peek() == kEnd)
            return;
        bool cut = false;
        const QString rest = trimmedRight(source_.restOfLine(40, &cut));
        if (!rest.isEmpty())
            fail(QStringLiteral("unexpected \"%1%2\" after the value")
                     .arg(rest, cut ? QStringLiteral("...") : QString()));
    }

    // A string in quotes, in which \\ stands for a backslash and \" for a quote.
    QString quoted(const QString& what) {
        if (source_.peek() != u'"')
            fail(QStringLiteral("%1 should be in quotes").arg(what));
        source_.get();
        QString out;
        for (;;) {
            source_.takePlain(out, u"\"\\", std::numeric_limits<qsizetype>::max());
            const char32_t c = source_.peek();
            if (c == u'\n' || c == kEnd)
                fail(QStringLiteral("%1 has no closing quote").arg(what));
            source_.get();
            if (c == u'"')
                return out;
            if (c == u'\\') {
                const char32_t next = source_.peek();
                if (next != u'\\' && next != u'"')
                    fail(QStringLiteral("%1 holds \"\\%2\": only \\\\ and \\\" may follow a backslash")
                             .arg(what, next == u'\n' || next == kEnd ? QString() : QString(QChar(char16_t(next)))));
                source_.get();
                out += QChar(char16_t(next));
                continue;
            }
            out += QChar(char16_t(c));
        }
    }

    // "00,ff,1a": one or two hex digits a byte. A line that ends with a backslash
    // goes on in the next one.
    std::vector<std::uint8_t> byteList() {
        ByteCollector bytes;
        QString token;
        bool tokenCut = false;
        int segmentLine = line_;
        // A byte, or nothing when it is the last of its line.
        auto takeToken = [&](bool last) {
            const QString text = token.trimmed();
            if (text.isEmpty()) {
                if (!last)
                    throw FormatError(segmentLine, QStringLiteral("a byte is missing between two commas"));
            } else if (tokenCut || text.size() > 2 || !isHexDigit(text.at(0).unicode()) ||
                       (text.size() == 2 && !isHexDigit(text.at(1).unicode()))) {
                throw FormatError(segmentLine, QStringLiteral("\"%1%2\" is not a byte in hex")
                                                   .arg(text, tokenCut ? QStringLiteral("...") : QString()));
            } else {
                bytes.add(static_cast<std::uint8_t>(text.toUInt(nullptr, 16)));
            }
            token.clear();
            tokenCut = false;
        };
        for (;;) {
            const char32_t c = source_.get();
            if (c == u'\n' || c == kEnd) {
                takeToken(true);
                return bytes.take();
            }
            if (c == u',') {
                takeToken(false);
                continue;
            }
            if (c == u'\\') {
                source_.skipBlanks();
                const char32_t next = source_.peek();
                if (next == u'\n' || next == kEnd) {
                    source_.get();
                    takeToken(true);
                    if (source_.peek() == kEnd)
                        fail(QStringLiteral("the list of bytes goes on past the end of the file"));
                    segmentLine = source_.line();
                    continue;
                }
            }
            if (token.size() < 16)
                token += QChar(char16_t(c));
            else
                tokenCut = true;
        }
    }

    // The bytes of a text value as the file holds them, as the store keeps them.
    std::vector<std::uint8_t> textFromFile(std::vector<std::uint8_t> bytes, std::uint32_t type) const {
        QString text;
        if (format_ == Format::Unicode) {
            if (bytes.size() % 2 != 0)
                fail(QStringLiteral("the hex(%1) text has an odd number of bytes, which UTF-16 text cannot have")
                         .arg(type));
            text.resize(static_cast<qsizetype>(bytes.size() / 2));
            for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
                text[static_cast<qsizetype>(i / 2)] = QChar(char16_t(bytes[i] | (bytes[i + 1] << 8)));
            std::vector<std::uint8_t>().swap(bytes);
            for (qsizetype i = 0; i < text.size(); ++i) {
                const bool paired =
                    text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
                if (paired)
                    ++i;
                else if (text.at(i).isSurrogate())
                    fail(QStringLiteral("the hex(%1) text holds half of a UTF-16 surrogate pair, which is no character")
                             .arg(type));
            }
        } else {
            text = fromEightBit(
                QByteArrayView(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())));
            std::vector<std::uint8_t>().swap(bytes);
        }
        const QByteArray utf8 = text.toUtf8();
        return {utf8.begin(), utf8.end()};
    }

    Source& source_;
    Format format_;
    int line_;
};
Key parseKeyLine(const QString& line, int number) {
    QString text = trimmedRight(line).trimmed();
    if (text.contains(QChar(0)))
        throw FormatError(number, QStringLiteral("the key's name holds a zero character, which no registry name can"));
    if (!text.endsWith(u']'))
        throw FormatError(number, QStringLiteral("a key's line should end with \"]\""));
    text = text.mid(1, text.size() - 2);
    const bool remove = text.startsWith(u'-');
    if (remove)
        text.remove(0, 1);
    const auto split = splitKeyName(text);
    if (!split) {
        const QString hive = text.section(u'\\', 0, 0);
        if (hive.isEmpty())
            throw FormatError(number, QStringLiteral("the key has no hive"));
        if (!splitKeyName(hive))
            throw FormatError(number, QStringLiteral("%1 is not a hive of this store (HKEY_CURRENT_USER, "
                                                     "HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT)")
                                          .arg(hive));
        throw FormatError(number, QStringLiteral("the key's path has an empty name in it"));
    }
    for (const QStringView name : qTokenize(QString::fromStdString(split->second), u'\\'))
        if (name.size() > kMaxKeyName)
            throw FormatError(number, QStringLiteral("a key name is longer than %1 characters").arg(kMaxKeyName));
    if (checkKeyPath(split->second) != regerr::Success)
        throw FormatError(number, QStringLiteral("the key is deeper than %1 levels or longer than %2 characters, "
                                                 "the registry's limits")
                                      .arg(reglimit::KeyDepth)
                                      .arg(reglimit::KeyPath));
    if (remove && split->second.empty())
        throw FormatError(number, QStringLiteral("a whole hive cannot be removed"));
    return Key{split->first, split->second, {}, remove};
}

}  // namespace

Document parse(QIODevice& device, qint64 maxBytes) {
    Source source(device, maxBytes);
    Document document;
    const QString unicode = headerLine(Format::Unicode);
    const QString regedit4 = headerLine(Format::Regedit4);
    const QString header = trimmedRight(source.restOfLine(unicode.size() + 1));
    if (header == unicode)
        document.format = Format::Unicode;
    else if (header == regedit4)
        document.format = Format::Regedit4;
    else
        throw FormatError(
            1, QStringLiteral("not a registry file: it should start with \"%1\" or \"%2\"").arg(unicode, regedit4));

    for (;;) {
        while (source.peek() != u'\n' && source.peek() != kEnd && QChar::isSpace(source.peek()))
            source.get();
        const char32_t first = source.peek();
        const int number = source.line();
        if (first == kEnd)
            break;
        if (first == u'\n' || first == u';') {
            source.restOfLine(0);
        } else if (first == u'[') {
            bool cut = false;
            const QString line = source.restOfLine(kMaxKeyLine, &cut);
            if (cut)
                throw FormatError(number,
                                  QStringLiteral("the key's line is longer than %1 characters").arg(kMaxKeyLine));
            document.keys.push_back(parseKeyLine(line, number));
        } else if (first == u'"' || first == u'@') {
            if (document.keys.empty())
                throw FormatError(number, QStringLiteral("a value before the first key"));
            if (document.keys.back().remove)
                throw FormatError(number, QStringLiteral("a value in a key that is being removed"));
            document.keys.back().values.push_back(ValueReader(source, document.format).read());
        } else {
            throw FormatError(number, QStringLiteral("neither a key in [ ], a value nor a comment"));
        }
    }
    return document;
}

}  // namespace paramcor::regfile
