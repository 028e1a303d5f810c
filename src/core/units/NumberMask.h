// The fixed-width number format of the units dialog's example lines.
//
// A mask "W.D.G" reads: a field W characters wide, at most D decimals, and
// thousands grouped only in numbers of more than G integer digits. The mask of
// the example quotients, "12.3.4":
//
//   - the number is rounded to three decimals, halves away from zero, and the
//     trailing zeros of the decimals are dropped, with the decimal separator
//     when none is left: 15 -> "15", 5.5 -> "5.5", 3.2 -> "3.2", 1/3 -> "0.333";
//   - the integer part is grouped by thousands only from five digits on, so
//     that four-digit numbers read as they are typed: 1440 -> "1440",
//     12500 -> "12,500" (with the full stop as decimal separator);
//   - the result is right-aligned in twelve characters; a number that needs more
//     shows as twelve asterisks, so that a line never grows past its column.
//
// The decimal separator is the workstation's; the thousands separator is the
// other of comma and full stop.
#pragma once

#include <QString>

namespace paramcor::units {

struct NumberMask {
    int width;
    int decimals;
    int ungroupedDigits;
};

// "12.3.4" -> {12, 3, 4}. Throws std::invalid_argument on another shape.
NumberMask parseNumberMask(const QString& mask);

QString formatNumber(double value, const NumberMask& mask, QChar decimal, QChar thousands);
QString formatNumber(double value, const QString& mask, QChar decimal, QChar thousands);

}  // namespace paramcor::units
