// valore leggi, valore scrivi: typed parameters through Parametri, so that the tool
// reads and writes them exactly as the programs of the suite do.
#include "Commands.h"
#include "RegistryValues.h"
#include "Session.h"
#include "Wording.h"

#include <QJsonObject>

#include <charconv>
#include <cstring>
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

template <class Number>
Number little(const std::vector<std::uint8_t>& data) {
    Number value{};
    std::memcpy(&value, data.data(), sizeof value);
    return value;
}

// The value as `type`, when it is stored as the suite stores that type; invalid
// otherwise.
QVariant decode(Type type, std::uint32_t stored, const std::vector<std::uint8_t>& data) {
    const auto is = [&](std::uint32_t wanted, std::size_t size) { return stored == wanted && data.size() == size; };
    switch (type) {
        case Type::Integer:
            return is(regtype::Binary, 2) ? Integer(little<short>(data)) : QVariant();
        case Type::Long:
            return is(regtype::Dword, 4) ? Long(little<int>(data)) : QVariant();
        case Type::Single:
            return is(regtype::Dword, 4) ? Single(little<float>(data)) : QVariant();
        case Type::Double:
            return is(regtype::Binary, 8) ? Double(little<double>(data)) : QVariant();
        case Type::String:
            return stored == regtype::String ? String(storedText(data)) : QVariant();
        case Type::Boolean:
            return is(regtype::Binary, 1) ? Boolean(data[0] != 0) : QVariant();
    }
    return QVariant();
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
    const bool raw = arguments.has(QStringLiteral("grezzo"));
    const bool json = arguments.has(QStringLiteral("json"));
    if (operands.size() < 3 && !raw)
        throw UsageError(QStringLiteral("missing TIPO (only --grezzo reads without it)"));
    const bool typed = operands.size() > 2;
    const Type type = typed ? parseType(operands[2]) : Type::String;
    QVariant fallback;
    if (arguments.has(QStringLiteral("predefinito"))) {
        if (!typed)
            throw UsageError(QStringLiteral("--predefinito needs TIPO"));
        fallback = parseValue(type, arguments.value(QStringLiteral("predefinito")));
    }

    // Straight from the store: the library's read would store a missing default and
    // read a Double by halves.
    session.forbidWrites();
    Parametri& par = session.parametri();
    const Place place = placeOf(arguments, operands[0]);
    const QString key = keyName(par, place);
    const QString& name = operands[1];
    RegistryStore& store = session.baseStore();
    std::uint32_t storedType = 0;
    std::vector<std::uint8_t> data;
    StoreKey stored(store);
    long rc = stored.open(place.machine ? Hive::LocalMachine : Hive::CurrentUser, key.section(u'\\', 1).toStdString());
    if (rc == regerr::Success) {
        std::uint32_t size = 0;
        rc = store.queryValue(stored.handle(), name.toStdString(), &storedType, &data, UINT32_MAX, &size);
        stored.close();
    }
    const auto print = [&](const QVariant& value, const QString& typeShown) {
        if (json)
            printJson(QJsonObject{
                {"chiave", key}, {"nome", name}, {"tipo", typeShown}, {"valore", QJsonValue::fromVariant(value)}});
        else
            printLine(format(value));
    };
    if (rc == regerr::FileNotFound) {
        if (!fallback.isValid())
            throw Failure(tr("%1 has no value \"%2\"").arg(key, name), kNotFound);
        print(fallback, typeName(type));
        return 0;
    }
    if (rc != regerr::Success)
        throw Failure(tr("%1 cannot be read (error %2)").arg(key).arg(rc));

    if (raw) {
        if (json)
            printJson(QJsonObject{{"chiave", key},
                                  {"nome", name},
                                  {"tipo", registryTypeName(storedType)},
                                  {"codice", qint64(storedType)},
                                  {"dati", hexBytes(data).remove(u' ')}});
        else
            printLine(QStringLiteral("%1 %2").arg(registryTypeName(storedType), hexBytes(data)).trimmed());
        return 0;
    }
    const QVariant value = decode(type, storedType, data);
    if (!value.isValid())
        throw Failure(tr("%1: \"%2\" is stored as %3 of %4 bytes, which is no %5 (--grezzo shows it)")
                          .arg(key, name, registryTypeName(storedType))
                          .arg(data.size())
                          .arg(typeName(type)));
    print(value, typeName(type));
    return 0;
}

int writeValue(Session& session, const Arguments& arguments, const QStringList& operands) {
    const Type type = parseType(operands[2]);
    const QVariant value = parseValue(type, operands[3]);
    Parametri& par = session.parametri();
    const Place place = placeOf(arguments, operands[0]);
    select(par, place);

    // The library drops a write the store refuses without a word, as the registry
    // does for a user without rights, or when another program keeps the hive locked
    // longer than the store waits: say it here.
    const QString key = keyName(par, place);
    const Hive hive = place.machine ? Hive::LocalMachine : Hive::CurrentUser;
    const long opened = StoreKey(session.store()).create(hive, key.section(u'\\', 1).toStdString());
    if (opened != regerr::Success) {
        const QString why = session.storeError(hive, opened);  // before the texts read the store
        throw Failure(tr("%1 cannot be written (%2)").arg(key, why));
    }

    const int mark = session.errors();
    const int refused = session.failedWrites();
    par.ScriviParametro(operands[1], value);
    session.throwIfReportedSince(mark);
    if (session.failedWrites() > refused) {
        const QString why = session.storeError(hive, session.lastFailedWrite());  // before the texts read the store
        throw Failure(tr("%1: %2 was not written (%3)").arg(key, operands[1], why));
    }
    printLine(QStringLiteral("%1: %2 = %3 (%4)").arg(key, operands[1], format(value), typeName(type)));
    return 0;
}

}  // namespace paramcor::tool
