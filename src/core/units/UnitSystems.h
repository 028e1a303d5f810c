// The three unit systems of the suite and their defaults, and the layout of the
// values kept in the unit settings rows: a symbol of four characters, blank-padded,
// then the conversion factor or the currency name ("m   1000", "$   USD").
#pragma once

#include <QString>

#include <array>

namespace paramcor::units {

// The unit settings rows, in the order readers rely on (ORDER BY Progressivo).
enum Row { System, Currency, Linear, Area, Volume, kRows };
inline constexpr std::array<const char16_t*, kRows> kRowKeys{u"01_SYS", u"02_VAL", u"03_LIN", u"04_SUP", u"05_VOL"};

struct Measure {
    const char16_t* symbol;
    const char16_t* factor;  // internal unit per shown unit
};

struct UnitSystem {
    const char16_t* currencySymbol;
    const char16_t* currencyName;
    // Linear, area and volume; the volume row's symbol names the weight it gives.
    std::array<Measure, 3> measures;
};

// Metric decimal (0), Anglo-Saxon (1) and United States (2): the code of a
// system is its index. Internal quantities are in millimetres or inches.
inline constexpr std::array<UnitSystem, 3> kUnitSystems{{
    {u"€", u"EURO", {{{u"m", u"1000"}, {u"m²", u"1000000"}, {u"kg", u"1000000"}}}},
    {u"£", u"POUND", {{{u"ft", u"12"}, {u"ft²", u"144"}, {u"lb", u"1728"}}}},
    {u"$", u"USD", {{{u"ft", u"12"}, {u"ft²", u"144"}, {u"lb", u"1728"}}}},
}};

inline constexpr int kSymbolWidth = 4;

// The value of a row: the symbol cut or padded to four characters, then the rest.
inline QString unitValue(const QString& symbol, const QString& rest) {
    return (symbol + QString(kSymbolWidth, u' ')).left(kSymbolWidth) + rest;
}

// The symbol of a value (characters 1 to 4) and what follows it, both trimmed.
inline QString valueSymbol(const QString& value) {
    return value.left(kSymbolWidth).trimmed();
}
inline QString valueRest(const QString& value) {
    return value.mid(kSymbolWidth).trimmed();
}

}  // namespace paramcor::units
