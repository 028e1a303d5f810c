// Numbers in text as the suite's files and settings have always been read.
#pragma once

#include <QString>

namespace paramcor {

// The number a text starts with: blanks anywhere are ignored, then an optional
// sign, digits, a decimal point and an exponent; no number gives 0.
double leadingNumber(const QString& text);

// Rounded to an integer with halves going to the even neighbour.
double roundHalfEven(double value);

}  // namespace paramcor
