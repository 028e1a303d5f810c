// Typed reads and writes: open the selected key, one query or one set, close it.
#include "selection/MainParametri.h"
#include "selection/ValueEncoding.h"

#include <CVLParamcor/Platform.h>

namespace paramcor {
namespace {

constexpr qsizetype kMaxStringLength = 255;
// Room for 255 characters however they are encoded, plus a terminating zero.
constexpr std::uint32_t kStringCapacity = 4 * (kMaxStringLength + 1);

const QString kCannotRead = QStringLiteral("ERROR! Cannot read variables : key is not open!");
const QString kCannotWrite = QStringLiteral("ERROR! Cannot write variables : key is not open!");
const QString kTooLong = QStringLiteral("ERROR! String parameters maximum lenght is 255!");

}  // namespace

long MainParametri::queryString(const std::string& name, std::uint32_t* type, QString* text) const {
    std::vector<std::uint8_t>& bytes = readBuffer();
    std::uint32_t size = 0;
    const long result = platform().registry->queryValue(openKey_, name, type, &bytes, kStringCapacity, &size);
    if (result != regerr::Success)
        return result;
    // Stores that count a terminating zero in the size hand it back; others do not.
    if (!bytes.empty() && bytes.back() == 0)
        bytes.pop_back();
    *text = QString::fromUtf8(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
    return text->size() > kMaxStringLength ? regerr::MoreData : regerr::Success;
}

QVariant MainParametri::ReadValue(const QString& name, const QVariant& defaultValue) {
    KeyScope key(*this);
    if (!keyOpen()) {
        message(kCannotRead, mb::Critical);
        return {};
    }
    const ValueKind kind = kindOf(defaultValue);
    const ValueEncoding* encoding = encodingOf(kind);
    if (encoding == nullptr) {
        message(QStringLiteral("ERROR! Variable : ") + name + u'\n' +
                    QStringLiteral("Registry can handle only Integer, Long, Single and String."),
                mb::Exclamation);
        return {};
    }

    const std::string native = nativeName(name);
    std::uint32_t type = 0;
    long result;
    bool accepted;
    QVariant value;
    if (kind == ValueKind::String) {
        QString text;
        result = queryString(native, &type, &text);
        accepted = type == regtype::String;
        value = text;
    } else {
        std::vector<std::uint8_t>& bytes = readBuffer();
        std::uint32_t size = 0;
        result = platform().registry->queryValue(openKey_, native, &type, &bytes, encoding->size, &size);
        accepted = size == encoding->size && type == encoding->registryType;
        if (result == regerr::Success && accepted)
            value = decodeValue(kind, bytes);
    }

    if (result == regerr::Success) {
        if (!accepted) {
            message(QStringLiteral("ERROR! Variable ") + name + u'\n' + QStringLiteral(" type mismatch."),
                    mb::Exclamation);
            value = QVariant();
        }
        return value;
    }

    // Missing, or too large for the buffer: both count as missing.
    if (debugMode_) {
        message(
            QStringLiteral("WARNING! Variable invalid : ") + name + u'\n' + QStringLiteral("in ") + ComposeKeyPath(),
            mb::Exclamation);
        return zeroOf(kind);
    }
    if (skipDefaultWrite_)
        return zeroOf(kind);
    if (!equalsEmpty(defaultValue))
        WriteValue(name, defaultValue);
    return defaultValue;
}

void MainParametri::WriteValue(const QString& name, const QVariant& value) {
    KeyScope key(*this);
    if (!keyOpen()) {
        message(kCannotWrite, mb::Critical);
        return;
    }
    const ValueKind kind = kindOf(value);
    const ValueEncoding* encoding = encodingOf(kind);
    long result = regerr::Success;
    if (encoding == nullptr) {
        message(QStringLiteral("ERROR! Registry can handle only Integer, Long, Single and String."), mb::Exclamation);
    } else if (kind == ValueKind::String && value.toString().size() > kMaxStringLength) {
        platform().messages->beep();
        message(kTooLong, mb::Exclamation);
    } else {
        result = platform().registry->setValue(openKey_, name.toStdString(), encoding->registryType,
                                               encodeValue(kind, value));
    }
    ReportApiError(result, QStringLiteral("RegSetValueEx ") + name);
}

QString MainParametri::ReadString(const QString& name, const QString& defaultValue) {
    {
        KeyScope key(*this);
        if (!keyOpen()) {
            message(kCannotRead, mb::Critical);
            return QString();
        }
        std::uint32_t type = 0;
        QString text;
        if (queryString(nativeName(name), &type, &text) == regerr::Success)
            return text;
        if (debugMode_) {
            // No blank after the colon here, unlike the generic read: both are kept as
            // the suite's users know them.
            message(
                QStringLiteral("WARNING! Variable invalid :") + name + u'\n' + QStringLiteral("in ") + ComposeKeyPath(),
                mb::Exclamation);
            return QString();
        }
    }
    // While default writes are suppressed the default is still the answer: folder
    // resolution relies on it for names that must leave no value behind.
    if (!skipDefaultWrite_ && !defaultValue.isEmpty())
        WriteString(name, defaultValue);
    return defaultValue;
}

void MainParametri::WriteString(const QString& name, const QString& value) {
    KeyScope key(*this);
    if (!keyOpen()) {
        message(kCannotWrite, mb::Critical);
        return;
    }
    if (value.size() > kMaxStringLength) {
        platform().messages->beep();
        message(kTooLong, mb::Critical);
        key.keepOpen();  // until the next access closes it
        return;
    }
    const QByteArray text = value.toUtf8();
    const long result = platform().registry->setValue(openKey_, name.toStdString(), regtype::String,
                                                      std::vector<std::uint8_t>(text.begin(), text.end()));
    ReportApiError(result, QStringLiteral("RegSetValueExS ") + name);
}

}  // namespace paramcor
