// Writes the registry editor's files (RegFile.h), and the hives' names they use.
#include "regfile/RegFile.h"

#include "base/CodePage.h"

#include <QSet>
#include <QtEndian>

#include <functional>

namespace paramcor::regfile {
namespace {

constexpr qsizetype kLineWidth = 80;  // regedit wraps byte lists before this column

struct Hives {
    Hive hive;
    const char* name;
    const char* shortName;
};

constexpr Hives kHives[] = {
    {Hive::CurrentUser, "HKEY_CURRENT_USER", "HKCU"},
    {Hive::LocalMachine, "HKEY_LOCAL_MACHINE", "HKLM"},
    {Hive::ClassesRoot, "HKEY_CLASSES_ROOT", "HKCR"},
};

QString quote(const QString& text) {
    QString escaped = text;
    escaped.replace(u'\\', QLatin1String("\\\\"));
    escaped.replace(u'"', QLatin1String("\\\""));
    return u'"' + escaped + u'"';
}

QString hexList(const QString& start, const QByteArray& bytes) {
    QString out = start;
    qsizetype column = out.size();
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const bool last = i + 1 == bytes.size();
        if (column + 3 >= kLineWidth - 1) {
            out += QStringLiteral("\\\r\n  ");
            column = 2;
        }
        out += QStringLiteral("%1").arg(static_cast<unsigned char>(bytes[i]), 2, 16, QLatin1Char('0'));
        if (!last)
            out += u',';
        column += 3;
    }
    return out;
}

QByteArray utf16le(const QString& text) {
    QByteArray bytes(text.size() * 2, Qt::Uninitialized);
    qToLittleEndian<char16_t>(text.utf16(), text.size(), bytes.data());
    return bytes;
}

QByteArray asBytes(const std::vector<std::uint8_t>& data) {
    return QByteArray(reinterpret_cast<const char*>(data.data()), static_cast<qsizetype>(data.size()));
}

// The bytes of a text value as the file writes them.
QByteArray textForFile(const std::vector<std::uint8_t>& data, Format format, const std::function<QString()>& where) {
    const QString text = QString::fromUtf8(asBytes(data));
    if (format == Format::Unicode)
        return utf16le(text);
    if (auto bytes = toWindows1252(text))
        return *bytes;
    throw FormatError(0, QStringLiteral("%1 has characters that REGEDIT4's code page (Windows-1252) "
                                        "cannot hold: write the file without --regedit4")
                             .arg(where()));
}

QString valueLine(const Value& value, Format format, const QString& key) {
    const QString name = QString::fromUtf8(value.name.data(), static_cast<qsizetype>(value.name.size()));
    const QString start = (value.name.empty() ? QStringLiteral("@") : quote(name)) + u'=';
    const auto where = [&] { return key + QStringLiteral(" value ") + start.chopped(1); };
    switch (value.type) {
        case regtype::String: {
            // Quotes only for what reads back the same: text without zeros or line ends.
            const auto text = fromStrictUtf8(asBytes(value.data));
            if (text && !text->contains(QChar(0)) && !text->contains(u'\r') && !text->contains(u'\n') &&
                (format == Format::Unicode || toWindows1252(*text)))
                return start + quote(*text);
            return hexList(start + QStringLiteral("hex(1):"), textForFile(value.data, format, where));
        }
        case 2:
        case 7:
            return hexList(start + QStringLiteral("hex(%1):").arg(value.type), textForFile(value.data, format, where));
        case regtype::Dword:
            if (value.data.size() == 4) {
                const std::uint32_t number =
                    value.data[0] | (value.data[1] << 8) | (value.data[2] << 16) | (std::uint32_t(value.data[3]) << 24);
                return start + QStringLiteral("dword:%1").arg(number, 8, 16, QLatin1Char('0'));
            }
            break;
        case regtype::Binary:
            return hexList(start + QStringLiteral("hex:"), asBytes(value.data));
        default:
            break;
    }
    return hexList(start + QStringLiteral("hex(%1):").arg(value.type, 0, 16), asBytes(value.data));
}

}  // namespace

QString headerLine(Format format) {
    return format == Format::Unicode ? QStringLiteral("Windows Registry Editor Version 5.00")
                                     : QStringLiteral("REGEDIT4");
}

QString hiveName(Hive hive) {
    for (const Hives& h : kHives)
        if (h.hive == hive)
            return QLatin1String(h.name);
    return QString();
}

std::optional<std::pair<Hive, std::string>> splitKeyName(const QString& name) {
    const qsizetype slash = name.indexOf(u'\\');
    const QString hive = slash < 0 ? name : name.left(slash);
    const QString path = slash < 0 ? QString() : name.mid(slash + 1);
    for (const Hives& h : kHives) {
        if (hive.compare(QLatin1String(h.name), Qt::CaseInsensitive) != 0 &&
            hive.compare(QLatin1String(h.shortName), Qt::CaseInsensitive) != 0)
            continue;
        if (slash >= 0 && (path.isEmpty() || path.front() == u'\\' || path.back() == u'\\' ||
                           path.contains(QLatin1String("\\\\"))))
            return std::nullopt;
        return std::make_pair(h.hive, path.toStdString());
    }
    return std::nullopt;
}

QByteArray write(const Document& document) {
    QString text = headerLine(document.format) + QStringLiteral("\r\n\r\n");
    for (const Key& key : document.keys) {
        QString name = hiveName(key.hive);
        if (!key.path.empty())
            name += u'\\' + QString::fromStdString(key.path);
        text += (key.remove ? QStringLiteral("[-") : QStringLiteral("[")) + name + QStringLiteral("]\r\n");
        for (const Value& value : key.values)
            text +=
                (value.remove ? (value.name.empty() ? QStringLiteral("@") : quote(QString::fromStdString(value.name))) +
                                    QStringLiteral("=-")
                              : valueLine(value, document.format, name)) +
                QStringLiteral("\r\n");
        text += QStringLiteral("\r\n");
    }
    if (document.format == Format::Unicode)
        return QByteArray("\xFF\xFE", 2) + utf16le(text);
    if (auto bytes = toWindows1252(text))
        return *bytes;
    throw FormatError(0, QStringLiteral("a key or value name has characters that REGEDIT4's code page "
                                        "(Windows-1252) cannot hold: write the file without --regedit4"));
}

Imported importInto(RegistryStore& store, const Document& document) {
    Imported done;
    const auto fail = [&](Hive hive, const std::string& path, const char* doing, long rc) {
        done.failure = rc;
        done.failedHive = hive;
        done.failedPath = path;
        done.failedDoing = doing;
        return done;
    };
    QSet<QString> keys;
    for (const Key& key : document.keys) {
        if (key.remove) {
            const std::size_t slash = key.path.rfind('\\');
            const std::string parent = slash == std::string::npos ? std::string() : key.path.substr(0, slash);
            StoreKey there(store);
            if (there.open(key.hive, key.path) != regerr::Success)
                continue;
            StoreKey above(store);
            if (const long rc = above.create(key.hive, parent))
                return fail(key.hive, parent, "written", rc);
            const long rc =
                store.deleteTree(above.handle(), key.path.substr(slash == std::string::npos ? 0 : slash + 1));
            if (rc != regerr::Success && rc != regerr::FileNotFound)
                return fail(key.hive, key.path, "deleted", rc);
            ++done.removed;
            continue;
        }
        StoreKey held(store);
        if (const long rc = held.create(key.hive, key.path))
            return fail(key.hive, key.path, "written", rc);
        for (const Value& value : key.values) {
            if (value.remove) {
                const long rc = store.deleteValue(held.handle(), value.name);
                if (rc != regerr::Success && rc != regerr::FileNotFound)
                    return fail(key.hive, key.path, "written", rc);
                ++done.removed;
            } else if (const long rc = store.setValue(held.handle(), value.name, value.type, value.data)) {
                return fail(key.hive, key.path, "written", rc);
            } else {
                ++done.values;
            }
        }
        keys.insert(QString::number(static_cast<int>(key.hive)) + u'\\' + QString::fromStdString(key.path).toUpper());
    }
    done.keys = static_cast<std::size_t>(keys.size());
    return done;
}

}  // namespace paramcor::regfile
