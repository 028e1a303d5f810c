#include "base/CodePage.h"

#include <QStringDecoder>

namespace paramcor {
namespace {

// Windows-1252 differs from Latin-1 only in 0x80..0x9F; its five unused bytes keep
// their Latin-1 code points.
constexpr char16_t kHigh[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

}  // namespace

QString fromWindows1252(QByteArrayView bytes) {
    QString text(bytes.size(), Qt::Uninitialized);
    QChar* out = text.data();
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        *out++ = QChar(byte >= 0x80 && byte < 0xA0 ? kHigh[byte - 0x80] : char16_t(byte));
    }
    return text;
}

std::optional<QByteArray> toWindows1252(const QString& text) {
    QByteArray bytes;
    bytes.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x80 || (u >= 0xA0 && u <= 0xFF)) {
            bytes.append(static_cast<char>(u));
            continue;
        }
        int found = -1;
        for (int i = 0; i < 32 && found < 0; ++i)
            if (kHigh[i] == u)
                found = i;
        if (found < 0)
            return std::nullopt;
        bytes.append(static_cast<char>(0x80 + found));
    }
    return bytes;
}

std::optional<QString> fromStrictUtf8(QByteArrayView bytes) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError())
        return std::nullopt;
    return text;
}

QString fromEightBit(QByteArrayView bytes) {
    if (auto text = fromStrictUtf8(bytes))
        return *text;
    return fromWindows1252(bytes);
}

}  // namespace paramcor
