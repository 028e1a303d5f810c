// The shop's store on a real PostgreSQL server: the conformance suite, and what only
// this store does: batches kept whole on the server even when a station dies, the
// server's rights and tables, and the server going away and coming back.
#include "PostgresCluster.h"
#include "StoreTesting.h"

#include "PostgresRegistryStore.h"

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

INSTANTIATE_TEST_SUITE_P(Postgres, RegistryStoreConformance,
                         ::testing::Values(StoreUnderTest{"Shop", shopStore, [](const std::string&) { emptyShop(); }}),
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

class PostgresRegistryStoreTest : public ::testing::Test {
protected:
    void TearDown() override { emptyShop(); }
};

}  // namespace

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

TEST_F(PostgresRegistryStoreTest, WhatTheServerRefusesIsNamed) {
    // A role that may only read, and a database without the shop's tables.
    ASSERT_EQ(cluster->execute("CREATE ROLE reader LOGIN; GRANT SELECT ON paramcor_keys, paramcor_values TO reader"),
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
        PostgresRegistryStore notAShop(cluster->conninfo("other"));
        EXPECT_EQ(tryOpen(notAShop, kImport, Hive::LocalMachine), regerr::BadDatabase);
        EXPECT_NE(notAShop.diagnostic(Hive::LocalMachine).find("/other is not a shop of CVLParamcor"),
                  std::string::npos)
            << notAShop.diagnostic(Hive::LocalMachine);
    }
    EXPECT_EQ(cluster->execute("DROP DATABASE other"), "");
    EXPECT_EQ(cluster->execute("DROP OWNED BY reader; DROP ROLE reader"), "");
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
