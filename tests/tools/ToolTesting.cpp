#include "ToolTesting.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <sqlite3.h>

#include <gtest/gtest.h>

namespace paramcor::test {

QStringList Outcome::errLines() const {
    return err.split(u'\n', Qt::SkipEmptyParts);
}

std::ostream& operator<<(std::ostream& os, const Outcome& run) {
    return os << "exit code " << run.code << "\n--- stdout\n"
              << run.out.toStdString() << "--- stderr\n"
              << run.err.toStdString();
}

Outcome runTool(const QStringList& arguments, const std::function<void()>& inChild, const QByteArray& input) {
    // The library's default store is the user's: keep it in a folder of the tests.
    static QTemporaryDir home;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.path() + QStringLiteral("/config"));
    QProcess process;
    process.setProcessEnvironment(environment);
    if (inChild)
        process.setChildProcessModifier(inChild);
    process.start(QStringLiteral(PARAMCOR_TOOL), arguments);
    process.write(input);
    process.closeWriteChannel();
    Outcome run;
    if (!process.waitForStarted() || !process.waitForFinished(240000)) {
        process.kill();
        process.waitForFinished();
        run.err = QStringLiteral("the tool did not run to its end");
        return run;
    }
    run.code = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.bytes = process.readAllStandardOutput();
    run.out = QString::fromUtf8(run.bytes);
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

Workshop::Workshop(const QByteArray& installationFile, bool untouched) {
    const QString samples = QStringLiteral(CVLPARAMCOR_SAMPLES);
    EXPECT_TRUE(QDir().mkpath(installation() + QStringLiteral("/Testi")));
    if (installationFile.isEmpty())
        EXPECT_TRUE(
            QFile::copy(samples + QStringLiteral("/ParamCor.txt"), installation() + QStringLiteral("/ParamCor.txt")));
    else
        writeFile(installation() + QStringLiteral("/ParamCor.txt"), installationFile);
    EXPECT_TRUE(QFile::copy(samples + QStringLiteral("/Testi/CvlTrad.mdb"),
                            installation() + QStringLiteral("/Testi/CvlTrad.mdb")));
    // Copies keep the sample's permissions, which the build may have made read-only.
    QFile::setPermissions(installation() + QStringLiteral("/Testi/CvlTrad.mdb"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    if (untouched)
        return;
    EXPECT_TRUE(QDir().mkpath(registry()));
    // "Lingua" lies under the installation's registry root.
    std::string root = "Corvel";
    for (const QByteArray& line : installationFile.split('\n'))
        if (line.trimmed().toUpper().startsWith("REGISTRYROOT"))
            root = line.mid(line.indexOf('=') + 1).trimmed().toStdString();
    auto users = store();
    setValue(users, Hive::CurrentUser, "SOFTWARE\\" + root, "Lingua", regtype::String, utf8(QStringLiteral("2")));
}

Outcome Workshop::run(const QStringList& arguments, const std::function<void()>& inChild,
                      const QByteArray& input) const {
    return runTool(
        QStringList{QStringLiteral("--registro"), registry(), QStringLiteral("--installazione"), installation()} +
            arguments,
        inChild, input);
}

namespace {

void dumpInto(RegistryStore& store, Hive hive, const std::string& path, Dump& out) {
    KeyHandle key = 0;
    if (store.openKey(hive, path, &key) != regerr::Success) {
        ADD_FAILURE() << "cannot open " << path;
        return;
    }
    auto& values = out[path];
    for (std::uint32_t i = 0;; ++i) {
        std::string name;
        StoredValue value;
        if (store.enumValue(key, i, &name, &value.type, &value.data) != regerr::Success)
            break;
        values[name] = value;
    }
    std::vector<std::string> children;
    std::string name;
    for (std::uint32_t i = 0; store.enumKey(key, i, &name) == regerr::Success; ++i)
        children.push_back(name);
    store.closeKey(key);
    for (const std::string& child : children)
        dumpInto(store, hive, path.empty() ? child : path + '\\' + child, out);
}

}  // namespace

Dump dump(RegistryStore& store, Hive hive, const std::string& path) {
    Dump out;
    dumpInto(store, hive, path, out);
    return out;
}

Found storedValue(RegistryStore& store, Hive hive, const std::string& path, const std::string& name) {
    Found found;
    KeyHandle key = 0;
    if (store.openKey(hive, path, &key) != regerr::Success)
        return found;
    std::uint32_t size = 0;
    found.found = store.queryValue(key, name, &found.value.type, &found.value.data, 1u << 24, &size) == regerr::Success;
    store.closeKey(key);
    return found;
}

void setValue(RegistryStore& store, Hive hive, const std::string& path, const std::string& name, std::uint32_t type,
              const std::vector<std::uint8_t>& data) {
    KeyHandle key = 0;
    ASSERT_EQ(store.createKey(hive, path, &key), regerr::Success) << path;
    ASSERT_EQ(store.setValue(key, name, type, data), regerr::Success) << name;
    store.closeKey(key);
}

std::vector<std::uint8_t> dword(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

std::vector<std::uint8_t> bytesOf(const QByteArray& bytes) {
    return {bytes.begin(), bytes.end()};
}

std::vector<std::uint8_t> utf8(const QString& text) {
    return bytesOf(text.toUtf8());
}

QByteArray fileBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray windowsText(const QString& lf) {
    QString text = lf;
    text.replace(QStringLiteral("\n"), QStringLiteral("\r\n"));
    QByteArray bytes("\xFF\xFE", 2);
    for (const QChar c : text) {
        bytes.append(static_cast<char>(c.unicode() & 0xFF));
        bytes.append(static_cast<char>(c.unicode() >> 8));
    }
    return bytes;
}

Rows textRows(const QString& database) {
    Rows rows;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(database).constData(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        ADD_FAILURE() << "cannot open " << database.toStdString();
        sqlite3_close(db);
        return rows;
    }
    sqlite3_stmt* select = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db, "SELECT * FROM Testi ORDER BY Programma, Progressivo", -1, &select, nullptr),
              SQLITE_OK)
        << sqlite3_errmsg(db);
    while (select && sqlite3_step(select) == SQLITE_ROW) {
        QStringList columns;
        for (int c = 0; c < sqlite3_column_count(select); ++c) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(select, c));
            columns << (text ? QString::fromUtf8(text) : QStringLiteral("<NULL>"));
        }
        rows[columns[0] + u'|' + columns[1]] = columns;
    }
    sqlite3_finalize(select);
    sqlite3_close(db);
    return rows;
}

void execSql(const QString& database, const QString& sql, const QStringList& values) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open_v2(QFile::encodeName(database).constData(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    const QByteArray text = sql.toUtf8();
    ASSERT_EQ(sqlite3_prepare_v2(db, text.constData(), -1, &statement, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    for (int i = 0; i < values.size(); ++i) {
        const QByteArray value = values[i].toUtf8();
        sqlite3_bind_text(statement, i + 1, value.constData(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
    }
    EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE) << sqlite3_errmsg(db);
    sqlite3_finalize(statement);
    sqlite3_close(db);
}

}  // namespace paramcor::test
