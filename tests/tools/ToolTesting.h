// The tool as its users run it: a process with arguments, on an installation and a
// registry store of its own in a temporary folder.
#pragma once

#include <CVLParamcor/RegistryStore.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace paramcor::test {

struct Outcome {
    int code = -1;
    QString out;
    QByteArray bytes;  // standard output as written
    QString err;

    QStringList errLines() const { return err.split(u'\n', Qt::SkipEmptyParts); }
};

// Readable failures: what the tool said.
std::ostream& operator<<(std::ostream& os, const Outcome& run);

// A command that cannot run: this exit code, nothing on standard output and one
// line on standard error that says `says`.
void expectRefused(const Outcome& run, int code, const QString& says);

// Runs the built tool with exactly these arguments; `inChild` runs in the new
// process before the tool starts (limits, signals); `input` is its standard input.
Outcome runTool(const QStringList& arguments, const std::function<void()>& inChild = {},
                const QByteArray& input = QByteArray());

// A workshop: the installation (ParamCor.txt and, delivered, the sample texts) and
// the registry store, in a temporary folder.
class Workshop {
public:
    // The sample installation, or one with this installation file. The tool speaks
    // its user's language: the user's is English unless `untouched`, when not even
    // the store's folder exists yet.
    explicit Workshop(const QByteArray& installationFile = QByteArray(), bool untouched = false);

    QString folder() const { return dir_.path(); }
    QString installation() const { return dir_.path() + QStringLiteral("/CVL"); }
    QString registry() const { return dir_.path() + QStringLiteral("/registry"); }
    QString userTexts() const { return installation() + QStringLiteral("/Testi/CvlTradU.mdb"); }
    QString path(const QString& name) const { return dir_.path() + u'/' + name; }

    // The tool on this installation and store.
    Outcome run(const QStringList& arguments, const std::function<void()>& inChild = {},
                const QByteArray& input = QByteArray()) const;

    // A store on the same files, as another program would open it.
    SqliteRegistryStore store() const { return SqliteRegistryStore(registry().toStdString()); }

private:
    QTemporaryDir dir_;
};

// A key and all below it, as a store enumerates it: key path -> value name ->
// type and bytes, names as the store spells them.
struct StoredValue {
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
    bool operator==(const StoredValue&) const = default;
};
using Dump = std::map<std::string, std::map<std::string, StoredValue>>;
Dump dump(RegistryStore& store, Hive hive, const std::string& path);

// A value as the store keeps it; found false when key or value is missing.
struct Found {
    bool found = false;
    StoredValue value;
};
Found storedValue(RegistryStore& store, Hive hive, const std::string& path, const std::string& name);

void setValue(RegistryStore& store, Hive hive, const std::string& path, const std::string& name, std::uint32_t type,
              const std::vector<std::uint8_t>& data);

// The suite's root key, and a REG_DWORD's little-endian bytes.
inline const std::string kSuite = "SOFTWARE\\Corvel";
std::vector<std::uint8_t> dword(std::uint32_t value);
std::vector<std::uint8_t> utf8(const QString& text);
QByteArray fileBytes(const QString& path);
void writeFile(const QString& path, const QByteArray& bytes);
// A sparse file of this size: no time spent writing it.
void writeHugeFile(const QString& path, qint64 size);

// Windows' own form of a text file: UTF-16LE with its byte-order mark and CR LF.
QByteArray windowsText(const QString& lf);

// Every row of table Testi, all columns as text (NULL as "<NULL>"), by key.
using Rows = std::map<QString, QStringList>;
Rows textRows(const QString& database);
// The rows of a query, columns joined by blanks; `values` are bound in order.
QStringList query(const QString& database, const QString& sql, const QStringList& values = {});

}  // namespace paramcor::test

QT_BEGIN_NAMESPACE
inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}
QT_END_NAMESPACE
