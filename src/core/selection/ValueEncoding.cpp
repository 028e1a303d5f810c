#include "selection/ValueEncoding.h"

#include <CVLParamcor/RegistryStore.h>

#include <bit>
#include <cstring>

namespace paramcor {
namespace {

// Indexed by ValueKind, up to Boolean.
constexpr ValueEncoding kEncodings[] = {
    {regtype::Binary, 2},  // Integer
    {regtype::Dword, 4},   // Long
    {regtype::Dword, 4},   // Single: the float's bits as a double word
    {regtype::Binary, 8},  // Double
    {regtype::String, 0},  // String
    {regtype::Binary, 1},  // Boolean
};

template <typename T>
std::vector<std::uint8_t> littleEndianBytes(T value) {
    static_assert(std::endian::native == std::endian::little, "registry data is little-endian");
    std::vector<std::uint8_t> bytes(sizeof(T));
    std::memcpy(bytes.data(), &value, sizeof(T));
    return bytes;
}

template <typename T>
T fromBytes(const std::vector<std::uint8_t>& bytes) {
    T value{};
    std::memcpy(&value, bytes.data(), std::min(sizeof(T), bytes.size()));
    return value;
}

}  // namespace

ValueKind kindOf(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::Short:
            return ValueKind::Integer;
        case QMetaType::Int:
            return ValueKind::Long;
        case QMetaType::Float:
            return ValueKind::Single;
        case QMetaType::Double:
            return ValueKind::Double;
        case QMetaType::QString:
            return ValueKind::String;
        case QMetaType::Bool:
            return ValueKind::Boolean;
        default:
            return ValueKind::Other;
    }
}

const ValueEncoding* encodingOf(ValueKind kind) {
    return kind == ValueKind::Other ? nullptr : &kEncodings[static_cast<int>(kind)];
}

std::vector<std::uint8_t> encodeValue(ValueKind kind, const QVariant& value) {
    switch (kind) {
        case ValueKind::Integer:
            return littleEndianBytes(value.value<short>());
        case ValueKind::Long:
            return littleEndianBytes(value.value<int>());
        case ValueKind::Single:
            return littleEndianBytes(std::bit_cast<std::uint32_t>(value.value<float>()));
        case ValueKind::Double:
            return littleEndianBytes(value.value<double>());
        case ValueKind::Boolean:
            return {static_cast<std::uint8_t>(value.toBool() ? 1 : 0)};
        case ValueKind::String: {
            const QByteArray text = value.toString().toUtf8();
            return {text.begin(), text.end()};
        }
        case ValueKind::Other:
            break;
    }
    return {};
}

QVariant decodeValue(ValueKind kind, const std::vector<std::uint8_t>& bytes) {
    switch (kind) {
        case ValueKind::Integer:
            return QVariant::fromValue(fromBytes<short>(bytes));
        case ValueKind::Long:
            return QVariant::fromValue(fromBytes<int>(bytes));
        case ValueKind::Single:
        case ValueKind::Double:
            return QVariant::fromValue(fromBytes<float>(bytes));
        case ValueKind::Boolean:
            return QVariant::fromValue(!bytes.empty() && bytes[0] > 0);
        case ValueKind::String:
            return QVariant::fromValue(
                QString::fromUtf8(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())));
        case ValueKind::Other:
            break;
    }
    return {};
}

QVariant zeroOf(ValueKind kind) {
    switch (kind) {
        case ValueKind::Integer:
            return QVariant::fromValue(short(0));
        case ValueKind::Long:
            return QVariant::fromValue(0);
        case ValueKind::Single:
        // The untouched buffer of a Double read is the Single a Double read returns.
        case ValueKind::Double:
            return QVariant::fromValue(0.0f);
        case ValueKind::String:
            return QVariant::fromValue(QString());
        case ValueKind::Boolean:
            return QVariant::fromValue(false);
        case ValueKind::Other:
            break;
    }
    return {};
}

bool equalsEmpty(const QVariant& value) {
    switch (kindOf(value)) {
        case ValueKind::Integer:
        case ValueKind::Long:
            return value.toLongLong() == 0;
        case ValueKind::Single:
        case ValueKind::Double:
            return value.toDouble() == 0.0;
        case ValueKind::String:
            return value.toString().isEmpty();
        case ValueKind::Boolean:
            return !value.toBool();
        case ValueKind::Other:
            break;
    }
    return !value.isValid();
}

bool isTrue(const QVariant& value) {
    if (!value.isValid() || value.isNull())
        return false;
    switch (value.metaType().id()) {
        case QMetaType::Bool:
            return value.toBool();
        case QMetaType::QString: {
            const QString text = value.toString().trimmed();
            if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
                return true;
            bool number = false;
            const double n = text.toDouble(&number);
            return number && n != 0.0;
        }
        default: {
            bool number = false;
            const double n = value.toDouble(&number);
            return number && n != 0.0;
        }
    }
}

}  // namespace paramcor
