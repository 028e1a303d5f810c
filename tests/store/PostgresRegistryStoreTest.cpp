// The shop's store on a real PostgreSQL server: the conformance suite, and what only
// this store does: batches kept whole on the server even when a station dies, the
// server's rights and tables, and the server going away and coming back.
#include "PostgresCluster.h"
#include "StoreTesting.h"

#include "PostgresRegistryStore.h"
#include "ShopCopy.h"
#include "StationRegistryStore.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <memory>
#include <set>
#include <vector>

namespace paramcor::test {

namespace {

PostgresCluster* cluster = nullptr;

// One cluster for the whole program; without a server every test is skipped.
class ClusterEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        cluster = new PostgresCluster();
        if (!cluster->running())
            GTEST_SKIP() << "The shop's store is not tested: " << cluster->why();
        ASSERT_EQ(PostgresRegistryStore::prepareDatabase(cluster->conninfo()), "");
    }
    void TearDown() override {
        delete cluster;
        cluster = nullptr;
    }
};

const auto* const environment = ::testing::AddGlobalTestEnvironment(new ClusterEnvironment);

std::unique_ptr<RegistryStore> shopStore() {
    return std::make_unique<PostgresRegistryStore>(cluster->conninfo());
}

void emptyShop() {
    EXPECT_EQ(cluster->execute("TRUNCATE paramcor_values, paramcor_keys"), "");
    EXPECT_EQ(PostgresRegistryStore::prepareDatabase(cluster->conninfo()), "");
}

// A station of the shop: its machine hive on the server, read from its own copy, the
// others in its own files.
StoreUnderTest stationStore() {
    const auto root = std::make_shared<fs::path>(uniqueTempPath("station"));
    return {"Station",
            [root]() -> std::unique_ptr<RegistryStore> {
                return std::make_unique<StationRegistryStore>(
                    std::make_shared<SqliteRegistryStore>(root->string()),
                    std::make_shared<PostgresRegistryStore>(cluster->conninfo()),
                    std::make_shared<store::ShopCopy>(cluster->conninfo(), (*root / "copy").string()));
            },
            [root](const std::string&) {
                emptyShop();
                fs::remove_all(*root);
            }};
}

INSTANTIATE_TEST_SUITE_P(Postgres, RegistryStoreConformance,
                         ::testing::Values(StoreUnderTest{"Shop", shopStore, [](const std::string&) { emptyShop(); }},
                                           stationStore()),
                         [](const auto& info) { return info.param.name; });

constexpr char kImport[] = "SOFTWARE\\CVLParamcorTest\\Import";

long valueCount(RegistryStore& store, const std::string& path) {
    KeyHandle key = 0;
    if (store.openKey(Hive::LocalMachine, path, &key) != regerr::Success)
        return -1;
    const auto count = static_cast<long>(listed(store, key, true).size());
    store.closeKey(key);
    return count;
}

// Whether a file's time moves from `before` within half a minute: a loaded machine
// (twenty stations, or the tests run twice at once) may take seconds.
bool timeMoves(const fs::path& file, fs::file_time_type before) {
    for (int i = 0; i < 3000; ++i) {
        std::error_code absent;
        if (fs::last_write_time(file, absent) != before && !absent)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

class PostgresRegistryStoreTest : public ::testing::Test {
protected:
    void TearDown() override { emptyShop(); }
};

}  // namespace

TEST_F(PostgresRegistryStoreTest, TheStationsMachineHiveIsOnTheServerAndTheUsersHivesAtHome) {
    TempFolder home("home");
    const auto local = std::make_shared<SqliteRegistryStore>(home.str());
    StationRegistryStore station(local, std::make_shared<PostgresRegistryStore>(cluster->conninfo()));
    for (const Hive hive : {Hive::LocalMachine, Hive::CurrentUser})
        put(station, create(station, kImport, hive), "v", regtype::Dword, dword(static_cast<std::uint32_t>(hive)));
    PostgresRegistryStore shop(cluster->conninfo());
    EXPECT_EQ(read(shop, open(shop, kImport, Hive::LocalMachine), "v").data, dword(0x80000002u));
    EXPECT_EQ(tryOpen(shop, kImport, Hive::CurrentUser), regerr::FileNotFound);
    EXPECT_EQ(read(*local, open(*local, kImport, Hive::CurrentUser), "v").data, dword(0x80000001u));
    EXPECT_EQ(tryOpen(*local, kImport, Hive::LocalMachine), regerr::FileNotFound);
    const std::string machine = station.location(Hive::LocalMachine);
    EXPECT_TRUE(machine.starts_with("PostgreSQL /") && machine.ends_with(":5432/postgres")) << machine;
    EXPECT_EQ(station.location(Hive::CurrentUser), local->hiveFile(Hive::CurrentUser));

    // What negozio.conf names: a service, or a connection string; nothing when absent.
    const fs::path conf = home.path() / "negozio.conf";
    const std::pair<std::string, std::string> files[] = {
        {"# the shop\n\n  officina  \n", "service=officina"},
        {"host=server.shop dbname=paramcor\nignored\n", "host=server.shop dbname=paramcor"},
        {"# nothing\n", ""},
    };
    for (const auto& [content, connection] : files) {
        writeFile(conf, content);
        EXPECT_EQ(shopConnection(conf.string()), connection) << content;
    }
    EXPECT_EQ(shopConnection((home.path() / "absent.conf").string()), "");
}

TEST_F(PostgresRegistryStoreTest, BatchesAreWholeOnTheServerEvenWhenTheStationDies) {
    PostgresRegistryStore store(cluster->conninfo());
    PostgresRegistryStore other(cluster->conninfo());
    const auto writeBatch = [](RegistryStore& s, int values) {
        const KeyHandle key = create(s, kImport, Hive::LocalMachine);
        for (int i = 0; i < values; ++i)
            put(s, key, numbered("v", static_cast<std::uint32_t>(i)), regtype::Dword, dword(i));
        s.closeKey(key);
    };

    // Until the commit nobody else sees any of it; an abort leaves nothing, the key neither.
    ASSERT_EQ(store.beginBatch(Hive::LocalMachine), regerr::Success);
    EXPECT_EQ(store.beginBatch(Hive::LocalMachine), regerr::InvalidParameter);
    writeBatch(store, 10);
    EXPECT_EQ(valueCount(other, kImport), -1);
    EXPECT_EQ(store.abortBatch(Hive::LocalMachine), regerr::Success);
    EXPECT_EQ(valueCount(store, kImport), -1);

    // A write refused inside a batch (a handle only opened) leaves the rest whole.
    ASSERT_EQ(store.beginBatch(Hive::LocalMachine), regerr::Success);
    writeBatch(store, 10);
    const KeyHandle readOnly = open(store, kImport, Hive::LocalMachine);
    EXPECT_EQ(store.setValue(readOnly, "refused", regtype::Dword, dword(1)), regerr::AccessDenied);
    EXPECT_EQ(store.commitBatch(Hive::LocalMachine), regerr::Success);
    EXPECT_EQ(valueCount(other, kImport), 10);
    EXPECT_EQ(store.commitBatch(Hive::LocalMachine), regerr::InvalidParameter);

    // A station killed in the middle of an import leaves nothing of it on the server.
    const std::string killed = std::string(kImport) + "Killed";
    {
        Child station([&killed, &writeBatch](Child& self) {
            PostgresRegistryStore own(cluster->conninfo());
            if (own.beginBatch(Hive::LocalMachine) != regerr::Success)
                return 1;
            put(own, create(own, killed, Hive::LocalMachine), "first", regtype::Dword, dword(1));
            writeBatch(own, 200);
            self.go();  // half way
            self.heard();
            return 0;
        });
        ASSERT_TRUE(station.go());
        ASSERT_TRUE(station.heard());
    }  // SIGKILL
    EXPECT_EQ(valueCount(other, killed), -1);
    EXPECT_EQ(valueCount(other, kImport), 10);
}

// A station of the shop with its copy in `folder`.
StationRegistryStore station(const fs::path& folder) {
    return StationRegistryStore(std::make_shared<SqliteRegistryStore>(folder.string()),
                                std::make_shared<PostgresRegistryStore>(cluster->conninfo()),
                                std::make_shared<store::ShopCopy>(cluster->conninfo(), (folder / "copy").string()));
}

// Whether a station's copy comes to hold `count` values under `path` within half a minute.
bool copyHolds(RegistryStore& station, const std::string& path, long count) {
    for (int i = 0; i < 3000 && valueCount(station, path) != count; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return valueCount(station, path) == count;
}

TEST_F(PostgresRegistryStoreTest, StationsWritingAtOnceLoseNothingAcknowledged) {
    // Twenty stations create the same keys at once and write to a shared key and to
    // their own; then each waits for its copy to hold every station's writes. A station
    // tells, by its exit code, how many writes were not acknowledged, or 200 and more
    // when its copy, or a watcher of it, missed some.
    constexpr std::uint32_t kStations = 20;
    constexpr std::uint32_t kWrites = 25;
    const std::string shared = std::string(kImport) + "\\Shared\\Deep";
    TempFolder home("stations");
    std::vector<std::unique_ptr<Child>> stations;
    for (std::uint32_t s = 0; s < kStations; ++s)
        stations.push_back(std::make_unique<Child>([&shared, &home, s](Child&) {
            StationRegistryStore own = station(home.path() / numbered("s", s));
            // What a watcher of the station hears: it must hear each station's key.
            std::uint64_t position = 0;
            std::vector<RegistryStore::KeyChange> changes;
            own.changesSince(Hive::LocalMachine, position, changes);
            int refused = 0;
            KeyHandle common = 0;
            KeyHandle mine = 0;
            if (own.createKey(Hive::LocalMachine, shared, &common) != regerr::Success ||
                own.createKey(Hive::LocalMachine, shared + numbered("\\Station", s), &mine) != regerr::Success)
                return 255;
            for (std::uint32_t w = 0; w < kWrites; ++w) {
                refused += own.setValue(common, numbered(numbered("s", s) + "w", w), regtype::Dword, dword(w)) != 0;
                refused += own.setValue(mine, "last", regtype::Dword, dword(w)) != 0;
            }
            if (!copyHolds(own, shared, kStations * kWrites))
                return 200;
            for (std::uint32_t other = 0; other < kStations; ++other)
                if (valueCount(own, shared + numbered("\\Station", other)) != 1)
                    return 201;
            if (own.changesSince(Hive::LocalMachine, position, changes) != regerr::Success)
                return 202;
            std::set<std::string> heard;
            for (const auto& change : changes)
                heard.insert(change.subtree && shared.rfind(change.path, 0) == 0 ? std::string() : change.path);
            for (std::uint32_t other = 0; other < kStations && !heard.count(std::string()); ++other)
                if (!heard.count(shared + numbered("\\Station", other)))
                    return 203;
            return std::min(refused, 199);
        }));
    for (auto& station : stations)
        ASSERT_TRUE(station->go());
    for (auto& station : stations)
        EXPECT_EQ(station->exitCode(), 0);
    PostgresRegistryStore store(cluster->conninfo());
    EXPECT_EQ(valueCount(store, shared), static_cast<long>(kStations * kWrites));
    EXPECT_EQ(names(listed(store, open(store, shared, Hive::LocalMachine), false)).size(), kStations);
    for (std::uint32_t s = 0; s < kStations; ++s)
        EXPECT_EQ(read(store, open(store, shared + numbered("\\Station", s), Hive::LocalMachine), "last").data,
                  dword(kWrites - 1));
}

TEST_F(PostgresRegistryStoreTest, TheCopyTakesEachChangeOnItsOwnAndTellsWhichKeyChanged) {
    TempFolder home("follow");
    StationRegistryStore reading = station(home.path() / "reading");
    PostgresRegistryStore writing(cluster->conninfo());
    const std::string a = std::string(kImport) + "\\A";
    const std::string b = std::string(kImport) + "\\B";
    put(writing, create(writing, a + "\\Deep", Hive::LocalMachine), "v", regtype::Dword, dword(1));
    put(writing, create(writing, b, Hive::LocalMachine), "w", regtype::Dword, dword(2));
    ASSERT_TRUE(copyHolds(reading, b, 1));
    std::uint64_t position = 0;
    std::vector<RegistryStore::KeyChange> changes;
    ASSERT_EQ(reading.changesSince(Hive::LocalMachine, position, changes), regerr::Success);

    // A tree deleted and made again at its path, and a value rewritten elsewhere.
    EXPECT_EQ(writing.deleteTree(create(writing, kImport, Hive::LocalMachine), "A"), regerr::Success);
    put(writing, create(writing, a, Hive::LocalMachine), "again", regtype::Dword, dword(3));
    KeyHandle rewritten = create(writing, b, Hive::LocalMachine);
    EXPECT_EQ(writing.deleteValue(rewritten, "w"), regerr::Success);
    put(writing, rewritten, "x", regtype::String, {'4'});
    ASSERT_TRUE(copyHolds(reading, b, 1) && copyHolds(reading, a, 1));
    for (int i = 0; i < 3000 && read(reading, open(reading, b, Hive::LocalMachine), "x").rc != regerr::Success; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(read(reading, open(reading, a, Hive::LocalMachine), "again").data, dword(3));
    EXPECT_EQ(tryOpen(reading, a + "\\Deep", Hive::LocalMachine), regerr::FileNotFound);
    EXPECT_EQ(read(reading, open(reading, b, Hive::LocalMachine), "w").rc, regerr::FileNotFound);
    EXPECT_EQ(read(reading, open(reading, b, Hive::LocalMachine), "x").data, Bytes({'4'}));
    // Told key by key, never as the whole hive.
    ASSERT_EQ(reading.changesSince(Hive::LocalMachine, position, changes), regerr::Success);
    std::set<std::string> paths;
    for (const auto& change : changes)
        paths.insert(change.path);
    EXPECT_TRUE(paths.count(b));
    for (const std::string& path : paths)  // not the hive read again and written whole
        EXPECT_EQ(path.rfind(std::string(kImport) + "\\", 0), 0u) << path;
}

TEST_F(PostgresRegistryStoreTest, StationsReadTheirCopyWhileTheServerIsAwayAndCatchUpAfter) {
    TempFolder home("outage");
    StationRegistryStore reading = station(home.path() / "reading");
    PostgresRegistryStore writing(cluster->conninfo());
    const KeyHandle written = create(writing, kImport, Hive::LocalMachine);
    put(writing, written, "v", regtype::Dword, dword(1));
    ASSERT_TRUE(copyHolds(reading, kImport, 1));
    const KeyHandle key = open(reading, kImport, Hive::LocalMachine);

    ASSERT_TRUE(cluster->stop());
    EXPECT_EQ(read(reading, key, "v").data, dword(1));
    EXPECT_EQ(read(reading, open(reading, kImport, Hive::LocalMachine), "v").data, dword(1));
    EXPECT_EQ(reading.setValue(key, "lost", regtype::Dword, dword(2)), regerr::IoFailed);
    EXPECT_NE(reading.diagnostic(Hive::LocalMachine).find("the shop's server "), std::string::npos);

    ASSERT_TRUE(cluster->start());
    PostgresRegistryStore later(cluster->conninfo());  // the first store's link is gone with the server
    put(later, create(later, kImport, Hive::LocalMachine), "after", regtype::Dword, dword(3));
    ASSERT_TRUE(copyHolds(reading, kImport, 2));
    EXPECT_EQ(read(reading, key, "after").data, dword(3));
    EXPECT_EQ(read(reading, key, "lost").rc, regerr::FileNotFound);
    // Said once; and the station writes again by itself.
    EXPECT_NE(reading.diagnostic(Hive::LocalMachine).find("is back: the local copy has caught up"), std::string::npos);
    EXPECT_EQ(reading.diagnostic(Hive::LocalMachine).find("is back"), std::string::npos);
    const KeyHandle writable = create(reading, kImport, Hive::LocalMachine);
    put(reading, writable, "again", regtype::Dword, dword(4));
    EXPECT_EQ(read(reading, writable, "again").data, dword(4));
    EXPECT_EQ(reading.diagnostic(Hive::LocalMachine), "");
}

TEST_F(PostgresRegistryStoreTest, OtherStationsChangesAreToldThroughTheChangeFile) {
    TempFolder home("changes");
    const fs::path file = home.path() / "shop-changes";
    PostgresRegistryStore listening(cluster->conninfo(), file.string());
    PostgresRegistryStore other(cluster->conninfo());
    EXPECT_EQ(other.changeFile(Hive::LocalMachine), "");
    ASSERT_EQ(listening.changeFile(Hive::LocalMachine), file.string());
    ASSERT_TRUE(timeMoves(file, {}));  // made once it listens
    EXPECT_EQ(modeOf(file), 0600u);
    // Told at each commit, one after the other, and not before the commit.
    const auto told = [&file](const std::function<void()>& change) {
        const auto before = fs::last_write_time(file);
        change();
        return timeMoves(file, before);
    };
    KeyHandle key = 0;
    EXPECT_TRUE(told([&] { key = create(other, kImport, Hive::LocalMachine); }));
    EXPECT_TRUE(told([&] { put(other, key, "v", regtype::Dword, dword(1)); }));
    EXPECT_TRUE(told([&] {
        ASSERT_EQ(other.beginBatch(Hive::LocalMachine), regerr::Success);
        const auto before = fs::last_write_time(file);
        put(other, key, "v", regtype::Dword, dword(2));
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_EQ(fs::last_write_time(file), before) << "before the commit";
        ASSERT_EQ(other.commitBatch(Hive::LocalMachine), regerr::Success);
    }));
    // And once more when the server comes back: what changed meanwhile is to be read anew.
    ASSERT_TRUE(cluster->stop());
    const auto before = fs::last_write_time(file);
    ASSERT_TRUE(cluster->start());
    EXPECT_TRUE(timeMoves(file, before));
}

TEST_F(PostgresRegistryStoreTest, WhatTheServerRefusesIsNamed) {
    // The shop's two roles, and a database without the shop's tables.
    ASSERT_EQ(cluster->execute("CREATE ROLE reader LOGIN IN ROLE paramcor_readers;"
                               "CREATE ROLE operator LOGIN IN ROLE paramcor_operators"),
              "");
    ASSERT_EQ(cluster->execute("CREATE DATABASE other"), "");
    {
        PostgresRegistryStore admin(cluster->conninfo());
        put(admin, create(admin, kImport, Hive::LocalMachine), "v", regtype::Dword, dword(1));
    }
    PostgresRegistryStore reader(cluster->conninfo() + " user=reader");
    const KeyHandle existing = create(reader, kImport, Hive::LocalMachine);  // opening changes nothing
    EXPECT_EQ(read(reader, existing, "v").data, dword(1));
    EXPECT_EQ(reader.setValue(existing, "w", regtype::Dword, dword(2)), regerr::AccessDenied);
    EXPECT_NE(reader.diagnostic(Hive::LocalMachine).find("permission denied"), std::string::npos)
        << reader.diagnostic(Hive::LocalMachine);
    EXPECT_EQ(reader.deleteValue(existing, "v"), regerr::AccessDenied);
    EXPECT_EQ(tryOpen(reader, std::string(kImport) + "\\New", Hive::LocalMachine, true), regerr::AccessDenied);
    {
        PostgresRegistryStore operatorStation(cluster->conninfo() + " user=operator");
        put(operatorStation, create(operatorStation, std::string(kImport) + "\\New", Hive::LocalMachine), "w",
            regtype::Dword, dword(3));
        EXPECT_EQ(operatorStation.deleteTree(create(operatorStation, kImport, Hive::LocalMachine), "New"),
                  regerr::Success);
    }

    {
        PostgresRegistryStore notAShop(cluster->conninfo("other"));
        EXPECT_EQ(tryOpen(notAShop, kImport, Hive::LocalMachine), regerr::BadDatabase);
        EXPECT_NE(notAShop.diagnostic(Hive::LocalMachine).find("/other is not a shop of CVLParamcor"),
                  std::string::npos)
            << notAShop.diagnostic(Hive::LocalMachine);
    }
    EXPECT_EQ(cluster->execute("DROP DATABASE other"), "");
    EXPECT_EQ(cluster->execute("DROP OWNED BY reader, operator; DROP ROLE reader, operator"), "");
}

TEST_F(PostgresRegistryStoreTest, TheServerAwayFailsClearlyAndItsReturnIsNoticedWithoutHelp) {
    PostgresRegistryStore store(cluster->conninfo());
    const KeyHandle key = create(store, kImport, Hive::LocalMachine);
    put(store, key, "v", regtype::Dword, dword(1));
    ASSERT_EQ(store.beginBatch(Hive::LocalMachine), regerr::Success);
    put(store, key, "inBatch", regtype::Dword, dword(2));

    ASSERT_TRUE(cluster->stop());
    EXPECT_EQ(read(store, key, "v").rc, regerr::IoFailed);
    const std::string why = store.diagnostic(Hive::LocalMachine);
    EXPECT_NE(why.find("the shop's server "), std::string::npos) << why;
    EXPECT_EQ(store.setValue(key, "lost", regtype::Dword, dword(3)), regerr::IoFailed);
    EXPECT_EQ(store.commitBatch(Hive::LocalMachine), regerr::IoFailed);
    EXPECT_NE(store.diagnostic(Hive::LocalMachine).find("the batch was lost"), std::string::npos);
    EXPECT_EQ(tryOpen(store, kImport, Hive::LocalMachine), regerr::IoFailed);

    ASSERT_TRUE(cluster->start());
    EXPECT_EQ(read(store, key, "v").data, dword(1));
    EXPECT_EQ(read(store, key, "inBatch").rc, regerr::FileNotFound);
    put(store, key, "after", regtype::Dword, dword(4));
    EXPECT_EQ(store.diagnostic(Hive::LocalMachine), "");
}

}  // namespace paramcor::test
