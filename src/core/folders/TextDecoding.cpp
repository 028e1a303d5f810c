#include "folders/TextDecoding.h"

#include "base/CodePage.h"

namespace paramcor {

QString decodeHandEditedText(const QByteArray& bytes) {
    QByteArrayView view(bytes);
    if (view.startsWith("\xEF\xBB\xBF"))
        view = view.sliced(3);
    return fromEightBit(view);
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
