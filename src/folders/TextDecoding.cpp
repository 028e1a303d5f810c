#include "folders/TextDecoding.h"

#include <QStringDecoder>

namespace paramcor {
namespace {

// Windows-1252 differs from Latin-1 only in 0x80..0x9F; the five unused bytes
// keep their Latin-1 code points.
constexpr char16_t kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

QString decodeWindows1252(QByteArrayView bytes) {
    QString text(bytes.size(), Qt::Uninitialized);
    QChar* out = text.data();
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        *out++ = QChar(byte >= 0x80 && byte < 0xA0 ? kWindows1252High[byte - 0x80] : char16_t(byte));
    }
    return text;
}

}  // namespace

QString decodeHandEditedText(const QByteArray& bytes) {
    QByteArrayView view(bytes);
    if (view.startsWith("\xEF\xBB\xBF"))
        view = view.sliced(3);
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(view);
    if (!utf8.hasError())
        return text;
    return decodeWindows1252(view);
}

QStringList splitLines(const QString& text) {
    QStringList lines;
    qsizetype start = 0;
    const qsizetype size = text.size();
    for (qsizetype i = 0; i < size; ++i) {
        const QChar c = text.at(i);
        if (c != u'\n' && c != u'\r')
            continue;
        lines.append(text.sliced(start, i - start));
        if (c == u'\r' && i + 1 < size && text.at(i + 1) == u'\n')
            ++i;
        start = i + 1;
    }
    if (start < size)
        lines.append(text.sliced(start));
    return lines;
}

}  // namespace paramcor
