#include "support/TestPlatform.h"
#include "support/TextFiles.h"

#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace paramcor::test {

TestPlatform::TestPlatform()
    : boxes_(std::make_shared<RecordingMessageBoxes>()), store_(std::make_shared<SqliteRegistryStore>(storeFolder())) {
    Platform p;
    p.registry = store_;
    p.messages = boxes_;
    p.libraryFolder = dir_.path();
    p.separators = [] { return Separators{".", ","}; };
    installPlatform(p);
    // Document types registered with the desktop stay in the test's folder.
    savedDataHome_ = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", (dir_.path() + "/data").toLocal8Bit());
    writeInstallationFile("' An installation without folders\r\n");
    createTextDatabase(dir_.path() + "/CvlTradU.mdb");
}

void createTextDatabase(const QString& path) {
    QDir().mkpath(QFileInfo(path).path());
    SqlDatabase db(path, SqlDatabase::Mode::Create);
    texts::createLayout(db);
}

void TestPlatform::writeInstallationFile(const QByteArray& content) const {
    writeFile(dir_.path() + "/ParamCor.txt", content);
}

TestPlatform::~TestPlatform() {
    if (savedDataHome_.isNull())
        qunsetenv("XDG_DATA_HOME");
    else
        qputenv("XDG_DATA_HOME", savedDataHome_);
    installPlatform(Platform{});
}

TestPlatform::Shown TestPlatform::shown() const {
    Shown out;
    for (const auto& m : messages())
        out.emplace_back(m.text, m.flags);
    return out;
}

StoredValue storedValue(RegistryStore& store, Hive hive, const std::string& path, const std::string& name) {
    StoredValue value;
    KeyHandle key = 0;
    if (store.openKey(hive, path, &key) != regerr::Success)
        return value;
    std::uint32_t size = 0;
    value.found = store.queryValue(key, name, &value.type, &value.bytes, 1u << 20, &size) == regerr::Success;
    store.closeKey(key);
    return value;
}

void putValue(RegistryStore& store, Hive hive, const std::string& path, const std::string& name, std::uint32_t type,
              const std::vector<std::uint8_t>& bytes) {
    KeyHandle key = 0;
    ASSERT_EQ(store.createKey(hive, path, &key), regerr::Success) << path;
    ASSERT_EQ(store.setValue(key, name, type, bytes), regerr::Success) << name;
    store.closeKey(key);
}

}  // namespace paramcor::test
