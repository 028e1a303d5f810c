// The registry observer, told of what other processes commit.
#include <CVLParamcor/OsservatoreRegistro.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <set>

namespace paramcor {
namespace {

// Another program writes a value into each of these keys, or with `deleted` removes
// the tree of that name under the first, then ends.
void inAnotherProcess(const QString& folder, const std::vector<std::string>& keys, const char* deleted = nullptr) {
    QStringList arguments{folder};
    for (const std::string& key : keys)
        arguments << QString::fromStdString(key);
    if (deleted)
        arguments << QStringLiteral("--delete") << QString::fromUtf8(deleted);
    QProcess writer;
    writer.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    writer.start(QStringLiteral(STORE_WRITER), arguments);
    ASSERT_TRUE(writer.waitForFinished(30000));
    ASSERT_EQ(writer.exitStatus(), QProcess::NormalExit);
    ASSERT_EQ(writer.exitCode(), 0);
}

class Heard : public QObject {
public:
    explicit Heard(OsservatoreRegistro& observer) {
        connect(&observer, &OsservatoreRegistro::Cambiata, this, [this](Hive hive, const QString& key) {
            keys.insert((hive == Hive::CurrentUser ? "HKCU\\" : "?\\") + key.toStdString());
        });
    }
    // What was heard once `expected` has been, or after five seconds.
    std::set<std::string> take(const std::set<std::string>& expected) {
        const QDeadlineTimer deadline(5000);
        while (keys != expected && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        return std::exchange(keys, {});
    }
    std::set<std::string> keys;
};

TEST(OsservatoreRegistro, HearsWhatOtherProcessesCommitUnderTheWatchedKeys) {
    int argc = 1;
    char name[] = "osservatore";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    QTemporaryDir dir;
    const QString folder = dir.path() + QStringLiteral("/not/yet");  // nothing there until the first write
    auto store = std::make_shared<SqliteRegistryStore>(folder.toStdString());
    OsservatoreRegistro deep(store);
    OsservatoreRegistro flat(store);
    ASSERT_TRUE(deep.Osserva(Hive::CurrentUser, QStringLiteral("SOFTWARE\\Corvel"), true));
    ASSERT_TRUE(flat.Osserva(Hive::CurrentUser, QStringLiteral("software\\corvel\\"), false));
    Heard deepHeard(deep);
    Heard flatHeard(flat);
    const std::string corvel = "HKCU\\SOFTWARE\\Corvel";

    inAnotherProcess(folder, {"SOFTWARE\\Corvel\\Taglio"});
    EXPECT_EQ(deepHeard.take({corvel, corvel + "\\Taglio"}), (std::set<std::string>{corvel, corvel + "\\Taglio"}));
    EXPECT_EQ(flatHeard.take({corvel}), std::set<std::string>{corvel});
    // Outside the watched key nothing is heard; below it, only the deep watch.
    inAnotherProcess(folder, {"SOFTWARE\\Altro", "SOFTWARE\\Corvel\\Taglio\\Lama"});
    EXPECT_EQ(deepHeard.take({corvel + "\\Taglio\\Lama"}), std::set<std::string>{corvel + "\\Taglio\\Lama"});
    deep.Smetti(Hive::CurrentUser, QStringLiteral("SOFTWARE\\Altro"));  // another key: this watch stays
    // A deleted tree: every key that went.
    inAnotherProcess(folder, {"SOFTWARE\\Corvel"}, "Taglio");
    EXPECT_EQ(deepHeard.take({corvel + "\\Taglio", corvel + "\\Taglio\\Lama"}),
              (std::set<std::string>{corvel + "\\Taglio", corvel + "\\Taglio\\Lama"}));
    // After Smetti, nothing.
    deep.Smetti(Hive::CurrentUser, QStringLiteral("SOFTWARE\\CORVEL"));
    inAnotherProcess(folder, {"SOFTWARE\\Corvel"});
    EXPECT_EQ(flatHeard.take({corvel}), std::set<std::string>{corvel});
    QCoreApplication::processEvents();
    EXPECT_TRUE(deepHeard.keys.empty());
}

TEST(OsservatoreRegistro, KeepsHearingWhenTheHiveFilesAreRemovedOrTheChangeFileReplaced) {
    int argc = 1;
    char name[] = "osservatore";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    QTemporaryDir dir;
    const QString folder = dir.path() + QStringLiteral("/store");
    const std::string hive = folder.toStdString() + "/HKEY_CURRENT_USER.db";
    auto store = std::make_shared<SqliteRegistryStore>(folder.toStdString());
    OsservatoreRegistro observer(store);
    ASSERT_TRUE(observer.Osserva(Hive::CurrentUser, QStringLiteral("SOFTWARE\\Corvel"), true));
    Heard heard(observer);
    const std::string corvel = "HKCU\\SOFTWARE\\Corvel";
    inAnotherProcess(folder, {"SOFTWARE\\Corvel\\A"});
    EXPECT_EQ(heard.take({corvel, corvel + "\\A"}), (std::set<std::string>{corvel, corvel + "\\A"}));

    std::filesystem::remove_all(folder.toStdString());
    inAnotherProcess(folder, {"SOFTWARE\\Corvel\\B"});
    EXPECT_EQ(heard.take({corvel + "\\A", corvel + "\\B"}), (std::set<std::string>{corvel + "\\A", corvel + "\\B"}));

    // The -wal and -shm removed under both.
    std::filesystem::remove(hive + "-wal");
    std::filesystem::remove(hive + "-shm");
    inAnotherProcess(folder, {"SOFTWARE\\Corvel\\W"});
    EXPECT_EQ(heard.take({corvel + "\\W"}), std::set<std::string>{corvel + "\\W"});

    // The change file replaced by another, as a move leaves it.
    const std::string counter = hive + "-changes";
    std::filesystem::copy_file(counter, counter + ".new");
    std::filesystem::rename(counter + ".new", counter);
    inAnotherProcess(folder, {"SOFTWARE\\Corvel\\F"});
    EXPECT_EQ(heard.take({corvel + "\\F"}), std::set<std::string>{corvel + "\\F"});

    // Another hive moved over this one while the old one, held open here, still has
    // writes in its -wal: the next program writes into the new file, with none of them.
    inAnotherProcess(folder, {"SOFTWARE\\Corvel\\G"});
    QTemporaryDir elsewhere;
    {
        SqliteRegistryStore other(elsewhere.path().toStdString());  // closed: its file holds every write
        StoreKey key(other);
        ASSERT_EQ(key.create(Hive::CurrentUser, "SOFTWARE\\Corvel\\M"), regerr::Success);
    }
    std::filesystem::rename(elsewhere.path().toStdString() + "/HKEY_CURRENT_USER.db", hive);
    inAnotherProcess(folder, {"SOFTWARE\\Corvel\\N"});
    const std::set<std::string> moved = {corvel + "\\B", corvel + "\\F", corvel + "\\M", corvel + "\\N",
                                         corvel + "\\W"};
    EXPECT_EQ(heard.take(moved), moved);
    // G is not lost for whoever still has the old file: its -wal is kept under a name of its own.
    int keptLogs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.toStdString()))
        keptLogs += entry.path().string().rfind(hive + "-wal.", 0) == 0 && entry.file_size() > 0;
    EXPECT_EQ(keptLogs, 1);
    SqliteRegistryStore later(folder.toStdString());
    for (const char* path : {"SOFTWARE\\Corvel\\M", "SOFTWARE\\Corvel\\N", "SOFTWARE\\Corvel\\F"}) {
        StoreKey key(later);
        EXPECT_EQ(key.open(Hive::CurrentUser, path), path[16] == 'F' ? regerr::FileNotFound : regerr::Success) << path;
    }
}

}  // namespace
}  // namespace paramcor
