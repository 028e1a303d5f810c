// registro elenca, elimina, esporta, importa: the store as an administrator looks
// at and changes it, and to and from the registry editor's files, so that settings
// move between Windows workstations and this one.
#include "Commands.h"
#include "Files.h"
#include "regfile/RegFile.h"
#include "RegistryValues.h"
#include "Session.h"
#include "Wording.h"

#include <CVLParamcor/OsservatoreRegistro.h>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <set>
#include <vector>

#include <unistd.h>

namespace paramcor::tool {
namespace {

using regfile::Document;

QString fullName(Hive hive, const std::string& path) {
    return path.empty() ? regfile::hiveName(hive) : regfile::hiveName(hive) + u'\\' + QString::fromStdString(path);
}

[[noreturn]] void storeFailure(RegistryStore& store, Hive hive, const std::string& path, const char* doing, long rc,
                               const QString& after = QString()) {
    throw Failure(QStringLiteral("%1 cannot be %2 (%3)%4")
                      .arg(fullName(hive, path), QLatin1String(doing), storeError(store, hive, rc), after));
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
            const StoreKey parent(store, handle);
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
        storeFailure(store, hive, path, "read", rc);
    const StoreKey key(store, handle);

    regfile::Key entry{hive, path, {}};
    for (std::uint32_t i = 0;; ++i) {
        regfile::Value value;
        const long rc = store.enumValue(handle, i, &value.name, &value.type, &value.data);
        if (rc == regerr::NoMoreItems)
            break;
        if (rc != regerr::Success)
            storeFailure(store, hive, path, "read", rc);
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
            storeFailure(store, hive, path, "read", rc);
        children.push_back(std::move(name));
    }
    for (const std::string& name : children)
        collect(store, hive, child(path, name), document, values);
}

// The key named on the command line, spelled as the store spells it.
std::pair<Hive, std::string> namedKey(RegistryStore& store, const QString& name) {
    const auto key = regfile::splitKeyName(name);
    if (!key)
        throw UsageError(QStringLiteral("\"%1\" is not a key: it starts with HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE or "
                                        "HKEY_CLASSES_ROOT (HKCU, HKLM, HKCR) and has no empty name")
                             .arg(name));
    return {key->first, storedSpelling(store, key->first, key->second)};
}

// Opens an existing key for reading; a missing one ends the command with kNotFound.
KeyHandle openExisting(RegistryStore& store, Hive hive, const std::string& path) {
    KeyHandle handle = 0;
    const long rc = store.openKey(hive, path, &handle);
    if (rc == regerr::FileNotFound)
        throw Failure(QStringLiteral("there is no key %1 in the store").arg(fullName(hive, path)), kNotFound);
    if (rc != regerr::Success)
        storeFailure(store, hive, path, "read", rc);
    return handle;
}

bool byName(const std::string& a, const std::string& b) {
    const int folded = QString::fromStdString(a).compare(QString::fromStdString(b), Qt::CaseInsensitive);
    return folded != 0 ? folded < 0 : a < b;
}

// A key's values and subkey names, each in the order of their names, whatever the
// store's own order is.
struct Contents {
    std::vector<regfile::Value> values;
    std::vector<std::string> subkeys;
};

Contents contentsOf(RegistryStore& store, Hive hive, const std::string& path) {
    const StoreKey key(store, openExisting(store, hive, path));
    Contents contents;
    for (std::uint32_t i = 0;; ++i) {
        regfile::Value value;
        const long rc = store.enumValue(key.handle(), i, &value.name, &value.type, &value.data);
        if (rc == regerr::NoMoreItems)
            break;
        if (rc != regerr::Success)
            storeFailure(store, hive, path, "read", rc);
        contents.values.push_back(std::move(value));
    }
    for (std::uint32_t i = 0;; ++i) {
        std::string name;
        const long rc = store.enumKey(key.handle(), i, &name);
        if (rc == regerr::NoMoreItems)
            break;
        if (rc != regerr::Success)
            storeFailure(store, hive, path, "read", rc);
        contents.subkeys.push_back(std::move(name));
    }
    std::sort(contents.values.begin(), contents.values.end(),
              [](const regfile::Value& a, const regfile::Value& b) { return byName(a.name, b.name); });
    std::sort(contents.subkeys.begin(), contents.subkeys.end(), byName);
    return contents;
}

void listText(RegistryStore& store, Hive hive, const std::string& path, const QString& prefix, bool recursive) {
    const Contents contents = contentsOf(store, hive, path);
    for (const regfile::Value& value : contents.values)
        printLine(prefix + (value.name.empty() ? QStringLiteral("@") : escaped(QString::fromStdString(value.name))) +
                  u'\t' + registryTypeName(value.type) + u'\t' + decodedContents(value.type, value.data));
    for (const std::string& name : contents.subkeys) {
        const QString below = prefix + escaped(QString::fromStdString(name)) + u'\\';
        printLine(below);
        if (recursive)
            listText(store, hive, child(path, name), below, true);
    }
}

QJsonObject listJson(RegistryStore& store, Hive hive, const std::string& path, bool recursive) {
    const Contents contents = contentsOf(store, hive, path);
    QJsonArray values;
    for (const regfile::Value& value : contents.values)
        values.append(valueJson(QString::fromStdString(value.name), value.type, value.data));
    QJsonArray subkeys;
    for (const std::string& name : contents.subkeys) {
        if (recursive)
            subkeys.append(listJson(store, hive, child(path, name), true));
        else
            subkeys.append(QString::fromStdString(name));
    }
    return {{"chiave", fullName(hive, path)}, {"valori", values}, {"sottochiavi", subkeys}};
}

// Asks on the terminal, unless --si said yes already.
bool confirmed(const Arguments& arguments, const QString& question) {
    if (arguments.has(QStringLiteral("si")))
        return true;
    // The question and its answers in the user's language: "[s/N]" in Italian.
    std::fprintf(stderr, "%s%s %s ", qUtf8Printable(errorPrefix()), qUtf8Printable(question),
                 qUtf8Printable(tr("[y/N]")));
    std::fflush(stderr);
    std::string answer;
    const bool answered = static_cast<bool>(std::getline(std::cin, answer));
    if (!answered || !::isatty(STDIN_FILENO))  // no echo of the answer: end the question's line
        std::fputc('\n', stderr);
    if (!answered)
        return false;
    const QString given = QString::fromStdString(answer).trimmed().toLower();
    return given == QLatin1String("s") || given == QLatin1String("si") || given == QStringLiteral("sì") ||
           given == QLatin1String("y") || given == QLatin1String("yes");
}

}  // namespace

int listKey(Session& session, const Arguments& arguments, const QStringList& operands) {
    RegistryStore& store = session.baseStore();
    const auto [hive, path] = namedKey(store, operands[0]);
    const bool recursive = arguments.has(QStringLiteral("ricorsivo"));
    const StoreReading oneState(store, hive);
    if (arguments.has(QStringLiteral("json")))
        printJson(listJson(store, hive, path, recursive));
    else
        listText(store, hive, path, QString(), recursive);
    return 0;
}

int deleteFromRegistry(Session& session, const Arguments& arguments, const QStringList& operands) {
    RegistryStore& store = session.baseStore();
    const auto [hive, path] = namedKey(store, operands[0]);
    const QString name = fullName(hive, path);
    if (operands.size() == 1 && path.empty())
        throw UsageError(QStringLiteral("a whole hive cannot be deleted: name a key below %1").arg(name));
    {
        const StoreKey existing(store, openExisting(store, hive, path));
        if (operands.size() > 1) {
            const long rc =
                store.queryValue(existing.handle(), operands[1].toStdString(), nullptr, nullptr, 0, nullptr);
            if (rc == regerr::FileNotFound)
                throw Failure(QStringLiteral("%1 has no value \"%2\"").arg(name, operands[1]), kNotFound);
            if (rc != regerr::Success)
                storeFailure(store, hive, path, "read", rc);
        }
    }

    if (operands.size() > 1) {
        if (!confirmed(arguments, QStringLiteral("delete the value \"%1\" of %2?").arg(operands[1], name)))
            throw Failure(QStringLiteral("nothing was deleted"));
        KeyHandle handle = 0;
        if (const long rc = store.createKey(hive, path, &handle))
            storeFailure(store, hive, path, "written", rc);
        const StoreKey key(store, handle);
        if (const long rc = store.deleteValue(handle, operands[1].toStdString()))
            storeFailure(store, hive, path, "written", rc);
        printLine(QStringLiteral("Deleted the value \"%1\" of %2").arg(operands[1], name));
        return 0;
    }

    Document below;
    std::size_t values = 0;
    collect(store, hive, path, below, values);
    if (!confirmed(arguments, QStringLiteral("delete %1 with %2 keys and %3 values?")
                                  .arg(name)
                                  .arg(below.keys.size())
                                  .arg(values)))
        throw Failure(QStringLiteral("nothing was deleted"));
    const std::size_t slash = path.rfind('\\');
    const std::string parent = slash == std::string::npos ? std::string() : path.substr(0, slash);
    KeyHandle handle = 0;
    if (const long rc = store.createKey(hive, parent, &handle))
        storeFailure(store, hive, parent, "written", rc);
    const StoreKey key(store, handle);
    if (const long rc = store.deleteTree(handle, slash == std::string::npos ? path : path.substr(slash + 1)))
        storeFailure(store, hive, path, "deleted", rc);
    printLine(QStringLiteral("Deleted %1: %2 keys, %3 values").arg(name).arg(below.keys.size()).arg(values));
    return 0;
}

int watchRegistry(Session& session, const Arguments& arguments, const QStringList& operands) {
    const auto [hive, path] = namedKey(session.baseStore(), operands[0]);
    OsservatoreRegistro observer(session.sharedStore());
    QObject::connect(&observer, &OsservatoreRegistro::Cambiata, [](Hive changed, const QString& key) {
        printLine(escaped(fullName(changed, key.toStdString())));
        std::fflush(stdout);  // as it happens, into a pipe too
    });
    if (!observer.Osserva(hive, QString::fromStdString(path), arguments.has(QStringLiteral("ricorsivo"))))
        throw Failure(QStringLiteral("this store cannot tell of changes"));
    return QCoreApplication::exec();
}

int exportRegistry(Session& session, const Arguments& arguments, const QStringList& operands) {
    RegistryStore& store = session.store();
    const auto [hive, path] = namedKey(store, operands[0]);
    store.closeKey(openExisting(store, hive, path));

    Document document;
    document.format = arguments.has(QStringLiteral("regedit4")) ? regfile::Format::Regedit4 : regfile::Format::Unicode;
    std::size_t values = 0;
    {
        const StoreReading oneState(store, hive);
        collect(store, hive, path, document, values);
    }
    QByteArray bytes;
    try {
        bytes = regfile::write(document);
    } catch (const regfile::FormatError& error) {
        throw Failure(error.message());
    }

    if (operands[1] == QLatin1String("-")) {
        writeStandardOutput(bytes);
        return 0;
    }
    writeWhole(operands[1], bytes);
    printLine(QStringLiteral("Exported %1 to %2: %3 keys, %4 values")
                  .arg(fullName(hive, path), operands[1])
                  .arg(document.keys.size())
                  .arg(values));
    return 0;
}

int importRegistry(Session& session, const Arguments& arguments, const QStringList& operands) {
    const bool piped = operands[0] == QLatin1String("-");
    const QString name = piped ? QStringLiteral("standard input") : operands[0];
    Document document;
    try {
        if (piped) {
            QFile in;
            if (!in.open(stdin, QIODevice::ReadOnly))
                throw Failure(QStringLiteral("standard input cannot be read: %1").arg(in.errorString()));
            document = regfile::parse(in, kMaxFileSize);
        } else {
            document = regfile::parse(*openToRead(name, QStringLiteral("a registry file")), kMaxFileSize);
        }
    } catch (const regfile::FormatError& error) {
        const QString where = error.line() > 0 ? QStringLiteral("%1:%2").arg(name).arg(error.line()) : name;
        throw Failure(QStringLiteral("%1: %2; nothing was imported").arg(where, error.message()));
    }

    // Each hive is written in one batch, which the store keeps whole or drops: every
    // hive the file writes must take writes before the first one is made.
    RegistryStore& store = session.store();
    std::set<Hive> hives;
    for (const regfile::Key& key : document.keys)
        hives.insert(key.hive);
    // Hives are separate files, committed one after the other: a process killed
    // between two commits would leave half of the file imported.
    if (hives.size() > 1 && !arguments.has(QStringLiteral("per-alveare"))) {
        QStringList names;
        for (const Hive hive : hives)
            names << regfile::hiveName(hive);
        throw Failure(QStringLiteral("%1 writes %2 hives (%3), which cannot be imported all or nothing together; "
                                     "nothing was imported: import one file per hive, or give --per-alveare to "
                                     "import each hive whole on its own")
                          .arg(name)
                          .arg(hives.size())
                          .arg(names.join(QStringLiteral(", "))));
    }
    std::vector<Hive> batches;
    bool wholeOrNothing = true;
    const auto abortBatches = [&] {
        for (const Hive hive : batches)
            store.abortBatch(hive);
    };
    const QString nothing = QStringLiteral("; nothing was imported");
    for (const Hive hive : hives) {
        long rc = store.beginBatch(hive);
        if (rc == regerr::Success) {
            batches.push_back(hive);
            continue;
        }
        if (rc == regerr::InvalidFunction) {  // a store that writes each value at once
            wholeOrNothing = false;
            rc = StoreKey(store).create(hive, std::string());
            if (rc == regerr::Success)
                continue;
        }
        abortBatches();
        storeFailure(store, hive, std::string(), "written", rc, nothing);
    }
    const QString partly = wholeOrNothing ? nothing
                                          : QStringLiteral("; what came before it in the file was imported: this "
                                                           "store cannot import all or nothing");
    const regfile::Imported done = regfile::importInto(store, document);
    if (done.failure != regerr::Success) {
        abortBatches();
        storeFailure(store, done.failedHive, done.failedPath, done.failedDoing, done.failure, partly);
    }
    for (std::size_t i = 0; i < batches.size(); ++i)
        if (const long rc = store.commitBatch(batches[i])) {
            for (std::size_t j = i + 1; j < batches.size(); ++j)
                store.abortBatch(batches[j]);
            QStringList committed;
            for (std::size_t j = 0; j < i; ++j)
                committed << regfile::hiveName(batches[j]);
            storeFailure(store, batches[i], std::string(), "written", rc,
                         committed.isEmpty()
                             ? nothing
                             : QStringLiteral("; only %1 was imported").arg(committed.join(QStringLiteral(", "))));
        }
    if (done.removed == 0)
        printLine(QStringLiteral("Imported %1: %2 keys, %3 values").arg(name).arg(done.keys).arg(done.values));
    else
        printLine(QStringLiteral("Imported %1: %2 keys, %3 values, %4 removed")
                      .arg(name)
                      .arg(done.keys)
                      .arg(done.values)
                      .arg(done.removed));
    return 0;
}

regfile::Document readKeyTree(RegistryStore& store, Hive hive, const std::string& path) {
    Document document;
    std::size_t values = 0;
    collect(store, hive, path, document, values);
    return document;
}

}  // namespace paramcor::tool
