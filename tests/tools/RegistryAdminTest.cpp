// registro elenca and elimina, and the registry files through pipes: the store as an
// administrator's scripts see it.
#include "ToolTesting.h"

#include <QJsonDocument>
#include <QProcess>

#include <algorithm>
#include <set>

namespace paramcor::test {
namespace {

void fill(RegistryStore& store) {
    setValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "zeta", 4, dword(3000));
    setValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "Alfa", 1, utf8("riga uno\nriga due"));
    setValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "", 3, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F});
    setValue(store, Hive::CurrentUser, kSuite + "\\Taglio\\lama", "Passate", 3, {3, 0});
    setValue(store, Hive::CurrentUser, kSuite + "\\Taglio\\Bordo", "Lucido", 3, {1});
    setValue(store, Hive::CurrentUser, kSuite + "\\TaglioX", "Resta", 7, {'a', 0, 'b', 0, 0});
}

TEST(ParamcorRegistryAdmin, ListsInAStableOrderAsTextAndJson) {
    const Workshop workshop;
    auto store = workshop.store();
    fill(store);
    const QString key = QStringLiteral("HKCU\\SOFTWARE\\Corvel\\Taglio");

    const Outcome flat = workshop.run({"registro", "elenca", key});
    EXPECT_EQ(flat.code, 0) << flat;
    EXPECT_EQ(flat.out, QStringLiteral("@\tREG_BINARY\t00 00 00 00 00 00 f8 3f (Double 1.5)\n"
                                       "Alfa\tREG_SZ\triga uno\\nriga due\n"
                                       "zeta\tREG_DWORD\t3000 (0x00000bb8)\n"
                                       "Bordo\\\n"
                                       "lama\\\n"));
    const Outcome deep = workshop.run({"registro", "elenca", "-r", key});
    EXPECT_TRUE(deep.out.endsWith(QStringLiteral("Bordo\\\nBordo\\Lucido\tREG_BINARY\t01 (Boolean True)\n"
                                                 "lama\\\nlama\\Passate\tREG_BINARY\t03 00 (Integer 3)\n")))
        << deep;

    const Outcome json = workshop.run({"registro", "elenca", "--json", "-r", "HKCU\\SOFTWARE"});
    ASSERT_EQ(json.code, 0) << json;
    QJsonParseError error{};
    QJsonDocument::fromJson(json.bytes, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << json;
    EXPECT_TRUE(json.out.contains(QStringLiteral(R"({"codice":7,"dati":"6100620000","nome":"Resta",)"
                                                 R"("tipo":"REG_MULTI_SZ","valore":["a","b"]})")))
        << json;

    const Outcome missing = workshop.run({"registro", "elenca", "HKCU\\SOFTWARE\\Nessuno"});
    EXPECT_EQ(missing.code, 3) << missing;
}

TEST(ParamcorRegistryAdmin, DeletesOnlyWhenConfirmed) {
    const Workshop workshop;
    auto store = workshop.store();
    fill(store);
    const Dump before = dump(store, Hive::CurrentUser, kSuite);
    const QStringList key = {"registro", "elimina", "HKCU\\software\\corvel\\taglio"};

    for (const QByteArray& answer : {QByteArray("n\n"), QByteArray()}) {
        const Outcome refused = workshop.run(key, {}, answer);
        EXPECT_EQ(refused.code, 1) << refused;
        EXPECT_TRUE(refused.err.contains(QStringLiteral("nothing was deleted"))) << refused;
    }
    const Outcome noValue = workshop.run(key + QStringList{"Nessuno", "--si"});
    EXPECT_EQ(noValue.code, 3) << noValue;
    EXPECT_EQ(dump(store, Hive::CurrentUser, kSuite), before);

    const Outcome value = workshop.run(key + QStringList{"ZETA", "--si"});
    EXPECT_EQ(value.code, 0) << value;
    EXPECT_FALSE(storedValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "zeta").found);
    EXPECT_TRUE(storedValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "Alfa").found);

    const Outcome tree = workshop.run(key, {}, "s\n");
    EXPECT_EQ(tree.code, 0) << tree;
    EXPECT_EQ(tree.out, QStringLiteral("Deleted HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio: 3 keys, 4 values\n"));
    Dump left = before;
    std::erase_if(left, [](const auto& entry) { return entry.first.starts_with(kSuite + "\\Taglio\\") ||
                                                       entry.first == kSuite + "\\Taglio"; });
    EXPECT_EQ(dump(store, Hive::CurrentUser, kSuite), left);
}

// Through pipes: a subtree carried into another store, and a file that removes
// values and keys, some of which were never there.
TEST(ParamcorRegistryAdmin, PipesCarrySubtreesAndRemovals) {
    const Workshop workshop;
    auto store = workshop.store();
    fill(store);
    const QString file = workshop.path("taglio.reg");
    ASSERT_EQ(workshop.run({"registro", "esporta", "HKCU\\SOFTWARE\\Corvel\\Taglio", file}).code, 0);
    const Outcome piped = workshop.run({"registro", "esporta", "HKCU\\SOFTWARE\\Corvel\\Taglio", "-"});
    EXPECT_EQ(piped.code, 0) << piped;
    EXPECT_EQ(piped.bytes, fileBytes(file));
    const Workshop other;
    EXPECT_EQ(other.run({"registro", "importa", "-"}, {}, piped.bytes).code, 0);
    auto otherStore = other.store();
    EXPECT_EQ(dump(otherStore, Hive::CurrentUser, kSuite + "\\Taglio"), dump(store, Hive::CurrentUser, kSuite + "\\Taglio"));

    Dump expected = dump(store, Hive::CurrentUser, kSuite);
    expected.erase(kSuite + "\\Taglio\\lama");
    expected[kSuite + "\\Taglio"].erase("zeta");
    expected[kSuite + "\\Taglio"]["Nuovo"] = {4, dword(1)};
    const QByteArray removals = "REGEDIT4\r\n\r\n"
                                "[-HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio\\LAMA]\r\n"
                                "[-HKEY_CURRENT_USER\\SOFTWARE\\Nessuno]\r\n"
                                "[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio]\r\n"
                                "\"Zeta\"=-\r\n\"Mai stato\"=-\r\n\"Nuovo\"=dword:00000001\r\n";
    const Outcome run = workshop.run({"registro", "importa", "-"}, {}, removals);
    EXPECT_EQ(run.code, 0) << run;
    EXPECT_EQ(dump(store, Hive::CurrentUser, kSuite), expected);
}


TEST(ParamcorRegistryAdmin, WatchingPrintsEachChangeAsItHappens) {
    const Workshop workshop;
    QProcess watcher;
    watcher.start(QStringLiteral(PARAMCOR_TOOL),
                  {"--registro", workshop.registry(), "registro", "osserva", "-r", "HKCU\\SOFTWARE\\Corvel"});
    ASSERT_TRUE(watcher.waitForStarted());
    const auto nextLine = [&] {
        while (!watcher.canReadLine() && watcher.waitForReadyRead(5000)) {
        }
        return QString::fromUtf8(watcher.readLine()).trimmed();
    };
    // The watch starts some time after the process: write until it is heard.
    auto store = workshop.store();
    QString first;
    for (int i = 0; i < 50 && first.isEmpty(); ++i) {
        setValue(store, Hive::CurrentUser, kSuite, "Pronto", 4, dword(i));
        if (watcher.waitForReadyRead(100))
            first = nextLine();
    }
    EXPECT_EQ(first, QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Corvel"));

    // Lines until those expected have come; programs may also touch the suite's key.
    const auto linesUntil = [&](const std::set<QString>& expected) {
        std::set<QString> lines;
        while (!std::includes(lines.begin(), lines.end(), expected.begin(), expected.end())) {
            const QString line = nextLine();
            if (line.isEmpty())
                break;
            if (line != QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Corvel"))
                lines.insert(line);
        }
        return lines;
    };
    ASSERT_EQ(workshop.run({"valore", "scrivi", "--sezione", "Lama", "Taglio", "Giri", "Long", "5"}).code, 0);
    const std::set<QString> made = {"HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio",
                                    "HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio\\Lama"};
    EXPECT_EQ(linesUntil(made), made);
    ASSERT_EQ(workshop.run({"registro", "elimina", "--si", "HKCU\\SOFTWARE\\Corvel\\Taglio\\Lama", "Giri"}).code, 0);
    const std::set<QString> changed = {"HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio\\Lama"};
    EXPECT_EQ(linesUntil(changed), changed);
    watcher.kill();
    watcher.waitForFinished();
}

}  // namespace
}  // namespace paramcor::test
