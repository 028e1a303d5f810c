// How each interface type is kept in the registry. Other programs of the suite
// read the same values, so these bytes are a file format and never change.
#pragma once

#include <QVariant>

#include <cstdint>
#include <vector>

namespace paramcor {

enum class ValueKind { Integer, Long, Single, Double, String, Boolean, Other };

ValueKind kindOf(const QVariant& value);

struct ValueEncoding {
    std::uint32_t registryType;
    std::uint32_t size;  // bytes of a stored value; 0 for strings, whose size is their length
};

// The encoding of a kind; Other has none.
const ValueEncoding* encodingOf(ValueKind kind);

// The bytes written for a value of a numeric or Boolean kind.
std::vector<std::uint8_t> encodeValue(ValueKind kind, const QVariant& value);

// The value a read builds from a stored value of the right size and type. A Double
// comes back as a Single made from its first four bytes: the suite has always
// read Doubles so, and its programs rely on it.
QVariant decodeValue(ValueKind kind, const std::vector<std::uint8_t>& bytes);

// What a read returns when it found nothing usable: zero of the kind, false, "".
QVariant zeroOf(ValueKind kind);

// Variant comparison with Empty: 0, 0.0, false and "" all equal Empty.
bool equalsEmpty(const QVariant& value);

// Variant truth for optional flags: Null, Empty and anything not a number,
// Boolean or numeric text count as false.
bool isTrue(const QVariant& value);

}  // namespace paramcor
