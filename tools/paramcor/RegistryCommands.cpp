// registro esporta, registro importa: the store to and from the registry editor's
// files, so that settings move between Windows workstations and this one.
#include "Commands.h"
#include "Files.h"
#include "RegFile.h"
#include "Session.h"

#include <set>

namespace paramcor::tool {
namespace {

using regfile::Document;

// An open key, closed when it goes.
class OpenKey {
public:
    OpenKey(RegistryStore& store, KeyHandle handle) : store_(store), handle_(handle) {}
    ~OpenKey() { store_.closeKey(handle_); }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    KeyHandle handle() const { return handle_; }

private:
    RegistryStore& store_;
    KeyHandle handle_;
};

QString fullName(Hive hive, const std::string& path) {
    return path.empty() ? regfile::hiveName(hive) : regfile::hiveName(hive) + u'\\' + QString::fromStdString(path);
}

[[noreturn]] void storeFailure(Hive hive, const std::string& path, const char* doing, long rc) {
    throw Failure(QStringLiteral("%1 cannot be %2 (error %3)").arg(fullName(hive, path), QLatin1String(doing)).arg(rc));
}

std::string child(const std::string& path, const std::string& name) {
    return path.empty() ? name : path + '\\' + name;
}

// The path as the store spells it, found by looking for each name in its parent
// without regard to case; a name not found stays as given.
std::string storedSpelling(RegistryStore& store, Hive hive, const std::string& path) {
    std::string spelled;
    for (const QString& name : QString::fromStdString(path).split(u'\\', Qt::SkipEmptyParts)) {
        std::string found = name.toStdString();
        KeyHandle handle = 0;
        if (store.openKey(hive, spelled, &handle) == regerr::Success) {
            const OpenKey parent(store, handle);
            std::string candidate;
            for (std::uint32_t i = 0; store.enumKey(handle, i, &candidate) == regerr::Success; ++i)
                if (QString::fromStdString(candidate).compare(name, Qt::CaseInsensitive) == 0) {
                    found = candidate;
                    break;
                }
        }
        spelled = child(spelled, found);
    }
    return spelled;
}

// The key and everything below it, as regedit lists them: a key, then its subkeys.
void collect(RegistryStore& store, Hive hive, const std::string& path, Document& document, std::size_t& values) {
    KeyHandle handle = 0;
    if (const long rc = store.openKey(hive, path, &handle))
        storeFailure(hive, path, "read", rc);
    const OpenKey key(store, handle);

    regfile::Key entry{hive, path, {}};
    for (std::uint32_t i = 0;; ++i) {
        regfile::Value value;
        const long rc = store.enumValue(handle, i, &value.name, &value.type, &value.data);
        if (rc == regerr::NoMoreItems)
            break;
        if (rc != regerr::Success)
            storeFailure(hive, path, "read", rc);
        entry.values.push_back(std::move(value));
    }
    values += entry.values.size();
    document.keys.push_back(std::move(entry));

    std::vector<std::string> children;
    for (std::uint32_t i = 0;; ++i) {
        std::string name;
        const long rc = store.enumKey(handle, i, &name);
        if (rc == regerr::NoMoreItems)
            break;
        if (rc != regerr::Success)
            storeFailure(hive, path, "read", rc);
        children.push_back(std::move(name));
    }
    for (const std::string& name : children)
        collect(store, hive, child(path, name), document, values);
}

}  // namespace

int exportRegistry(Session& session, const Arguments& arguments, const QStringList& operands) {
    const auto key = regfile::splitKeyName(operands[0]);
    if (!key)
        throw UsageError(QStringLiteral("\"%1\" is not a key: it starts with HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE or "
                                        "HKEY_CLASSES_ROOT (HKCU, HKLM, HKCR) and has no empty name")
                             .arg(operands[0]));
    RegistryStore& store = session.store();
    const Hive hive = key->first;
    const std::string path = storedSpelling(store, hive, key->second);
    KeyHandle handle = 0;
    const long rc = store.openKey(hive, path, &handle);
    if (rc == regerr::FileNotFound)
        throw Failure(QStringLiteral("there is no key %1 in the store").arg(fullName(hive, path)));
    if (rc != regerr::Success)
        storeFailure(hive, path, "read", rc);
    store.closeKey(handle);

    Document document;
    document.format = arguments.has(QStringLiteral("regedit4")) ? regfile::Format::Regedit4 : regfile::Format::Unicode;
    std::size_t values = 0;
    collect(store, hive, path, document, values);
    QByteArray bytes;
    try {
        bytes = regfile::write(document);
    } catch (const regfile::FormatError& error) {
        throw Failure(error.message());
    }

    writeWhole(operands[1], bytes);
    printLine(QStringLiteral("Exported %1 to %2: %3 keys, %4 values")
                  .arg(fullName(hive, path), operands[1])
                  .arg(document.keys.size())
                  .arg(values));
    return 0;
}

int importRegistry(Session& session, const Arguments&, const QStringList& operands) {
    const QString& name = operands[0];
    Document document;
    try {
        document = regfile::parse(*openToRead(name, QStringLiteral("a registry file")), kMaxFileSize);
    } catch (const regfile::FormatError& error) {
        const QString where = error.line() > 0 ? QStringLiteral("%1:%2").arg(name).arg(error.line()) : name;
        throw Failure(QStringLiteral("%1: %2; nothing was imported").arg(where, error.message()));
    }

    // Every hive the file writes must take writes before the first one is made.
    RegistryStore& store = session.store();
    std::set<Hive> hives;
    for (const regfile::Key& key : document.keys)
        hives.insert(key.hive);
    for (const Hive hive : hives) {
        KeyHandle handle = 0;
        const long rc = store.createKey(hive, std::string(), &handle);
        if (rc != regerr::Success)
            throw Failure(QStringLiteral("%1 cannot be written (error %2); nothing was imported")
                              .arg(regfile::hiveName(hive))
                              .arg(rc));
        store.closeKey(handle);
    }

    std::set<std::pair<Hive, QString>> keys;
    std::size_t values = 0;
    for (const regfile::Key& key : document.keys) {
        KeyHandle handle = 0;
        if (const long rc = store.createKey(key.hive, key.path, &handle))
            storeFailure(key.hive, key.path, "written", rc);
        const OpenKey open(store, handle);
        for (const regfile::Value& value : key.values)
            if (const long rc = store.setValue(handle, value.name, value.type, value.data))
                storeFailure(key.hive, key.path, "written", rc);
        keys.insert({key.hive, QString::fromStdString(key.path).toUpper()});
        values += key.values.size();
    }
    printLine(QStringLiteral("Imported %1: %2 keys, %3 values").arg(name).arg(keys.size()).arg(values));
    return 0;
}

}  // namespace paramcor::tool
