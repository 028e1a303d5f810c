// paramcor's shop commands against a PostgreSQL server of the tests' own.
#include "ToolTesting.h"

#include "../store/PostgresCluster.h"
#include "store/PostgresRegistryStore.h"

#include <QFile>

namespace paramcor::test {
namespace {

const std::string kCutting = kSuite + "\\Taglio";

// The machine value on the server itself.
StoredValue onServer(const std::string& conninfo) {
    PostgresRegistryStore server(conninfo);
    return storedValue(server, Hive::LocalMachine, kCutting, "Giri");
}

TEST(ParamcorShop, StationsJoinAShopAndOnlyTheFirstUploadsItsMachineSettings) {
    PostgresCluster cluster;
    if (!cluster.running())
        GTEST_SKIP() << "The shop's commands are not tested: " << cluster.why();
    const QString server = QString::fromStdString(cluster.conninfo());
    const Workshop first;
    const Workshop second;
    for (const auto& [station, turns] : {std::pair{&first, 3000u}, std::pair{&second, 1u}}) {
        auto store = station->store();
        putValue(store, Hive::LocalMachine, kCutting, "Giri", regtype::Dword, dword(turns));
    }

    EXPECT_EQ(first.run({"negozio", "stato"}).code, 3);
    // A database without the shop's tables is no shop: nothing is written anywhere.
    expectRefused(first.run({"negozio", "collega", server}), 1, QStringLiteral("is not a shop of CVLParamcor"));
    EXPECT_FALSE(QFile::exists(first.installation() + QStringLiteral("/negozio.conf")));

    EXPECT_EQ(first.run({"negozio", "crea", server}).code, 0);
    const Outcome joined = first.run({"negozio", "collega", server});
    EXPECT_EQ(joined.code, 0) << joined;
    EXPECT_TRUE(joined.out.contains(QStringLiteral("holds this station's machine settings"))) << joined;
    EXPECT_EQ(onServer(cluster.conninfo()), (StoredValue{true, regtype::Dword, dword(3000)}));
    // The second station takes the shop's settings as they are.
    const Outcome again = second.run({"negozio", "collega", server});
    EXPECT_EQ(again.code, 0) << again;
    EXPECT_FALSE(again.out.contains(QStringLiteral("holds this station's"))) << again;
    EXPECT_EQ(onServer(cluster.conninfo()), (StoredValue{true, regtype::Dword, dword(3000)}));
    EXPECT_TRUE(fileBytes(second.installation() + QStringLiteral("/negozio.conf")).contains(server.toUtf8()));
    expectRefused(first.run({"negozio", "collega", "host=/nowhere dbname=other"}), 1,
                  QStringLiteral("belongs to the shop"));

    const Outcome state = first.run({"negozio", "stato"});
    EXPECT_EQ(state.code, 0) << state;
    EXPECT_TRUE(state.out.contains(QStringLiteral("Connection\tanswers"))) << state;
    ASSERT_TRUE(cluster.stop());
    EXPECT_EQ(first.run({"negozio", "stato"}).code, 1);
}

}  // namespace
}  // namespace paramcor::test
