// The files of the SQLite store's hives: who may read them, the change counter beside
// each, readers without write rights, and hives written with an older folding table.
#include "StoreTesting.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <sys/stat.h>

namespace paramcor::test {

namespace {

const char* const kSideFiles[] = {"", "-wal", "-shm", "-changes"};

}  // namespace

TEST(SqliteHiveFiles, TheUsersHivesAreHisAlone) {
    const mode_t umask = ::umask(0);
    TempFolder root("modes");
    const fs::path user = root.path() / "user";
    const fs::path machine = root.path() / "machine";
    // The machine's hive is shared as its folder is: its files take the folder's
    // permissions, here everybody's, as the umask allowed.
    const auto expectModes = [&](const fs::path& user, const std::vector<const char*>& hives, const char* when) {
        EXPECT_EQ(modeOf(user), 0700u) << when;
        for (const char* suffix : kSideFiles) {
            for (const char* hive : hives)
                EXPECT_EQ(modeOf(user / (hive + std::string(suffix))), 0600u) << when << hive << suffix;
            EXPECT_EQ(modeOf(machine / ("HKEY_LOCAL_MACHINE.db" + std::string(suffix))), 0666u) << when << suffix;
        }
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
    ::umask(umask);
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
    // still sees every write.
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
        : kind == 2 ? writeFile(counter, victim + victim)
                    : void(fs::create_directories(counter));
        const std::string counterBefore = fileBytes(counter);
        SqliteRegistryStore writer(root.str());
        SqliteRegistryStore reader(root.str());
        for (std::uint32_t value = 1; value < 4; ++value) {
            put(writer, create(writer, "Software\\App"), "v", regtype::Dword, dword(value));
            EXPECT_EQ(read(reader, open(reader, "Software\\App"), "v").data, dword(value));
        }
        EXPECT_EQ(fileBytes(other) + fileBytes(counter), victim + counterBefore);
        EXPECT_NE(writer.diagnostic(Hive::CurrentUser).find(counter.string()), std::string::npos);
    }
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

}  // namespace paramcor::test
