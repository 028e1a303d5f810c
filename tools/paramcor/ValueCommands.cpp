// valore leggi, valore scrivi: typed parameters through Parametri, so that the tool
// reads and writes them exactly as the programs of the suite do.
#include "Commands.h"
#include "Session.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace paramcor::tool {
namespace {

enum class Type { Integer, Long, Single, Double, String, Boolean };

struct TypeName {
    Type type;
    const char* name;
};

constexpr TypeName kTypes[] = {
    {Type::Integer, "Integer"}, {Type::Long, "Long"},     {Type::Single, "Single"},
    {Type::Double, "Double"},   {Type::String, "String"}, {Type::Boolean, "Boolean"},
};

Type parseType(const QString& text) {
    for (const TypeName& t : kTypes)
        if (text.compare(QLatin1String(t.name), Qt::CaseInsensitive) == 0)
            return t.type;
    throw UsageError(QStringLiteral("unknown type \"%1\": Integer, Long, Single, Double, String or Boolean").arg(text));
}

QString typeName(Type type) {
    for (const TypeName& t : kTypes)
        if (t.type == type)
            return QLatin1String(t.name);
    return QString();
}

QVariant zero(Type type) {
    switch (type) {
        case Type::Integer:
            return Integer(0);
        case Type::Long:
            return Long(0);
        case Type::Single:
            return Single(0);
        case Type::Double:
            return Double(0);
        case Type::String:
            return String(QString());
        case Type::Boolean:
            return Boolean(false);
    }
    return QVariant();
}

// A number as C writes it: a point for decimals, no thousands separators.
template <class Number>
bool parseNumber(const QString& text, Number& value) {
    const QByteArray bytes = text.toLatin1();
    const char* begin = bytes.constData();
    const char* end = begin + bytes.size();
    if (begin != end && *begin == '+')
        ++begin;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || stop != end || begin == end)
        return false;
    if constexpr (std::is_floating_point_v<Number>)
        return std::isfinite(value);
    return true;
}

QVariant parseValue(Type type, const QString& text) {
    const auto refuse = [&](const char* what) -> QVariant {
        throw UsageError(QStringLiteral("\"%1\" is not %2").arg(text, QLatin1String(what)));
    };
    switch (type) {
        case Type::Integer: {
            short value = 0;
            return parseNumber(text, value) ? Integer(value)
                                            : refuse("an Integer (a whole number from -32768 to 32767)");
        }
        case Type::Long: {
            int value = 0;
            return parseNumber(text, value) ? Long(value)
                                            : refuse("a Long (a whole number from -2147483648 to 2147483647)");
        }
        case Type::Single: {
            float value = 0;
            return parseNumber(text, value) ? Single(value) : refuse("a Single (a number with a point for decimals)");
        }
        case Type::Double: {
            double value = 0;
            return parseNumber(text, value) ? Double(value) : refuse("a Double (a number with a point for decimals)");
        }
        case Type::String:
            return String(text);
        case Type::Boolean:
            if (text.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0 || text == QLatin1String("1"))
                return Boolean(true);
            if (text.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0 || text == QLatin1String("0"))
                return Boolean(false);
            return refuse("a Boolean (True or False)");
    }
    return QVariant();
}

template <class Number>
QString shortest(Number value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return QString::fromLatin1(buffer, static_cast<qsizetype>(result.ptr - buffer));
}

QString format(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::Short:
            return QString::number(value.value<short>());
        case QMetaType::Int:
            return QString::number(value.toInt());
        case QMetaType::Float:
            return shortest(value.toFloat());
        case QMetaType::Double:
            return shortest(value.toDouble());
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("True") : QStringLiteral("False");
        default:
            return value.toString();
    }
}

struct Place {
    bool machine;
    QString program;
    QString section;
};

Place placeOf(const Arguments& arguments, const QString& program) {
    return {arguments.has(QStringLiteral("macchina")), program, arguments.value(QStringLiteral("sezione"))};
}

void select(Parametri& par, const Place& place) {
    if (place.machine)
        par.LocalMachine();
    else
        par.CurrentUser();
    par.Programma(place.program);
    if (!place.section.isEmpty())
        par.Sezione(place.section);
}

QString keyName(Parametri& par, const Place& place) {
    QString key =
        (place.machine ? QStringLiteral("HKEY_LOCAL_MACHINE\\") : QStringLiteral("HKEY_CURRENT_USER\\")) + par.RadReg();
    if (!place.program.isEmpty())
        key += u'\\' + place.program;
    if (!place.section.isEmpty())
        key += u'\\' + place.section;
    return key;
}

}  // namespace

int readValue(Session& session, const Arguments& arguments, const QStringList& operands) {
    const Type type = parseType(operands[2]);
    const QVariant fallback = operands.size() > 3 ? parseValue(type, operands[3]) : zero(type);
    Parametri& par = session.parametri();
    const Place place = placeOf(arguments, operands[0]);
    select(par, place);
    const int mark = session.errors();
    const QVariant value = par.LeggiParametro(operands[1], fallback);
    session.throwIfReportedSince(mark);
    if (!value.isValid())
        throw Failure(
            QStringLiteral("%1: %2 cannot be read as %3").arg(keyName(par, place), operands[1], typeName(type)));
    printLine(format(value));
    return 0;
}

int writeValue(Session& session, const Arguments& arguments, const QStringList& operands) {
    const Type type = parseType(operands[2]);
    const QVariant value = parseValue(type, operands[3]);
    Parametri& par = session.parametri();
    const Place place = placeOf(arguments, operands[0]);
    select(par, place);

    // The library drops a write the store refuses without a word, as the registry
    // does for a user without rights: say it here.
    const QString key = keyName(par, place);
    KeyHandle handle = 0;
    const Hive hive = place.machine ? Hive::LocalMachine : Hive::CurrentUser;
    const long opened = session.store().createKey(hive, key.section(u'\\', 1).toStdString(), &handle);
    if (opened != regerr::Success)
        throw Failure(QStringLiteral("%1 cannot be written (error %2)").arg(key).arg(opened));
    session.store().closeKey(handle);

    const int mark = session.errors();
    par.ScriviParametro(operands[1], value);
    session.throwIfReportedSince(mark);
    printLine(QStringLiteral("%1: %2 = %3 (%4)").arg(key, operands[1], format(value), typeName(type)));
    return 0;
}

}  // namespace paramcor::tool
