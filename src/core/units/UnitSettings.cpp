#include "units/UnitSettings.h"

#include "texts/TextTable.h"
#include "units/NumberMask.h"

#include <QRegularExpression>

#include <stdexcept>

namespace paramcor::units {
namespace {

const QString kExampleMask = QStringLiteral("12.3.4");
// The rows a window keeps; more than these and it refuses the database.
constexpr std::size_t kMaxRows = 11;

QString mm(const char* text) {
    return QString::fromUtf8(text);
}

}  // namespace

QString currencyEntry(const QString& symbol, const QString& name) {
    return unitValue(symbol, QString()).toUpper() + QStringLiteral("= ") + name.toUpper();
}

std::optional<double> factorValue(const QString& text, QChar decimal) {
    QString number = text;
    number.remove(u' ');
    if (decimal != u'.') {
        if (number.contains(u'.'))
            return std::nullopt;
        number.replace(decimal, u'.');
    }
    static const QRegularExpression shape(QStringLiteral("^[+-]?([0-9]+[.]?[0-9]*|[.][0-9]+)$"));
    if (!shape.match(number).hasMatch())
        return std::nullopt;
    return number.toDouble();
}

bool refusesCharacter(bool factorBox, QChar c, QChar decimal) {
    if (c == u'\'' || c == u'|')
        return true;
    if (c == u'\b' || c == u' ' || !factorBox)
        return false;
    return !((c >= u'0' && c <= u'9') || c == decimal);
}

UnitEntries systemDefaults(int system) {
    if (system < 0 || system >= static_cast<int>(kUnitSystems.size()))
        throw std::out_of_range("no such unit system: " + std::to_string(system));
    const UnitSystem& defaults = kUnitSystems[system];
    UnitEntries entries;
    entries.system = system;
    entries.currency =
        currencyEntry(QString::fromUtf16(defaults.currencySymbol), QString::fromUtf16(defaults.currencyName));
    for (int m = 0; m < 3; ++m) {
        entries.symbols[m] = QString::fromUtf16(defaults.measures[m].symbol);
        entries.factors[m] = QString::fromUtf16(defaults.measures[m].factor);
    }
    return entries;
}

QString missingEntry(const UnitEntries& entries, QChar decimal) {
    for (const QString& factor : entries.factors)
        if (factorValue(factor, decimal).value_or(0.0) == 0)
            return QStringLiteral("Fattore di Conversione");
    for (const QString& symbol : entries.symbols)
        if (symbol.trimmed().isEmpty())
            return QStringLiteral("Simbolo");
    if (entries.currency.trimmed().isEmpty())
        return QStringLiteral("Valuta");
    return QString();
}

std::array<QString, 4> defaultExamples(int system, const Translate& tr) {
    const UnitEntries defaults = systemDefaults(system);
    const QString typing = tr(QStringLiteral("Digitazione misure")) + QStringLiteral("  --> ");
    const QString weight = tr(QStringLiteral("Peso Specifico"));
    if (system == 0)
        return {typing + tr(QStringLiteral("millimetri")), QStringLiteral("    3.200 mm  ==>     3.200/1.000     = 3,20 m  "),
                mm("6.500.000 mm² ==> 6.500.000/1.000.000 = 6,50 m² "),
                mm("2.000.000 mm³ ==> 2.000.000/1.000.000 = 2,00 dm³ * ") + weight + QStringLiteral(" = ") +
                    tr(QStringLiteral("kg"))};
    const QString inches = tr(QStringLiteral("pollici"));
    return {typing + inches,
            QStringLiteral("   180 ") + inches + QStringLiteral("   ==>      180/12      = 15  ") + defaults.symbols[0],
            QStringLiteral(" 1,440 ") + inches + mm("²  ==>    1,440/144     = 10  ") + defaults.symbols[1],
            QStringLiteral(" 9,504 ") + inches + mm("³  ==>    9,504/1,728   = 5.5 ") + tr(QStringLiteral("piedi")) +
                mm("³ * ") + weight + QStringLiteral(" = ") + tr(QStringLiteral("peso"))};
}

std::array<QString, 3> workedExamples(const UnitEntries& entries, QChar decimal, const Translate& tr) {
    const QChar thousands = decimal == u',' ? u'.' : u',';
    auto factor = [&](int m) { return entries.factors[m].trimmed(); };
    auto symbol = [&](int m) { return entries.symbols[m].trimmed(); };
    auto quotient = [&](double sample, int m) {
        const std::optional<double> value = factorValue(entries.factors[m], decimal);
        if (!value)
            throw std::invalid_argument("the conversion factor \"" + entries.factors[m].toStdString() +
                                        "\" is not a number");
        if (*value == 0)
            throw std::domain_error("a conversion factor of zero");
        return formatNumber(sample / *value, kExampleMask, decimal, thousands).trimmed();
    };
    const QString weight = tr(QStringLiteral("Peso Specifico"));
    if (entries.system == 0)
        return {QStringLiteral("    3.200 mm  ==>     3.200/") + factor(0) + QStringLiteral("    = ") +
                    quotient(3200, 0) + u' ' + symbol(0),
                mm("6.500.000 mm² ==> 6.500.000/") + factor(1) + QStringLiteral(" = ") + quotient(6500000, 1) + u' ' +
                    symbol(1),
                mm("2.000.000 mm³ ==> 2.000.000/") + factor(2) + QStringLiteral("  = (") + quotient(2000000, 2) +
                    QStringLiteral(") * ") + weight + QStringLiteral("= ") + symbol(2)};
    const QString inches = tr(QStringLiteral("pollici"));
    return {QStringLiteral("   180 ") + inches + QStringLiteral("   ==>       180/") + factor(0) +
                QStringLiteral("     = ") + quotient(180, 0) + u' ' + symbol(0),
            QStringLiteral(" 1,440 ") + inches + mm("²  ==>     1,440/") + factor(1) + QStringLiteral("    = ") +
                quotient(1440, 1) + u' ' + symbol(1),
            QStringLiteral(" 9,504 ") + inches + mm("³  ==>     9,504/") + factor(2) + QStringLiteral("   = ") +
                quotient(9504, 2) + QStringLiteral(") * ") + weight + QStringLiteral("= ") + symbol(2)};
}

std::array<QString, kRows> rowValues(const UnitEntries& entries) {
    std::array<QString, kRows> rows;
    rows[System] = QString::number(entries.system);
    rows[Currency] = entries.currency.left(kSymbolWidth) + entries.currency.mid(kSymbolWidth + 2);
    for (int m = 0; m < 3; ++m)
        rows[Linear + m] = unitValue(entries.symbols[m], entries.factors[m]);
    return rows;
}

UnitSettings::UnitSettings(const QString& database, short language)
    : db_(database, SqlDatabase::Mode::ReadWrite), language_(language) {
    SqlStatement rows = db_.prepare(("SELECT " + texts::languageColumn(language_) +
                                     " FROM Testi WHERE Programma = 'PARAM' ORDER BY Progressivo")
                                        .toUtf8());
    while (rows.step()) {
        if (values_.size() >= kMaxRows)
            throw std::out_of_range("more unit settings rows than the units window knows");
        values_.push_back(rows.isNull(0) ? QString() : rows.text(0));
    }
}

std::array<std::optional<QString>, 15> UnitSettings::currencies() {
    QStringList columns;
    for (int n = 1; n <= texts::kLanguages; ++n)
        columns << texts::languageColumn(n);
    SqlStatement row = db_.prepare(
        ("SELECT " + columns.join(", ") + " FROM Testi WHERE Programma = 'PARAM' AND Progressivo = '02_VAL'").toUtf8());
    std::array<std::optional<QString>, 15> found;
    if (row.step())
        for (int n = 0; n < texts::kLanguages; ++n)
            if (!row.isNull(n))
                found[n] = row.text(n).trimmed().toUpper();
    return found;
}

QStringList UnitSettings::currencyList() {
    QStringList list;
    for (const std::optional<QString>& value : currencies()) {
        if (!value)
            continue;
        // An entry stands for a value when it reads as the value once its "= " is taken out.
        bool listed = false;
        for (const QString& entry : list)
            listed = listed || entry.left(kSymbolWidth) + entry.mid(kSymbolWidth + 2) == *value;
        if (!listed)
            list << value->left(kSymbolWidth) + QStringLiteral("= ") + value->mid(kSymbolWidth);
    }
    return list;
}

QString UnitSettings::currency() {
    if (language_ < 1 || language_ > texts::kLanguages)
        throw std::out_of_range("no currency for language " + std::to_string(language_));
    return currencies()[language_ - 1].value_or(QString());
}

void UnitSettings::save(const std::array<QString, kRows>& rows, bool everyLanguage) {
    std::array<QString, kMaxRows> values;
    std::copy(values_.begin(), values_.end(), values.begin());
    std::copy(rows.begin(), rows.end(), values.begin());

    std::vector<qint64> ids;
    {
        SqlStatement select = db_.prepare("SELECT rowid FROM Testi WHERE Programma = 'PARAM' ORDER BY Progressivo");
        while (select.step())
            ids.push_back(select.integer(0));
    }
    QString columns;
    for (int n = 1; n <= texts::kLanguages; ++n)
        if (everyLanguage || n == language_)
            columns += texts::languageColumn(n) + QStringLiteral(" = ?1, ");
    SqlStatement update = db_.prepare(
        ("UPDATE Testi SET " + columns + "DataModifica = ?2, Commento = ' ', ChiaviRicerca = ' ' WHERE rowid = ?3")
            .toUtf8());
    const QString changedOn = texts::today();
    for (std::size_t k = 0; k < ids.size(); ++k) {
        if (k >= values.size())
            throw std::out_of_range("more unit settings rows than the units window knows");
        update.bind(1, values[k]).bind(2, changedOn).bind(3, ids[k]).run();
    }
}

void UnitSettings::saveCurrency(const QString& symbol, const QString& name) {
    SqlStatement row = db_.prepare("SELECT rowid FROM Testi WHERE Programma = 'PARAM' AND Progressivo = '02_VAL'");
    if (!row.step())
        return;
    const qint64 rowid = row.integer(0);
    row.reset();
    db_.prepare(("UPDATE Testi SET " + texts::languageColumn(language_) +
                 " = ?1, DataModifica = ?2, Commento = ' ', ChiaviRicerca = ' ' WHERE rowid = ?3")
                    .toUtf8())
        .bind(1, unitValue(symbol, name))
        .bind(2, texts::today())
        .bind(3, rowid)
        .run();
}

}  // namespace paramcor::units
