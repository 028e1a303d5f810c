// The seams of the library pointed at test doubles: message boxes that record
// what they were asked to show, and a real SQLite store in a temporary folder.
#pragma once

#include "support/RecordingMessageBoxes.h"

#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QTemporaryDir>
#include <QVariant>

#include <vector>

namespace paramcor::test {

// Installs a fresh platform for one test and the defaults again at its end: the
// library's folder is a temporary folder holding a minimal installation file and an
// empty user text database, the locale's separators are "." and ",".
class TestPlatform {
public:
    TestPlatform();
    ~TestPlatform();

    // Replaces the installation file of the library's folder.
    void writeInstallationFile(const QByteArray& content) const;

    QString folder() const { return dir_.path(); }
    std::string storeFolder() const { return (dir_.path() + QStringLiteral("/registry")).toStdString(); }
    RecordingMessageBoxes& boxes() { return *boxes_; }
    const std::vector<RecordedMessage>& messages() const { return boxes_->messages; }
    // The texts and flags of the messages shown so far.
    using Shown = std::vector<std::pair<QString, int>>;
    Shown shown() const;
    SqliteRegistryStore& store() { return *store_; }

    // A second store on the same files, like another program would have.
    SqliteRegistryStore otherProgramStore() const { return SqliteRegistryStore(storeFolder()); }

private:
    QTemporaryDir dir_;
    QByteArray savedDataHome_;
    std::shared_ptr<RecordingMessageBoxes> boxes_;
    std::shared_ptr<SqliteRegistryStore> store_;
};

// Creates an empty text database, with its folder when missing.
void createTextDatabase(const QString& path);

// The raw bytes and type of a value as the store keeps it, for checking the
// on-disk format; found == false when the key or value is missing.
struct StoredValue {
    bool found = false;
    std::uint32_t type = 0;
    std::vector<std::uint8_t> bytes;
    bool operator==(const StoredValue&) const = default;
};
StoredValue storedValue(RegistryStore& store, Hive hive, const std::string& path, const std::string& name);

// Writes a value straight into the store, as another program of the suite might.
void putValue(RegistryStore& store, Hive hive, const std::string& path, const std::string& name, std::uint32_t type,
              const std::vector<std::uint8_t>& bytes);

}  // namespace paramcor::test

// Readable values in test failures.
QT_BEGIN_NAMESPACE
inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QVariant& value, std::ostream* os) {
    *os << (value.isValid() ? value.typeName() : "Empty") << '(' << value.toString().toStdString() << ')';
}
QT_END_NAMESPACE
