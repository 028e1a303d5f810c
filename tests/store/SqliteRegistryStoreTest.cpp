// The SQLite store: the conformance suite, and what only this store does: its files,
// foreign and damaged files, several processes sharing a hive, batches and the
// registry's limits.
#include "StoreTesting.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <thread>

namespace paramcor::test {

namespace {

StoreUnderTest sqliteStore(const std::string& name, bool separateMachineFolder) {
    const auto root = std::make_shared<fs::path>(uniqueTempPath("conformance"));
    return {name,
            [root, separateMachineFolder]() -> std::unique_ptr<RegistryStore> {
                return std::make_unique<SqliteRegistryStore>(
                    (*root / "user").string(), (*root / (separateMachineFolder ? "machine" : "user")).string());
            },
            [root](const std::string&) { fs::remove_all(*root); }};
}

INSTANTIATE_TEST_SUITE_P(Sqlite, RegistryStoreConformance,
                         ::testing::Values(sqliteStore("OneFolder", false), sqliteStore("TwoFolders", true)),
                         [](const auto& info) { return info.param.name; });

}  // namespace

TEST(SqliteRegistryStore, HiveFilesAreMadeByWritesAloneAndOnlyReadWithoutWritePermission) {
    TempFolder root("layout");
    const fs::path user = root.path() / "user";
    const std::string machine = (root.path() / "machine").string();
    {
        // Reads find empty hives, with their root key, and create nothing.
        SqliteRegistryStore store(user.string(), machine);
        for (const Hive hive : {Hive::ClassesRoot, Hive::CurrentUser, Hive::LocalMachine}) {
            std::string name;
            EXPECT_EQ(tryOpen(store, "Software", hive), regerr::FileNotFound);
            EXPECT_EQ(store.enumKey(open(store, "", hive), 0, &name), regerr::NoMoreItems);
        }
        EXPECT_FALSE(fs::exists(root.path()));
        put(store, create(store, "Software\\App"), "v", regtype::Dword, dword(1));
        put(store, create(store, ""), "", regtype::Dword, dword(7));  // the root key holds values like any other
        EXPECT_FALSE(fs::exists(machine));
        EXPECT_FALSE(fs::exists(user / "HKEY_CLASSES_ROOT.db"));
    }
    // A hive file without write permission is read, and enumerated, read-only; the
    // other hives of its folder are not affected, and the file is left as it was.
    const fs::path file = user / "HKEY_CURRENT_USER.db";
    fs::permissions(file, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    const auto before = folderState(user, true);
    SqliteRegistryStore store(user.string(), machine);
    for (const char* path : {"Software\\App", "Software\\New", ""})
        EXPECT_EQ(tryOpen(store, path, Hive::CurrentUser, true), regerr::AccessDenied) << path;
    EXPECT_EQ(read(store, open(store, ""), "").data, dword(7));
    EXPECT_EQ(names(listed(store, open(store, "Software"), false)), std::vector<std::string>{"App"});
    EXPECT_EQ(tryOpen(store, "Software\\App", Hive::ClassesRoot, true), regerr::Success);
    EXPECT_EQ(folderState(user).at("HKEY_CURRENT_USER.db"), before.at("HKEY_CURRENT_USER.db"));
}

TEST(SqliteRegistryStore, FilesThatAreNotHivesAreNamedAndNeverChanged) {
    const struct {
        const char* label;
        std::function<void(const fs::path& file)> make;
        long rc;
        const char* cause;
    } cases[] = {
        {"text", [](const fs::path& f) { writeFile(f, std::string(4096, 'x')); }, regerr::BadDatabase,
         "is not a hive of CVLParamcor: it is not an SQLite database"},
        {"short", [](const fs::path& f) { writeFile(f, "SQLite"); }, regerr::BadDatabase,
         "at 6 bytes it is too short for an SQLite database"},
        {"foreign database", [](const fs::path& f) { makeDatabase(f, "CREATE TABLE t(x); INSERT INTO t VALUES(1)"); },
         regerr::BadDatabase, "is not a hive of CVLParamcor: it is the SQLite database of another program"},
        {"other application id",
         [](const fs::path& f) { makeDatabase(f, "PRAGMA application_id=1234; CREATE TABLE keys(x)"); },
         regerr::BadDatabase, "another program (application id 1234)"},
        {"our id, other version",
         [&](const fs::path& f) {
             makeDatabase(f, "PRAGMA application_id=" + std::to_string(0x43564C50) +
                                 "; PRAGMA user_version=99; CREATE TABLE keys(x)");
         },
         regerr::BadDatabase, "is a hive of another version of CVLParamcor (format 99"},
        {"folder", [](const fs::path& f) { fs::create_directories(f); }, regerr::IoFailed,
         "is a folder, not a hive file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        TempFolder root("foreign");
        fs::create_directories(root.path());
        const fs::path file = root.path() / "HKEY_CURRENT_USER.db";
        c.make(file);
        const auto before = folderState(root.path(), true);
        {
            SqliteRegistryStore store(root.str());
            for (int attempt = 0; attempt < 2; ++attempt)
                EXPECT_EQ(tryOpen(store, "Software", Hive::CurrentUser, attempt == 0), c.rc);
            EXPECT_EQ(tryOpen(store, ""), c.rc);
            const std::string why = store.diagnostic(Hive::CurrentUser);
            EXPECT_EQ(why.rfind(file.string() + " ", 0), 0u) << why;
            EXPECT_NE(why.find(c.cause), std::string::npos) << why;
            EXPECT_EQ(store.diagnostic(Hive::LocalMachine), "");  // the other hives have nothing to say
        }
        EXPECT_EQ(folderState(root.path()), before);
    }

    // An empty file is a hive nobody has written yet.
    TempFolder root("empty");
    fs::create_directories(root.path());
    const std::string file = (root.path() / "HKEY_CURRENT_USER.db").string();
    writeFile(file, "");
    {
        SqliteRegistryStore store(root.str());
        for (std::uint32_t i = 0; i < 100; ++i)
            put(store, create(store, numbered("Software\\K", i)), "v", regtype::Binary, Bytes(4000, 1));
    }
    // One whose making was killed between writing the file and removing its journal:
    // the header bears our mark, and the journal takes everything back. It is made again.
    {
        TempFolder killed("killed");
        fs::create_directories(killed.path());
        const fs::path made = killed.path() / "HKEY_CURRENT_USER.db";
        writeFile(made, "");
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(made.c_str(), &db), SQLITE_OK);
        // Unsynced, the journal bears its mark at once, as a synced one does by the commit.
        ASSERT_EQ(sqlite3_exec(db, ("PRAGMA synchronous=OFF; BEGIN IMMEDIATE; CREATE TABLE keys(x); PRAGMA application_id=" +
                                    std::to_string(0x43564C50) + ";").c_str(), nullptr, nullptr, nullptr),
                  SQLITE_OK);
        const std::string journal = fileBytes(made.string() + "-journal");
        ASSERT_EQ(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
        writeFile(made.string() + "-journal", journal);
        SqliteRegistryStore store(killed.str());
        put(store, create(store, "Software\\App"), "v", regtype::Dword, dword(1));
        EXPECT_EQ(read(store, open(store, "Software\\App"), "v").data, dword(1));
    }

    // One damaged after the store opened it: its pages past the first are overwritten,
    // once another program has moved them all out of the -wal into the file.
    makeDatabase(file, "SELECT count(*) FROM keys");
    SqliteRegistryStore store(root.str());
    const KeyHandle last = open(store, "Software\\K99");
    std::string damaged = fileBytes(file);
    std::fill(damaged.begin() + 4096, damaged.end(), '\x55');
    writeFile(file, damaged);
    EXPECT_EQ(read(store, last, "v").rc, regerr::BadDatabase);
    const std::string why = store.diagnostic(Hive::CurrentUser);
    EXPECT_EQ(why.rfind(file + " is damaged: ", 0), 0u) << why;
}

TEST(SqliteRegistryStore, HiveHeldByAnotherProgram) {
    TempFolder root("held");
    SqliteRegistryStore::Options quick;
    quick.busyTimeoutMs = 50;
    auto store = std::make_unique<SqliteRegistryStore>(root.str(), quick);
    const KeyHandle key = create(*store, "Software\\App");
    put(*store, key, "v", regtype::Dword, dword(1));
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open((root.path() / "HKEY_CURRENT_USER.db").c_str(), &other), SQLITE_OK);
    const auto hold = [other](const char* sql) {
        ASSERT_EQ(sqlite3_exec(other, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    };

    // Another writer: writes wait for it and give up, reads go on.
    hold("BEGIN IMMEDIATE; UPDATE keys SET path = path");
    EXPECT_EQ(store->setValue(key, "v", regtype::Dword, dword(2)), regerr::SharingViolation);
    EXPECT_EQ(tryOpen(*store, "Software\\App", Hive::CurrentUser, true), regerr::Success);  // nothing to write
    EXPECT_EQ(tryOpen(*store, "Software\\New", Hive::CurrentUser, true), regerr::SharingViolation);
    EXPECT_EQ(read(*store, open(*store, "Software\\App"), "v").data, dword(1));
    hold("ROLLBACK");
    put(*store, key, "v", regtype::Dword, dword(2));

    // One with the hive locked exclusively keeps even readers out.
    store.reset();  // no connection may stay for the exclusive lock
    SqliteRegistryStore later(root.str(), quick);
    hold("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE keys SET path = path");
    EXPECT_EQ(tryOpen(later, "Software\\App", Hive::CurrentUser, true), regerr::SharingViolation);
    EXPECT_EQ(tryOpen(later, "Software\\App"), regerr::SharingViolation);
    sqlite3_close(other);
    EXPECT_EQ(read(later, open(later, "Software\\App"), "v").data, dword(2));
}

TEST(SqliteRegistryStore, EveryWriteSurvivesTheWriterDyingAndABatchIsKeptWholeOrNotAtAll) {
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
        if (store.flushKey(key) != regerr::Success || store.flushKey(key + 1) != regerr::InvalidHandle)
            return 4;
        // Dies in the middle of a batch.
        if (store.beginBatch(Hive::CurrentUser) != regerr::Success ||
            store.createKey(Hive::CurrentUser, "Software\\Dying", &key) != regerr::Success ||
            store.setValue(key, "v", regtype::Dword, dword(1)) != regerr::Success)
            return 3;
        ::_exit(0);  // at once: nothing may be left to flush or close
    });
    writer.go();
    ASSERT_EQ(writer.exitCode(), 0);

    SqliteRegistryStore store(root.str());
    SqliteRegistryStore other(root.str());
    const auto found = listed(store, open(store, "Software\\Durable"), true);
    ASSERT_EQ(found.size(), kValues);
    for (const Read& v : found)
        EXPECT_EQ(v.data, dword(static_cast<std::uint32_t>(std::stoul(v.name.substr(1)) * 3))) << v.name;
    EXPECT_EQ(tryOpen(other, "Software\\Dying"), regerr::FileNotFound);

    const char* const paths[] = {"Software\\A", "Software\\A\\B", "Software\\C"};
    for (const bool commit : {false, true}) {
        SCOPED_TRACE(commit);
        ASSERT_EQ(store.beginBatch(Hive::CurrentUser), regerr::Success);
        EXPECT_EQ(store.beginBatch(Hive::CurrentUser), regerr::InvalidParameter);  // one at a time
        for (const char* path : paths) {
            const KeyHandle key = create(store, path);
            put(store, key, "v", regtype::Dword, dword(commit ? 2 : 1));
            EXPECT_EQ(store.setValue(key, std::string(16384, 'n'), regtype::Dword, dword(1)), regerr::InvalidParameter);
        }
        EXPECT_EQ(tryOpen(store, "Software\\A\\B"), regerr::Success);  // the batch's own writes are seen
        EXPECT_EQ(tryOpen(other, "Software\\A\\B"), regerr::FileNotFound);
        EXPECT_EQ(commit ? store.commitBatch(Hive::CurrentUser) : store.abortBatch(Hive::CurrentUser), regerr::Success);
        for (SqliteRegistryStore* s : {&store, &other})
            for (const char* path : paths)
                EXPECT_EQ(tryOpen(*s, path), commit ? regerr::Success : regerr::FileNotFound) << path;
    }
    EXPECT_EQ(store.commitBatch(Hive::CurrentUser), regerr::InvalidParameter);
    EXPECT_EQ(store.abortBatch(Hive::LocalMachine), regerr::InvalidParameter);
}

TEST(SqliteRegistryStore, TheChangeLogHoldsEveryBatchHoweverLargeAndTheWritesAfterIt) {
    TempFolder root("logged");
    SqliteRegistryStore store(root.str());
    SqliteRegistryStore watcher(root.str());
    put(store, create(store, "Software\\After"), "v", regtype::Dword, dword(0));
    std::uint64_t position = 0;
    std::vector<RegistryStore::KeyChange> changes;
    const auto heard = [&] {
        EXPECT_EQ(watcher.changesSince(Hive::CurrentUser, position, changes), regerr::Success);
        std::set<std::pair<std::string, bool>> paths;
        for (const auto& change : changes)
            paths.insert({change.path, change.subtree});
        return paths;
    };
    heard();
    const std::pair<std::string, bool> everything{"", true};
    for (const bool commit : {false, true})
        for (const std::uint32_t keys : {3u, 2000u}) {
            SCOPED_TRACE(std::to_string(commit) + " " + std::to_string(keys));
            ASSERT_EQ(store.beginBatch(Hive::CurrentUser), regerr::Success);
            for (std::uint32_t i = 0; i < keys; ++i) {
                const KeyHandle key = create(store, numbered("Software\\Batch\\K", i));
                put(store, key, "v", regtype::Dword, dword(i));
                store.closeKey(key);
            }
            ASSERT_EQ(commit ? store.commitBatch(Hive::CurrentUser) : store.abortBatch(Hive::CurrentUser),
                      regerr::Success);
            const auto batch = heard();
            if (!commit)
                EXPECT_TRUE(batch.empty());
            else if (keys == 3)  // each key by its path
                EXPECT_EQ(batch, (std::set<std::pair<std::string, bool>>{
                                     {"Software\\Batch", false},
                                     {"Software\\Batch\\K0", false},
                                     {"Software\\Batch\\K1", false},
                                     {"Software\\Batch\\K2", false}}));
            else
                EXPECT_TRUE(batch.count(everything));
            put(store, create(store, "Software\\After"), "v", regtype::Dword, dword(keys));
            EXPECT_EQ(heard(), (std::set<std::pair<std::string, bool>>{{"Software\\After", false}}));
        }
}

TEST(SqliteRegistryStore, AProgramStartedWithoutStandardInputKeepsItsSettings) {
    // Services and scheduled jobs often start with descriptor 0 closed: the store's
    // own files then get it, and it is as good as any other. (SQLite keeps its own
    // files off 0 to 2 and parks /dev/null there: it is closed again before each step.)
    TempFolder root("nostdin");
    Child program([&](Child&) {
        const auto step = [](long rc) {
            ::close(0);
            return rc == regerr::Success;
        };
        const auto readBack = [&step](RegistryStore& store, std::uint32_t n) {
            StoreKey key(store);
            std::uint32_t type = 0;
            std::vector<std::uint8_t> data;
            return step(key.open(Hive::CurrentUser, "Software\\App")) &&
                   step(store.queryValue(key.handle(), "v", &type, &data, 64, nullptr)) && data == dword(n);
        };
        ::close(0);
        SqliteRegistryStore writer(root.str());
        StoreKey key(writer);
        if (!step(key.create(Hive::CurrentUser, "Software\\App")) ||
            !step(writer.setValue(key.handle(), "v", regtype::Dword, dword(1))))
            return 1;
        SqliteRegistryStore reader(root.str());
        if (!readBack(reader, 1) || !step(writer.setValue(key.handle(), "v", regtype::Dword, dword(2))) ||
            !readBack(reader, 2))  // from what the first read kept, unless the counter moved
            return 2;
        // A counter made again, by a program that comes later.
        std::filesystem::remove(root.path() / "HKEY_CURRENT_USER.db-changes");
        SqliteRegistryStore later(root.str());
        StoreKey again(later);
        SqliteRegistryStore fresh(root.str());
        if (!step(again.create(Hive::CurrentUser, "Software\\App")) ||
            !step(later.setValue(again.handle(), "v", regtype::Dword, dword(3))) || !readBack(fresh, 3))
            return 3;
        return writer.diagnostic(Hive::CurrentUser).empty() && later.diagnostic(Hive::CurrentUser).empty() ? 0 : 4;
    });
    program.go();
    EXPECT_EQ(program.exitCode(), 0);
}

TEST(SqliteRegistryStore, AReaderFollowsAChangeCounterMadeAgainUnderIt) {
    TempFolder root("counteragain");
    {
        SqliteRegistryStore first(root.str());
        put(first, create(first, "Software\\App"), "v", regtype::Dword, dword(1));
    }
    SqliteRegistryStore reader(root.str());
    const KeyHandle key = open(reader, "Software\\App");
    EXPECT_EQ(read(reader, key, "v").data, dword(1));  // and kept
    fs::remove(root.path() / "HKEY_CURRENT_USER.db-changes");  // as restoring the hive file alone does
    SqliteRegistryStore later(root.str());
    put(later, create(later, "Software\\App"), "v", regtype::Dword, dword(2));
    // Nobody bumps the counter the reader follows: it looks at its files once a second.
    bool seen = false;
    for (int i = 0; i < 300 && !seen; ++i) {
        seen = read(reader, key, "v").data == dword(2);
        if (!seen)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(seen);
}

TEST(SqliteRegistryStore, WritesLandInTheHiveThatIsThereWhenItWasRemovedOrReplacedMeanwhile) {
    TempFolder root("replaced");
    const fs::path folder = root.path() / "user";
    SqliteRegistryStore running(folder.string());
    SqliteRegistryStore reader(folder.string());
    // As Parametri writes: open, set, close.
    const auto write = [&](std::uint32_t n) {
        StoreKey key(running);
        ASSERT_EQ(key.create(Hive::CurrentUser, "Software\\App"), regerr::Success) << n;
        ASSERT_EQ(running.setValue(key.handle(), "n", regtype::Dword, dword(n)), regerr::Success) << n;
    };
    const auto kept = [&] {
        SqliteRegistryStore later(folder.string());
        return read(later, open(later, "Software\\App"), "n").data;
    };
    write(1);
    EXPECT_EQ(read(reader, open(reader, "Software\\App"), "n").data, dword(1));
    const KeyHandle heldOpen = create(running, "Software\\App");

    fs::remove_all(folder);
    write(2);
    EXPECT_EQ(kept(), dword(2));
    EXPECT_EQ(read(reader, open(reader, "Software\\App"), "n").data, dword(2));

    {
        TempFolder elsewhere("replacement");
        {
            SqliteRegistryStore other(elsewhere.str());
            put(other, create(other, "Software\\Other"), "x", regtype::Dword, dword(9));
            put(other, create(other, "Software\\Other\\Deeper"), "x", regtype::Dword, dword(9));
        }
        fs::rename(elsewhere.path() / "HKEY_CURRENT_USER.db", folder / "HKEY_CURRENT_USER.db");
    }
    write(3);
    EXPECT_EQ(kept(), dword(3));
    EXPECT_EQ(read(reader, open(reader, "Software\\App"), "n").data, dword(3));
    EXPECT_EQ(tryOpen(reader, "Software\\Other\\Deeper"), regerr::Success);
    // A key opened in the old file is found again by its path in the new one.
    EXPECT_EQ(running.setValue(heldOpen, "n", regtype::Dword, dword(4)), regerr::Success);
    EXPECT_EQ(kept(), dword(4));
}

TEST(SqliteRegistryStore, AReadingSeesOneStateWhateverOthersCommit) {
    TempFolder root("reading");
    SqliteRegistryStore reader(root.str());
    SqliteRegistryStore writer(root.str());
    put(writer, create(writer, "Software\\A"), "v", regtype::Dword, dword(1));
    const KeyHandle a = open(reader, "Software\\A");
    EXPECT_EQ(read(reader, a, "v").data, dword(1));  // in the cache too
    {
        const StoreReading oneState(reader, Hive::CurrentUser);
        ASSERT_EQ(oneState.began(), regerr::Success);
        EXPECT_EQ(reader.beginReading(Hive::CurrentUser), regerr::InvalidParameter);
        put(writer, create(writer, "Software\\A"), "v", regtype::Dword, dword(2));
        put(writer, create(writer, "Software\\B"), "v", regtype::Dword, dword(2));
        EXPECT_EQ(read(reader, a, "v").data, dword(1));
        EXPECT_EQ(tryOpen(reader, "Software\\B"), regerr::FileNotFound);
        EXPECT_EQ(names(listed(reader, open(reader, "Software"), false)), std::vector<std::string>{"A"});
        EXPECT_EQ(tryOpen(reader, "Software\\C", Hive::CurrentUser, true), regerr::SharingViolation);
    }
    EXPECT_EQ(read(reader, a, "v").data, dword(2));
    EXPECT_EQ(tryOpen(reader, "Software\\B"), regerr::Success);
    EXPECT_EQ(tryOpen(reader, "Software\\C", Hive::CurrentUser, true), regerr::Success);
}

TEST(SqliteRegistryStore, KeyPathsKeepTheRegistrysLimits) {
    // 512 levels (empty names are none), and at most 32,766 characters in a path;
    // names of up to 256 characters are the conformance suite's.
    TempFolder root("limits");
    SqliteRegistryStore store(root.str());
    std::string deepest = "Software";
    for (std::size_t level = 2; level <= reglimit::KeyDepth; ++level)
        deepest += "\\k";
    std::string longest = "Software";
    // Appended in place: GCC 12 at -O3 takes "\\" + std::string(...) for an
    // overlapping copy (-Wrestrict).
    while (longest.size() + 1 + 255 <= reglimit::KeyPath)
        longest.append(1, '\\').append(255, 'n');
    longest += '\\';
    longest.append(reglimit::KeyPath - longest.size(), 'n');
    const std::pair<std::string, long> cases[] = {
        {deepest, regerr::Success},           {deepest + "\\x", regerr::NameTooLong},
        {longest, regerr::Success},           {longest + "\\x", regerr::NameTooLong},
        {longest + "x", regerr::NameTooLong}, {deepest + "\\\\", regerr::Success},
    };
    for (const auto& [path, rc] : cases) {
        EXPECT_EQ(checkKeyPath(path), rc) << path.size();
        EXPECT_EQ(tryOpen(store, path, Hive::CurrentUser, true), rc) << path.size();
        EXPECT_EQ(tryOpen(store, path), rc) << path.size();
    }
}

}  // namespace paramcor::test
