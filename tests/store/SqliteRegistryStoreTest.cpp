// The SQLite store: the conformance suite, and what only this store does: its files,
// read-only and foreign files, and several processes sharing a hive.
#include "RegistryStoreConformance.h"
#include "StoreTesting.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <sqlite3.h>

#include <algorithm>
#include <map>

namespace paramcor::test {

namespace {

StoreUnderTest sqliteStore(const std::string& name, bool separateMachineFolder) {
    const auto root = std::make_shared<fs::path>(uniqueTempPath("conformance"));
    return {name,
            [root, separateMachineFolder]() -> std::unique_ptr<RegistryStore> {
                if (separateMachineFolder)
                    return std::make_unique<SqliteRegistryStore>((*root / "user").string(),
                                                                 (*root / "machine").string());
                return std::make_unique<SqliteRegistryStore>(root->string());
            },
            [root](const std::string&) {
                std::error_code ignored;
                fs::remove_all(*root, ignored);
            }};
}

INSTANTIATE_TEST_SUITE_P(Sqlite, RegistryStoreConformance,
                         ::testing::Values(sqliteStore("OneFolder", false), sqliteStore("TwoFolders", true)),
                         StoreName());

// A database of somebody else's with a hot journal, as a crash in the middle of a
// transaction leaves it: whoever opens it with SQLite rolls the journal back into it.
void makeCrashedDatabase(const fs::path& file) {
    const fs::path scratch = file.parent_path() / "scratch";
    fs::create_directories(scratch);
    const fs::path original = scratch / "db";
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(original.c_str(), &db), SQLITE_OK);
    // A tiny page cache makes the transaction spill changed pages into the file.
    EXPECT_EQ(sqlite3_exec(db,
                           "PRAGMA cache_size=1; CREATE TABLE t(x);"
                           "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 200)"
                           " INSERT INTO t SELECT randomblob(1000) FROM n;"
                           "BEGIN; UPDATE t SET x = randomblob(1000);",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    fs::copy_file(original, file);
    fs::copy_file(original.string() + "-journal", file.string() + "-journal");
    sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    fs::remove_all(scratch);
}

constexpr Hive kHives[] = {Hive::ClassesRoot, Hive::CurrentUser, Hive::LocalMachine};

}  // namespace

TEST(SqliteRegistryStore, FilesAndFoldersAppearOnlyWhenWritten) {
    TempFolder root("layout");
    const fs::path user = root.path() / "user";
    const fs::path machine = root.path() / "machine";
    const std::map<Hive, fs::path> expected = {{Hive::ClassesRoot, user / "HKEY_CLASSES_ROOT.db"},
                                               {Hive::CurrentUser, user / "HKEY_CURRENT_USER.db"},
                                               {Hive::LocalMachine, machine / "HKEY_LOCAL_MACHINE.db"}};
    {
        SqliteRegistryStore store(user.string(), machine.string());
        for (const auto& [hive, file] : expected)
            EXPECT_EQ(store.hiveFile(hive), file.string());

        // Reads find empty hives and create nothing; the root key of each is there.
        for (const Hive hive : kHives) {
            KeyHandle key = 0;
            EXPECT_EQ(store.openKey(hive, "Software", &key), regerr::FileNotFound);
            ASSERT_EQ(store.openKey(hive, "", &key), regerr::Success);
            std::vector<std::uint8_t> data;
            EXPECT_EQ(readValue(store, key, "", data), regerr::FileNotFound);
            EXPECT_EQ(store.setValue(key, "", regtype::Dword, dword(1)), regerr::AccessDenied);
            std::string name;
            EXPECT_EQ(store.enumKey(key, 0, &name), regerr::NoMoreItems);
            EXPECT_EQ(store.enumValue(key, 0, &name, nullptr, &data), regerr::NoMoreItems);
        }
        EXPECT_FALSE(fs::exists(root.path()));

        KeyHandle key = 0;
        ASSERT_EQ(store.createKey(Hive::LocalMachine, "Software\\Vendor", &key), regerr::Success);
        EXPECT_TRUE(fs::exists(expected.at(Hive::LocalMachine)));
        EXPECT_FALSE(fs::exists(user));
        ASSERT_EQ(store.createKey(Hive::CurrentUser, "", &key), regerr::Success);
        EXPECT_EQ(store.setValue(key, "", regtype::Dword, dword(7)), regerr::Success);
        EXPECT_TRUE(fs::exists(expected.at(Hive::CurrentUser)));
        EXPECT_FALSE(fs::exists(expected.at(Hive::ClassesRoot)));
    }

    // The root key holds values like any other; the files stay when the store is gone,
    // -wal and -shm too, which read-only openers cannot create.
    for (const char* suffix : {"", "-wal", "-shm", "-changes"})
        EXPECT_TRUE(fs::exists(expected.at(Hive::CurrentUser).string() + suffix)) << suffix;
    SqliteRegistryStore again(user.string(), machine.string());
    KeyHandle rootKey = 0;
    ASSERT_EQ(again.openKey(Hive::CurrentUser, "", &rootKey), regerr::Success);
    std::vector<std::uint8_t> data;
    EXPECT_EQ(readValue(again, rootKey, "", data), regerr::Success);
    EXPECT_EQ(data, dword(7));

    TempFolder single("single");
    const SqliteRegistryStore oneFolder(single.str());
    for (const auto& [hive, file] : expected)
        EXPECT_EQ(oneFolder.hiveFile(hive), (single.path() / file.filename()).string());
}

TEST(SqliteRegistryStore, HiveFileWithoutWritePermission) {
    TempFolder root("readonly");
    {
        SqliteRegistryStore store(root.str());
        KeyHandle key = 0;
        ASSERT_EQ(store.createKey(Hive::CurrentUser, "Software\\App", &key), regerr::Success);
        ASSERT_EQ(store.setValue(key, "v", regtype::Dword, dword(1)), regerr::Success);
    }
    const fs::path file = root.path() / "HKEY_CURRENT_USER.db";
    fs::permissions(file, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    ageFolder(root.path());
    const auto before = fileBytes(file);
    const auto modified = fs::last_write_time(file);

    {
        SqliteRegistryStore store(root.str());
        KeyHandle key = 0;
        for (const char* path : {"Software\\App", "Software\\New", ""})
            EXPECT_EQ(store.createKey(Hive::CurrentUser, path, &key), regerr::AccessDenied) << path;
        ASSERT_EQ(store.openKey(Hive::CurrentUser, "Software\\App", &key), regerr::Success);
        std::vector<std::uint8_t> data;
        EXPECT_EQ(readValue(store, key, "v", data), regerr::Success);
        EXPECT_EQ(data, dword(1));
        EXPECT_EQ(store.openKey(Hive::CurrentUser, "Software\\New", &key), regerr::FileNotFound);

        // A read-only hive enumerates too.
        KeyHandle software = 0;
        ASSERT_EQ(store.openKey(Hive::CurrentUser, "Software", &software), regerr::Success);
        std::string name;
        EXPECT_EQ(store.enumKey(software, 0, &name), regerr::Success);
        EXPECT_EQ(name, "App");
        EXPECT_EQ(store.enumKey(software, 1, &name), regerr::NoMoreItems);
        std::uint32_t type = 0;
        EXPECT_EQ(store.enumValue(key, 0, &name, &type, &data), regerr::Success);
        EXPECT_EQ(name, "v");
        EXPECT_EQ(data, dword(1));

        // The other hives in the folder are not affected.
        EXPECT_EQ(store.createKey(Hive::ClassesRoot, "Software\\App", &key), regerr::Success);
    }
    EXPECT_EQ(fileBytes(file), before);
    EXPECT_EQ(fs::last_write_time(file), modified);
}

TEST(SqliteRegistryStore, EnumerationFollowsTheUpperCasedNames) {
    // The registry's order of subkeys; for values, which Windows keeps in the order
    // of creation, the same. "_" sorts after the letters once they are upper-cased.
    TempFolder root("order");
    SqliteRegistryStore store(root.str());
    const std::vector<std::string> names = {"aZ", "a_b", "Alpha", "alpha2", "ä", "B", "0"};
    KeyHandle parent = 0;
    ASSERT_EQ(store.createKey(Hive::CurrentUser, "Software\\Order", &parent), regerr::Success);
    for (auto it = names.rbegin(); it != names.rend(); ++it) {
        KeyHandle child = 0;
        ASSERT_EQ(store.createKey(Hive::CurrentUser, "Software\\Order\\" + *it, &child), regerr::Success);
        ASSERT_EQ(store.setValue(parent, *it, regtype::Dword, dword(1)), regerr::Success);
    }
    std::vector<std::string> keys;
    std::vector<std::string> values;
    std::string name;
    for (std::uint32_t i = 0; store.enumKey(parent, i, &name) == regerr::Success; ++i)
        keys.push_back(name);
    for (std::uint32_t i = 0; store.enumValue(parent, i, &name, nullptr, nullptr) == regerr::Success; ++i)
        values.push_back(name);
    std::vector<std::string> expected = names;
    std::sort(expected.begin(), expected.end(), [](std::string a, std::string b) {
        for (std::string* s : {&a, &b})
            std::transform(s->begin(), s->end(), s->begin(),
                           [](char c) { return static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c); });
        return a < b;
    });
    ASSERT_EQ(expected.back(), "ä");  // its capital, like every letter beyond ASCII, sorts after ASCII
    EXPECT_EQ(keys, expected);
    EXPECT_EQ(values, expected);
}

TEST(SqliteRegistryStore, MissingHiveInAFolderThatCannotBeMade) {
    TempFolder root("nofolder");
    fs::create_directories(root.path());
    writeFile(root.path() / "blocker", "a file where a folder should be");
    const fs::path user = root.path() / "blocker" / "user";
    SqliteRegistryStore store(user.string(), user.string());

    KeyHandle key = 0;
    EXPECT_EQ(store.openKey(Hive::CurrentUser, "Software", &key), regerr::FileNotFound);
    EXPECT_EQ(store.createKey(Hive::CurrentUser, "Software", &key), regerr::AccessDenied);
    EXPECT_EQ(store.createKey(Hive::CurrentUser, "", &key), regerr::AccessDenied);
    EXPECT_EQ(store.openKey(Hive::CurrentUser, "", &key), regerr::Success);
    EXPECT_TRUE(fs::is_regular_file(root.path() / "blocker"));
}

TEST(SqliteRegistryStore, FilesThatAreNotHivesAreNeverChanged) {
    // Each file is written as raw bytes, made by SQLite from some SQL, or left by a crash.
    const std::string ourId = std::to_string(0x43564C50);
    const struct {
        const char* label;
        std::string bytes;
        std::string sql;
        bool crashed;
    } cases[] = {
        {"text", std::string(4096, 'x'), "", false},
        {"short", "SQLite", "", false},
        {"SQLite magic only", std::string("SQLite format 3\0", 16) + std::string(84, '\0'), "", false},
        {"foreign database", "", "CREATE TABLE t(x); INSERT INTO t VALUES(1)", false},
        {"foreign empty database", "", "PRAGMA user_version=7", false},
        {"foreign WAL database", "", "PRAGMA journal_mode=WAL; CREATE TABLE t(x)", false},
        {"other application id", "", "PRAGMA application_id=1234; CREATE TABLE keys(x)", false},
        {"our id, other version", "",
         "PRAGMA application_id=" + ourId + "; PRAGMA user_version=99; CREATE TABLE keys(x)", false},
        {"foreign database with a hot journal", "", "", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        TempFolder root("foreign");
        fs::create_directories(root.path());
        const fs::path file = root.path() / "HKEY_CURRENT_USER.db";
        if (c.crashed)
            makeCrashedDatabase(file);
        else if (!c.sql.empty())
            makeDatabase(file, c.sql.c_str());
        else
            writeFile(file, c.bytes);
        ageFolder(root.path());
        const auto before = folderState(root.path());
        {
            SqliteRegistryStore store(root.str());
            KeyHandle key = 0;
            for (int attempt = 0; attempt < 2; ++attempt) {
                EXPECT_EQ(store.createKey(Hive::CurrentUser, "Software", &key), regerr::BadDatabase);
                EXPECT_EQ(store.openKey(Hive::CurrentUser, "Software", &key), regerr::BadDatabase);
                EXPECT_EQ(store.openKey(Hive::CurrentUser, "", &key), regerr::BadDatabase);
            }
        }
        EXPECT_EQ(folderState(root.path()), before);
    }
}

TEST(SqliteRegistryStore, EmptyFileOrFolderInPlaceOfTheHive) {
    TempFolder root("placeholder");
    fs::create_directories(root.path() / "HKEY_LOCAL_MACHINE.db");
    writeFile(root.path() / "HKEY_CURRENT_USER.db", "");
    {
        SqliteRegistryStore store(root.str());
        KeyHandle key = 0;
        // A folder cannot be read as a file; it is left alone.
        EXPECT_EQ(store.createKey(Hive::LocalMachine, "Software", &key), regerr::IoFailed);
        EXPECT_EQ(store.openKey(Hive::LocalMachine, "Software", &key), regerr::IoFailed);

        // An empty file is a hive nobody has written yet.
        EXPECT_EQ(store.openKey(Hive::CurrentUser, "Software", &key), regerr::FileNotFound);
        ASSERT_EQ(store.createKey(Hive::CurrentUser, "Software", &key), regerr::Success);
        EXPECT_EQ(store.setValue(key, "v", regtype::Dword, dword(3)), regerr::Success);
    }
    EXPECT_TRUE(fs::is_empty(root.path() / "HKEY_LOCAL_MACHINE.db"));
    SqliteRegistryStore store(root.str());
    KeyHandle key = 0;
    ASSERT_EQ(store.openKey(Hive::CurrentUser, "Software", &key), regerr::Success);
    std::vector<std::uint8_t> data;
    EXPECT_EQ(readValue(store, key, "v", data), regerr::Success);
    EXPECT_EQ(data, dword(3));
}

TEST(SqliteRegistryStore, HiveHeldByAnotherProcess) {
    TempFolder root("held");
    const std::string file = (root.path() / "HKEY_CURRENT_USER.db").string();
    Child writer([&](Child& self) { return holdWriteLock(self, file, false); });
    Child exclusive([&](Child& self) { return holdWriteLock(self, file, true); });
    SqliteRegistryStore::Options quick;
    quick.busyTimeoutMs = 50;

    auto store = std::make_unique<SqliteRegistryStore>(root.str(), quick);
    KeyHandle key = 0;
    ASSERT_EQ(store->createKey(Hive::CurrentUser, "Software\\App", &key), regerr::Success);
    ASSERT_EQ(store->setValue(key, "v", regtype::Dword, dword(1)), regerr::Success);

    // Another writer: writes wait for it and give up, reads go on.
    writer.go();
    ASSERT_TRUE(writer.heard());
    EXPECT_EQ(store->setValue(key, "v", regtype::Dword, dword(2)), regerr::SharingViolation);
    KeyHandle other = 0;
    EXPECT_EQ(store->createKey(Hive::CurrentUser, "Software\\App", &other), regerr::Success);  // nothing to write
    EXPECT_EQ(store->createKey(Hive::CurrentUser, "Software\\New", &other), regerr::SharingViolation);
    std::vector<std::uint8_t> data;
    EXPECT_EQ(readValue(*store, key, "v", data), regerr::Success);
    EXPECT_EQ(data, dword(1));
    {
        SqliteRegistryStore fresh(root.str(), quick);
        EXPECT_EQ(fresh.createKey(Hive::CurrentUser, "Software\\App", &other), regerr::Success);
        EXPECT_EQ(readValue(fresh, other, "v", data), regerr::Success);
        EXPECT_EQ(fresh.createKey(Hive::CurrentUser, "Software\\New", &other), regerr::SharingViolation);
    }
    writer.go();
    EXPECT_EQ(writer.exitCode(), 0);
    EXPECT_EQ(store->setValue(key, "v", regtype::Dword, dword(2)), regerr::Success);
    store.reset();  // no connection may stay for the exclusive lock

    // A process with the hive locked exclusively keeps even readers out.
    exclusive.go();
    ASSERT_TRUE(exclusive.heard());
    {
        SqliteRegistryStore fresh(root.str(), quick);
        EXPECT_EQ(fresh.createKey(Hive::CurrentUser, "Software\\App", &other), regerr::SharingViolation);
        EXPECT_EQ(fresh.openKey(Hive::CurrentUser, "Software\\App", &other), regerr::SharingViolation);
        exclusive.go();
        EXPECT_EQ(exclusive.exitCode(), 0);
        ASSERT_EQ(fresh.openKey(Hive::CurrentUser, "Software\\App", &other), regerr::Success);
        EXPECT_EQ(readValue(fresh, other, "v", data), regerr::Success);
        EXPECT_EQ(data, dword(2));
    }
}

TEST(SqliteRegistryStore, EveryWriteSurvivesTheWriterDying) {
    TempFolder root("durable");
    constexpr std::uint32_t kValues = 1000;
    Child writer([&](Child&) {
        SqliteRegistryStore store(root.str());
        KeyHandle key = 0;
        if (store.createKey(Hive::CurrentUser, "Software\\Durable", &key) != regerr::Success)
            return 1;
        for (std::uint32_t i = 0; i < kValues; ++i)
            if (store.setValue(key, numbered("v", i), regtype::Dword, dword(i * 3)) != regerr::Success)
                return 2;
        ::_exit(0);  // at once: nothing may be left to flush or close
    });
    writer.go();
    ASSERT_EQ(writer.exitCode(), 0);

    SqliteRegistryStore store(root.str());
    KeyHandle key = 0;
    ASSERT_EQ(store.openKey(Hive::CurrentUser, "Software\\Durable", &key), regerr::Success);
    std::uint32_t found = 0;
    for (std::uint32_t i = 0; i < kValues; ++i) {
        std::vector<std::uint8_t> data;
        if (readValue(store, key, numbered("v", i), data) == regerr::Success && data == dword(i * 3))
            ++found;
    }
    EXPECT_EQ(found, kValues);
}

TEST(SqliteRegistryStore, WriteOfAnotherProcessIsSeenByTheNextRead) {
    TempFolder root("visible");
    Child writer([&](Child&) {
        SqliteRegistryStore store(root.str());
        KeyHandle key = 0;
        KeyHandle later = 0;
        const bool ok = store.createKey(Hive::CurrentUser, "Software\\App", &key) == regerr::Success &&
                        store.setValue(key, "v", regtype::Dword, dword(2)) == regerr::Success &&
                        store.setValue(key, "w", regtype::Dword, dword(3)) == regerr::Success &&
                        store.createKey(Hive::CurrentUser, "Software\\Later", &later) == regerr::Success;
        return ok ? 0 : 1;
    });

    SqliteRegistryStore store(root.str());
    KeyHandle key = 0;
    ASSERT_EQ(store.createKey(Hive::CurrentUser, "Software\\App", &key), regerr::Success);
    ASSERT_EQ(store.setValue(key, "v", regtype::Dword, dword(1)), regerr::Success);
    std::vector<std::uint8_t> data;
    KeyHandle later = 0;
    for (int i = 0; i < 2; ++i) {  // read twice, so that the answers come from memory
        EXPECT_EQ(readValue(store, key, "v", data), regerr::Success);
        EXPECT_EQ(data, dword(1));
        EXPECT_EQ(readValue(store, key, "w", data), regerr::FileNotFound);
        EXPECT_EQ(store.openKey(Hive::CurrentUser, "Software\\Later", &later), regerr::FileNotFound);
    }

    writer.go();
    ASSERT_EQ(writer.exitCode(), 0);
    EXPECT_EQ(readValue(store, key, "v", data), regerr::Success);
    EXPECT_EQ(data, dword(2));
    EXPECT_EQ(readValue(store, key, "w", data), regerr::Success);
    EXPECT_EQ(data, dword(3));
    EXPECT_EQ(store.openKey(Hive::CurrentUser, "Software\\Later", &later), regerr::Success);
}

TEST(SqliteRegistryStore, ProcessesCreatingTheSameHiveTogether) {
    TempFolder root("together");
    constexpr std::uint32_t kChildren = 4;
    std::vector<std::unique_ptr<Child>> children;
    for (std::uint32_t i = 0; i < kChildren; ++i) {
        children.push_back(std::make_unique<Child>([&root, i](Child&) {
            SqliteRegistryStore store(root.str());
            KeyHandle key = 0;
            if (store.createKey(Hive::CurrentUser, numbered("Software\\Shared\\Child", i), &key) != regerr::Success)
                return 1;
            return store.setValue(key, "i", regtype::Dword, dword(i)) == regerr::Success ? 0 : 2;
        }));
    }
    for (auto& child : children)
        child->go();
    for (auto& child : children)
        EXPECT_EQ(child->exitCode(), 0);

    SqliteRegistryStore store(root.str());
    for (std::uint32_t i = 0; i < kChildren; ++i) {
        KeyHandle key = 0;
        ASSERT_EQ(store.openKey(Hive::CurrentUser, numbered("Software\\Shared\\Child", i), &key), regerr::Success);
        std::vector<std::uint8_t> data;
        EXPECT_EQ(readValue(store, key, "i", data), regerr::Success);
        EXPECT_EQ(data, dword(i));
    }
}

TEST(SqliteRegistryStore, WithoutAChangeCounterEveryReadAsksTheFile) {
    TempFolder root("nocounter");
    fs::create_directories(root.path() / "HKEY_CURRENT_USER.db-changes");  // cannot be mapped
    SqliteRegistryStore writer(root.str());
    SqliteRegistryStore reader(root.str());
    KeyHandle written = 0;
    ASSERT_EQ(writer.createKey(Hive::CurrentUser, "Software\\App", &written), regerr::Success);
    ASSERT_EQ(writer.setValue(written, "v", regtype::Dword, dword(1)), regerr::Success);

    KeyHandle read = 0;
    ASSERT_EQ(reader.openKey(Hive::CurrentUser, "Software\\App", &read), regerr::Success);
    std::vector<std::uint8_t> data;
    for (std::uint32_t value = 2; value < 5; ++value) {
        ASSERT_EQ(writer.setValue(written, "v", regtype::Dword, dword(value)), regerr::Success);
        EXPECT_EQ(readValue(reader, read, "v", data), regerr::Success);
        EXPECT_EQ(data, dword(value));
    }
}

TEST(SqliteRegistryStore, ABatchIsKeptWholeOrNotAtAll) {
    TempFolder root("batch");
    const auto valueOf = [](RegistryStore& store, const std::string& path) {
        KeyHandle key = 0;
        if (const long rc = store.openKey(Hive::CurrentUser, path, &key))
            return rc;
        std::vector<std::uint8_t> data;
        const long rc = readValue(store, key, "v", data);
        store.closeKey(key);
        return rc;
    };
    // Dies in the middle of a batch.
    Child dying([&](Child&) {
        SqliteRegistryStore store(root.str());
        if (store.beginBatch(Hive::CurrentUser) != regerr::Success)
            return 1;
        KeyHandle key = 0;
        if (store.createKey(Hive::CurrentUser, "Software\\Dying", &key) != regerr::Success ||
            store.setValue(key, "v", regtype::Dword, dword(1)) != regerr::Success)
            return 2;
        ::_exit(0);
    });
    dying.go();
    ASSERT_EQ(dying.exitCode(), 0);

    SqliteRegistryStore store(root.str());
    SqliteRegistryStore other(root.str());
    EXPECT_EQ(valueOf(other, "Software\\Dying"), regerr::FileNotFound);
    for (const bool commit : {false, true}) {
        SCOPED_TRACE(commit);
        ASSERT_EQ(store.beginBatch(Hive::CurrentUser), regerr::Success);
        EXPECT_EQ(store.beginBatch(Hive::CurrentUser), regerr::InvalidParameter);  // one at a time
        for (const char* path : {"Software\\A", "Software\\A\\B", "Software\\C"}) {
            KeyHandle key = 0;
            ASSERT_EQ(store.createKey(Hive::CurrentUser, path, &key), regerr::Success);
            EXPECT_EQ(store.setValue(key, "v", regtype::Dword, dword(commit ? 2 : 1)), regerr::Success);
            EXPECT_EQ(store.setValue(key, std::string(16384, 'n'), regtype::Dword, dword(1)), regerr::InvalidParameter);
        }
        EXPECT_EQ(valueOf(store, "Software\\A\\B"), regerr::Success);  // the batch's own writes are seen
        EXPECT_EQ(valueOf(other, "Software\\A\\B"), regerr::FileNotFound);
        if (commit) {
            EXPECT_EQ(store.commitBatch(Hive::CurrentUser), regerr::Success);
        } else {
            EXPECT_EQ(store.abortBatch(Hive::CurrentUser), regerr::Success);
        }
        for (RegistryStore* s : {static_cast<RegistryStore*>(&store), static_cast<RegistryStore*>(&other)})
            for (const char* path : {"Software\\A", "Software\\A\\B", "Software\\C"})
                EXPECT_EQ(valueOf(*s, path), commit ? regerr::Success : regerr::FileNotFound) << path;
    }
    EXPECT_EQ(store.commitBatch(Hive::CurrentUser), regerr::InvalidParameter);
    EXPECT_EQ(store.abortBatch(Hive::LocalMachine), regerr::InvalidParameter);

    // Another process's writes wait for the batch, then go on.
    ASSERT_EQ(store.beginBatch(Hive::CurrentUser), regerr::Success);
    SqliteRegistryStore::Options quick;
    quick.busyTimeoutMs = 50;
    SqliteRegistryStore waiting(root.str(), quick);
    KeyHandle key = 0;
    ASSERT_EQ(waiting.createKey(Hive::CurrentUser, "Software\\A", &key), regerr::Success);
    EXPECT_EQ(waiting.setValue(key, "v", regtype::Dword, dword(3)), regerr::SharingViolation);
    EXPECT_EQ(store.commitBatch(Hive::CurrentUser), regerr::Success);
    EXPECT_EQ(waiting.setValue(key, "v", regtype::Dword, dword(3)), regerr::Success);
}

TEST(SqliteRegistryStore, KeyPathsKeepTheRegistrysLimits) {
    // 512 levels, and at most 32,766 characters in a path; names of up to 256
    // characters are the conformance suite's.
    TempFolder root("limits");
    SqliteRegistryStore store(root.str());
    std::string deepest = "Software";
    for (std::size_t level = 2; level <= reglimit::KeyDepth; ++level)
        deepest += "\\k";
    const std::string longest = [] {
        std::string path = "Software";
        while (path.size() + 1 + 255 <= reglimit::KeyPath)
            path += "\\" + std::string(255, 'n');
        return path + "\\" + std::string(reglimit::KeyPath - path.size() - 1, 'n');
    }();
    ASSERT_EQ(longest.size(), reglimit::KeyPath);
    for (const std::string& path : {deepest, longest}) {
        KeyHandle key = 0;
        EXPECT_EQ(store.createKey(Hive::CurrentUser, path, &key), regerr::Success);
        EXPECT_EQ(checkKeyPath(path), regerr::Success);
        for (const std::string& beyond : {path + "\\x", path + "x"}) {
            if (path == deepest && beyond == path + "x")
                continue;
            EXPECT_EQ(store.createKey(Hive::CurrentUser, beyond, &key), regerr::NameTooLong);
            EXPECT_EQ(store.openKey(Hive::CurrentUser, beyond, &key), regerr::NameTooLong);
            EXPECT_EQ(checkKeyPath(beyond), regerr::NameTooLong);
        }
    }
    KeyHandle key = 0;
    EXPECT_EQ(store.openKey(Hive::CurrentUser, deepest + "\\\\", &key), regerr::Success);  // no empty levels
    EXPECT_EQ(checkKeyPath("Software\\" + std::string(257, 'n')), regerr::InvalidParameter);
    // Characters as Windows counts them: "é" is one, in two bytes.
    std::string accented;
    for (std::size_t i = 0; i < 200; ++i)
        accented += "é";
    EXPECT_EQ(checkKeyPath(accented), regerr::Success);
}

TEST(SqliteRegistryStore, ListingStepsOverTheSubtreesOfSubkeys) {
    // Names that begin like others, with deep subtrees between them in the index: each
    // subkey is listed once, in the order of the upper-cased names, at every level.
    TempFolder root("subtrees");
    SqliteRegistryStore store(root.str());
    const std::vector<std::string> children = {"B", "B!", "B-x", "BC", "BCD", "B_", "C"};
    for (const std::string& child : children)
        for (const char* below : {"", "\\x", "\\x\\y", "\\z"}) {
            KeyHandle key = 0;
            ASSERT_EQ(store.createKey(Hive::CurrentUser, "Software\\" + child + below, &key), regerr::Success);
            EXPECT_EQ(store.setValue(key, below, regtype::Dword, dword(1)), regerr::Success);
        }
    for (const auto& [path, expected] : std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"", {"Software"}},
             {"Software", {"B", "B!", "B-x", "BC", "BCD", "B_", "C"}},
             {"Software\\B", {"x", "z"}},
             {"Software\\B\\x", {"y"}},
             {"Software\\B\\x\\y", {}}}) {
        KeyHandle key = 0;
        ASSERT_EQ(store.openKey(Hive::CurrentUser, path, &key), regerr::Success);
        std::vector<std::string> listed;
        std::string name;
        for (std::uint32_t i = 0; store.enumKey(key, i, &name) == regerr::Success; ++i)
            listed.push_back(name);
        EXPECT_EQ(listed, expected) << path;
        for (std::uint32_t i = static_cast<std::uint32_t>(expected.size()); i-- > 0;) {  // backwards, from the first each time
            EXPECT_EQ(store.enumKey(key, i, &name), regerr::Success);
            EXPECT_EQ(name, expected[i]);
        }
    }
}

}  // namespace paramcor::test
