// The files of the SQLite store's hives: who may read them, the change counter beside
// each, readers without write rights, and hives written with an older folding table.
#include "StoreTesting.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace paramcor::test {

namespace {

const char* const kSideFiles[] = {"", "-wal", "-shm", "-changes"};

}  // namespace

TEST(SqliteHiveFiles, TheUsersHivesAreHisAlone) {
    const mode_t umask = ::umask(0);
    TempFolder root("modes");
    const fs::path user = root.path() / "user";
    const fs::path machine = root.path() / "machine";
    // The machine's hive is shared as its folder is: its files take the owner's and
    // the group's permissions of the folder, here all, as the umask allowed; others
    // read the published copy and follow the counter.
    const auto expectModes = [&](const fs::path& user, const std::vector<const char*>& hives, const char* when) {
        EXPECT_EQ(modeOf(user), 0700u) << when;
        for (const char* suffix : kSideFiles) {
            for (const char* hive : hives)
                EXPECT_EQ(modeOf(user / (hive + std::string(suffix))), 0600u) << when << hive << suffix;
            EXPECT_EQ(modeOf(machine / ("HKEY_LOCAL_MACHINE.db" + std::string(suffix))),
                      std::string(suffix) == "-changes" ? 0664u : 0660u)
                << when << suffix;
        }
        EXPECT_EQ(modeOf(machine / "HKEY_LOCAL_MACHINE.db-published"), 0444u) << when;
    };
    {
        SqliteRegistryStore store(user.string(), machine.string());
        for (const Hive hive : {Hive::CurrentUser, Hive::ClassesRoot, Hive::LocalMachine})
            put(store, create(store, "Software\\App", hive), "v", regtype::Dword, dword(1));
    }
    expectModes(user, {"HKEY_CURRENT_USER.db", "HKEY_CLASSES_ROOT.db"}, "made");

    // A store of an older version left them readable by all: opening tightens them.
    fs::permissions(user, fs::perms::group_read | fs::perms::others_exec, fs::perm_options::add);
    for (const char* suffix : kSideFiles)
        fs::permissions(user / ("HKEY_CURRENT_USER.db" + std::string(suffix)),
                        fs::perms::group_read | fs::perms::others_write, fs::perm_options::add);
    {
        SqliteRegistryStore store(user.string(), machine.string());
        EXPECT_EQ(read(store, open(store, "Software\\App"), "v").data, dword(1));
    }
    expectModes(user, {"HKEY_CURRENT_USER.db"}, "tightened");

    // A shared folder named as the user's (paramcor --registro) stays the group's,
    // whatever the umask of whoever opens it.
    ::umask(077);
    fs::permissions(machine, static_cast<fs::perms>(02775));
    for (const char* suffix : {"-wal", "-shm"})
        fs::remove(machine / ("HKEY_LOCAL_MACHINE.db" + std::string(suffix)));
    {
        SqliteRegistryStore store(machine.string());
        EXPECT_EQ(read(store, open(store, "Software\\App", Hive::LocalMachine), "v").data, dword(1));
    }
    EXPECT_EQ(modeOf(machine), 02775u);
    expectModes(user, {"HKEY_CURRENT_USER.db"}, "opened by a listing");
    ::umask(umask);
}

TEST(SqliteHiveFiles, NoLockOfAUserOutsideTheGroupHoldsAWriterUp) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to act as a user outside the group";
    constexpr gid_t kOperators = 4242;
    TempFolder root("outsiders");
    const fs::path machine = root.path() / "machine";
    fs::create_directories(machine);
    ASSERT_EQ(::chown(machine.c_str(), 0, kOperators), 0);
    fs::permissions(machine, static_cast<fs::perms>(02775));

    // Takes every lock it can on everything in the folder, and reads the machine's
    // settings meanwhile.
    Child outsider([&](Child& self) {
        if (!becomeAnotherUser())
            return 1;
        std::vector<int> held;
        for (const fs::path& path : {machine, machine / "HKEY_LOCAL_MACHINE.db", machine / "HKEY_LOCAL_MACHINE.db-wal",
                                     machine / "HKEY_LOCAL_MACHINE.db-shm", machine / "HKEY_LOCAL_MACHINE.db-changes",
                                     machine / "HKEY_LOCAL_MACHINE.db-published"}) {
            const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
            struct flock lock {};
            lock.l_type = F_RDLCK;
            lock.l_whence = SEEK_SET;  // the whole file, past its end too
            if (fd >= 0 && ::fcntl(fd, F_SETLK, &lock) == 0 && ::flock(fd, LOCK_SH | LOCK_NB) == 0)
                held.push_back(fd);
        }
        SqliteRegistryStore store(root.str(), machine.string());
        if (held.size() < 3 || read(store, open(store, "Software\\App", Hive::LocalMachine), "v").data != dword(1))
            return 2;
        if (!self.go() || !self.heard())
            return 3;
        return read(store, open(store, "Software\\App", Hive::LocalMachine), "v").data == dword(2) ? 0 : 4;
    });
    SqliteRegistryStore::Options noWaiting;
    noWaiting.busyTimeoutMs = 0;  // a lock in the way fails the write at once
    SqliteRegistryStore first(root.str(), machine.string(), noWaiting);
    put(first, create(first, "Software\\App", Hive::LocalMachine), "v", regtype::Dword, dword(1));
    outsider.go();
    ASSERT_TRUE(outsider.heard());

    SqliteRegistryStore second(root.str(), machine.string(), noWaiting);
    put(second, create(second, "Software\\App", Hive::LocalMachine), "w", regtype::Dword, dword(1));
    put(first, create(first, "Software\\App", Hive::LocalMachine), "v", regtype::Dword, dword(2));
    EXPECT_EQ(first.diagnostic(Hive::LocalMachine), "");
    outsider.go();
    EXPECT_EQ(outsider.exitCode(), 0);
}

TEST(SqliteHiveFiles, RootWritingAUsersHiveLeavesItsFilesToTheUser) {
    // An administrator's command on a user's store must not take the files from the
    // user: a counter root made for itself would leave the user's programs reading only.
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to act as the user";
    constexpr uid_t kUser = 65534;  // becomeAnotherUser's
    TempFolder root("rootwrites");
    const fs::path user = root.path() / "user";
    fs::create_directories(user);
    ASSERT_EQ(::chown(user.c_str(), kUser, kUser), 0);
    const auto asTheUser = [&](std::uint32_t value) {
        Child child([&](Child&) {
            if (!becomeAnotherUser())
                return 1;
            SqliteRegistryStore store(user.string());
            StoreKey key(store);
            return key.create(Hive::CurrentUser, "Software\\App") == regerr::Success &&
                           store.setValue(key.handle(), "v", regtype::Dword, dword(value)) == regerr::Success
                       ? 0
                       : 2;
        });
        child.go();
        return child.exitCode();
    };
    ASSERT_EQ(asTheUser(1), 0);
    const fs::path counter = user / "HKEY_CURRENT_USER.db-changes";
    fs::remove(counter);  // as restoring the hive file alone leaves it
    {
        SqliteRegistryStore store(user.string());
        put(store, create(store, "Software\\App"), "w", regtype::Dword, dword(2));
    }
    struct stat st {};
    ASSERT_EQ(::stat(counter.c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, kUser);
    EXPECT_EQ(asTheUser(3), 0);
}

TEST(SqliteHiveFiles, AReaderWithoutWriteRightsReadsTheMachineHiveWhateverBecameOfItsSideFiles) {
    // Characters that a URI must escape: the read-only hive is opened by URI.
    TempFolder root("side files #1?%20");
    const fs::path machine = root.path() / "machine";
    const fs::path hive = machine / "HKEY_LOCAL_MACHINE.db";
    {
        SqliteRegistryStore store(root.str(), machine.string());
        put(store, create(store, "Software\\App", Hive::LocalMachine), "v", regtype::Dword, dword(1));
    }
    // Any SQLite client that opens and closes the hive removes -wal and -shm, and
    // restoring the hive file alone removes the change counter too.
    makeDatabase(hive, "SELECT count(*) FROM keys");
    fs::remove(hive.string() + "-changes");
    ASSERT_FALSE(fs::exists(hive.string() + "-wal") || fs::exists(hive.string() + "-shm"));
    writeFile(hive.string() + "-wal", "");  // as a writer's clean close leaves it, here without its -shm
    // Nobody may write there, root included: as for a user without rights.
    fs::permissions(hive, static_cast<fs::perms>(0444));
    fs::permissions(machine, static_cast<fs::perms>(0555));
    const auto before = folderState(machine, true);

    Child reader([&](Child& self) {
        if (!becomeAnotherUser())
            return 1;
        SqliteRegistryStore store(root.str(), machine.string());
        if (read(store, open(store, "Software\\App", Hive::LocalMachine), "v").data != dword(1) ||
            tryOpen(store, "Software\\App", Hive::LocalMachine, true) != regerr::AccessDenied)
            return 2;
        // An administrator writes meanwhile: the next read sees it.
        if (!self.go() || !self.heard())
            return 4;
        return read(store, open(store, "Software\\App", Hive::LocalMachine), "v").data == dword(2) ? 0 : 5;
    });
    reader.go();
    ASSERT_TRUE(reader.heard());
    EXPECT_EQ(folderState(machine), before);  // the reader created nothing

    fs::permissions(hive, fs::perms::owner_write, fs::perm_options::add);
    fs::permissions(machine, fs::perms::owner_write, fs::perm_options::add);
    SqliteRegistryStore administrator(root.str(), machine.string());
    put(administrator, create(administrator, "Software\\App", Hive::LocalMachine), "v", regtype::Dword, dword(2));
    EXPECT_TRUE(fs::exists(hive.string() + "-changes"));  // made again by the first write
    reader.go();
    EXPECT_EQ(reader.exitCode(), 0);
}

TEST(SqliteHiveFiles, TheCounterIsUsedOnlyWhenItIsAFileOfItsOwn) {
    // A link in its place, a file of another size, another name of some other file or
    // a folder are never written, and then nobody keeps values in memory: every read
    // still sees every write. A link redirects the news of writes: writes are refused.
    const std::string victim = "AAAAAAAA";
    for (int kind = 0; kind < 4; ++kind) {
        SCOPED_TRACE(kind);
        TempFolder root("counterfile");
        fs::create_directories(root.path());
        const fs::path counter = root.path() / "HKEY_CURRENT_USER.db-changes";
        const fs::path other = root.path() / "other";
        writeFile(other, victim);
        kind == 0   ? fs::create_symlink(other, counter)
        : kind == 1 ? fs::create_hard_link(other, counter)
        : kind == 2 ? writeFile(counter, victim + "AAAA")
                    : void(fs::create_directories(counter));
        const std::string counterBefore = fileBytes(counter);
        SqliteRegistryStore writer(root.str());
        SqliteRegistryStore reader(root.str());
        if (kind == 0) {
            EXPECT_EQ(tryOpen(writer, "Software\\App", Hive::CurrentUser, true), regerr::AccessDenied);
            EXPECT_NE(writer.diagnostic(Hive::CurrentUser).find("symbolic link"), std::string::npos);
            fs::remove(counter);
            put(writer, create(writer, "Software\\App"), "v", regtype::Dword, dword(1));
            fs::remove(counter);  // and the link comes back under a running writer
            fs::create_symlink(other, counter);
            KeyHandle key = 0;  // refused at the opening, or at the write
            EXPECT_TRUE(writer.createKey(Hive::CurrentUser, "Software\\App", &key) == regerr::AccessDenied ||
                        writer.setValue(key, "v", regtype::Dword, dword(2)) == regerr::AccessDenied);
        }
        for (std::uint32_t value = 1; value < 4 && kind != 0; ++value) {
            put(writer, create(writer, "Software\\App"), "v", regtype::Dword, dword(value));
            EXPECT_EQ(read(reader, open(reader, "Software\\App"), "v").data, dword(value));
        }
        EXPECT_EQ(fileBytes(other) + fileBytes(counter), victim + counterBefore);
        EXPECT_NE(writer.diagnostic(Hive::CurrentUser).find(counter.string()), std::string::npos);
    }
}

TEST(SqliteHiveFiles, ACounterOfOneWordFromAnEarlierVersionKeepsCountingAndGrows) {
    TempFolder root("oneword");
    SqliteRegistryStore reader(root.str());
    {
        SqliteRegistryStore first(root.str());
        put(first, create(first, "Software\\App"), "v", regtype::Dword, dword(1));
    }
    const fs::path counter = root.path() / "HKEY_CURRENT_USER.db-changes";
    EXPECT_EQ(read(reader, open(reader, "Software\\App"), "v").data, dword(1));
    fs::resize_file(counter, 8);
    SqliteRegistryStore writer(root.str());
    put(writer, create(writer, "Software\\App"), "v", regtype::Dword, dword(2));
    EXPECT_EQ(fs::file_size(counter), 16u);
    EXPECT_EQ(read(reader, open(reader, "Software\\App"), "v").data, dword(2));
}

TEST(SqliteHiveFiles, HivesFoldedWithAnOlderTableAreFoldedAgain) {
    // Romanian "ș" (Latin Extended-B) and Armenian "ա" were their own capitals in the
    // first folding table. Such a hive is made here by folding ASCII only, with a key
    // and a value that the old table let in twice under names that differ in case.
    TempFolder root("refold");
    {
        SqliteRegistryStore store(root.str());
        put(store, create(store, "Software\\Iași\\Setări"), "ա", regtype::Dword, dword(1));
        put(store, create(store, "Software\\Iași"), "Other", regtype::Dword, dword(3));
    }
    makeDatabase(root.path() / "HKEY_CURRENT_USER.db",
                 "UPDATE keys SET folded = upper(path); UPDATE vals SET folded = upper(name);"
                 "DROP TABLE about;"
                 "INSERT INTO keys(path, folded) VALUES('Software\\IAȘI', 'SOFTWARE\\IAȘI');"
                 "INSERT INTO vals VALUES((SELECT id FROM keys WHERE path = 'Software\\IAȘI'), 'Ա', 'Ա', 4,"
                 " x'02000000');"
                 "INSERT INTO vals VALUES((SELECT id FROM keys WHERE path = 'Software\\Iași'), 'ա', 'ա', 4,"
                 " x'05000000');");

    for (int round = 0; round < 2; ++round) {  // the first folds, the second finds it done
        SCOPED_TRACE(round);
        SqliteRegistryStore store(root.str());
        EXPECT_EQ(read(store, open(store, "SOFTWARE\\IAȘI\\SETĂRI"), "Ա").data, dword(1));
        // The two keys are one, with the values of both; of the two values the one
        // already folded so is kept.
        EXPECT_EQ(read(store, open(store, "Software\\iași"), "ա").data, dword(2));
        EXPECT_EQ(read(store, open(store, "Software\\IAȘI"), "other").data, dword(3));
        EXPECT_EQ(listed(store, open(store, "Software"), false).size(), 1u);
        EXPECT_EQ(names(listed(store, open(store, "Software\\iaȘi"), true)), (std::vector<std::string>{"Other", "Ա"}));
    }
}

// A large import leaves no large log behind, and a large delete gives the file's
// pages back.
TEST(SqliteHiveFiles, AHiveShrinksAfterALargeImportAndALargeDelete) {
    TempFolder root("shrink");
    SqliteRegistryStore store(root.str());
    const fs::path hive = store.hiveFile(Hive::CurrentUser);
    ASSERT_EQ(store.beginBatch(Hive::CurrentUser), regerr::Success);
    for (std::uint32_t i = 0; i < 20000; ++i) {
        const KeyHandle key = create(store, "Software\\Big\\" + numbered("k", i));
        put(store, key, "v", regtype::String, Bytes(300, 'x'));
        store.closeKey(key);
    }
    ASSERT_EQ(store.commitBatch(Hive::CurrentUser), regerr::Success);
    const auto full = fs::file_size(hive);
    EXPECT_GT(full, 6u << 20);
    EXPECT_LE(fs::file_size(hive.string() + "-wal"), 4u << 20);

    const KeyHandle software = create(store, "Software");
    ASSERT_EQ(store.deleteTree(software, "Big"), regerr::Success);
    EXPECT_LT(fs::file_size(hive), full / 20);
    EXPECT_LE(fs::file_size(hive.string() + "-wal"), 4u << 20);
}

}  // namespace paramcor::test
