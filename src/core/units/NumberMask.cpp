#include "units/NumberMask.h"

#include <QStringList>

#include <cmath>
#include <stdexcept>

namespace paramcor::units {

NumberMask parseNumberMask(const QString& mask) {
    const QStringList parts = mask.split(u'.');
    bool ok[3] = {false, false, false};
    if (parts.size() == 3) {
        const NumberMask parsed{parts[0].toInt(&ok[0]), parts[1].toInt(&ok[1]), parts[2].toInt(&ok[2])};
        if (ok[0] && ok[1] && ok[2] && parsed.width > 0 && parsed.decimals >= 0 && parsed.decimals <= 9 &&
            parsed.ungroupedDigits >= 0)
            return parsed;
    }
    throw std::invalid_argument("not a number mask: " + mask.toStdString());
}

QString formatNumber(double value, const NumberMask& mask, QChar decimal, QChar thousands) {
    const QString overflow(mask.width, u'*');
    const double scale = std::pow(10.0, mask.decimals);
    const double scaled = std::round(std::fabs(value) * scale);  // halves away from zero
    if (!std::isfinite(scaled) || scaled >= 9.0e15)
        return overflow;
    const auto units = static_cast<qint64>(scaled);
    const auto whole = units / static_cast<qint64>(scale);
    QString fraction =
        QStringLiteral("%1").arg(units % static_cast<qint64>(scale), mask.decimals, 10, QLatin1Char('0'));
    while (fraction.endsWith(u'0'))
        fraction.chop(1);

    QString digits = QString::number(whole);
    if (digits.size() > mask.ungroupedDigits)
        for (qsizetype at = digits.size() - 3; at > 0; at -= 3)
            digits.insert(at, thousands);

    QString text = (units != 0 && value < 0 ? QStringLiteral("-") : QString()) + digits;
    if (!fraction.isEmpty())
        text += decimal + fraction;
    if (text.size() > mask.width)
        return overflow;
    return text.rightJustified(mask.width, u' ');
}

QString formatNumber(double value, const QString& mask, QChar decimal, QChar thousands) {
    return formatNumber(value, parseNumberMask(mask), decimal, thousands);
}

}  // namespace paramcor::units
