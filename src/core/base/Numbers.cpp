#include "base/Numbers.h"

#include <cmath>

namespace paramcor {

double leadingNumber(const QString& text) {
    QString compact = text;
    compact.remove(u' ').remove(u'\t').remove(u'\n').remove(u'\r');
    qsizetype end = 0;
    const qsizetype size = compact.size();
    auto isSign = [&](qsizetype i) { return i < size && (compact.at(i) == u'+' || compact.at(i) == u'-'); };
    auto digits = [&] {
        while (end < size && compact.at(end) >= u'0' && compact.at(end) <= u'9')
            ++end;
    };
    if (isSign(end))
        ++end;
    digits();
    if (end < size && compact.at(end) == u'.') {
        ++end;
        digits();
    }
    if (end < size && QStringLiteral("eEdD").contains(compact.at(end))) {
        const qsizetype mark = end++;
        if (isSign(end))
            ++end;
        const qsizetype exponentStart = end;
        digits();
        if (end == exponentStart)
            end = mark;  // an "e" without digits is not an exponent
    }
    QString number = compact.left(end);
    number.replace(u'd', u'e').replace(u'D', u'e');
    bool ok = false;
    const double value = number.toDouble(&ok);
    return ok && std::isfinite(value) ? value : 0.0;
}

double roundHalfEven(double value) {
    return std::nearbyint(value);
}

}  // namespace paramcor
