// The unit settings as the units window edits them: the rows of the text database
// in the user's language, the currencies of every language, the defaults of the
// three unit systems, the checks before saving and the worked examples that show
// what the conversion factors do.
#pragma once

#include "base/SqlDatabase.h"
#include "units/UnitSystems.h"

#include <QStringList>

#include <array>
#include <functional>
#include <optional>
#include <vector>

namespace paramcor::units {

// Translates an Italian wording into the user's language.
using Translate = std::function<QString(const QString&)>;

// What the units window's boxes hold.
struct UnitEntries {
    int system = 0;
    QString currency;                // an entry of the currency list, "$   = USD"
    std::array<QString, 3> symbols;  // length, area, volume
    std::array<QString, 3> factors;  // as typed
};

// The currency list's entry for a symbol and a name: "$   = USD".
QString currencyEntry(const QString& symbol, const QString& name);

// A factor as typed: digits with the workstation's decimal separator; blanks,
// which the boxes let through, are ignored. Anything else is not a number.
std::optional<double> factorValue(const QString& text, QChar decimal);

// Whether a box refuses a typed character: no box takes an apostrophe or a bar,
// and a factor box takes only digits, blanks and the decimal separator.
bool refusesCharacter(bool factorBox, QChar typed, QChar decimal);

// The symbols and factors of a system's defaults, and its currency's entry.
// Throws std::out_of_range for a system that does not exist.
UnitEntries systemDefaults(int system);

// The Italian wording of what must be filled in before saving: a factor that is
// zero or no number, then a symbol, then the currency. Empty when nothing is missing.
QString missingEntry(const UnitEntries& entries, QChar decimal);

// The four lines of the example that a system's defaults show.
std::array<QString, 4> defaultExamples(int system, const Translate& tr);

// Example lines 1 to 3 worked out with the entries' factors and symbols. Throws
// std::invalid_argument for a factor that is not a number, std::domain_error for zero.
std::array<QString, 3> workedExamples(const UnitEntries& entries, QChar decimal, const Translate& tr);

// The values of the rows System to Volume that the entries stand for.
std::array<QString, kRows> rowValues(const UnitEntries& entries);

// The unit settings rows of one text database, seen in one language. Database
// failures reach the caller as TextDatabaseError.
class UnitSettings {
public:
    UnitSettings(const QString& database, short language);

    short language() const { return language_; }

    // The stored values in the user's language, row by row in key order; a row
    // without a value gives an empty one. Throws std::out_of_range beyond 11 rows.
    const std::vector<QString>& values() const { return values_; }

    // The currency list: an entry for each currency of the fifteen languages,
    // once, in language order.
    QStringList currencyList();

    // The user's language's currency, trimmed and upper-cased; empty when none.
    QString currency();

    // Stores the five rows' new values, in every language or in the user's only;
    // any further rows are written back with the values they had.
    void save(const std::array<QString, kRows>& rows, bool everyLanguage);

    // Stores a currency defined anew as the user's language's.
    void saveCurrency(const QString& symbol, const QString& name);

private:
    // Per language; no value where the column is empty.
    std::array<std::optional<QString>, 15> currencies();

    SqlDatabase db_;
    short language_;
    std::vector<QString> values_;
};

}  // namespace paramcor::units
