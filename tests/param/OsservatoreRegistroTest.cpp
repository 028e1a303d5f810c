// The registry observer, told of what other processes commit.
#include <CVLParamcor/OsservatoreRegistro.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <set>

QT_BEGIN_NAMESPACE
inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}
QT_END_NAMESPACE

namespace paramcor::test {
namespace {

// Runs `work` on a store of its own in another process, and waits for it.
void inAnotherProcess(const QString& folder, const std::function<void(RegistryStore&)>& work) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        SqliteRegistryStore store(folder.toStdString());
        work(store);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

void set(RegistryStore& store, const std::string& path, const std::string& name) {
    KeyHandle key = 0;
    if (store.createKey(Hive::CurrentUser, path, &key) != regerr::Success ||
        store.setValue(key, name, regtype::Dword, {1, 0, 0, 0}) != regerr::Success)
        ::_exit(1);
    store.closeKey(key);
}

class Heard : public QObject {
public:
    explicit Heard(OsservatoreRegistro& observer) {
        connect(&observer, &OsservatoreRegistro::Cambiata, this,
                [this](Hive hive, const QString& key) { keys.insert((hive == Hive::CurrentUser ? "HKCU\\" : "?\\") + key); });
    }
    // Waits until `expected` has been heard, at most five seconds, and takes it.
    std::set<QString> take(const std::set<QString>& expected) {
        const QDeadlineTimer deadline(5000);
        while (keys != expected && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        return std::exchange(keys, {});
    }
    std::set<QString> keys;
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

    inAnotherProcess(folder, [](RegistryStore& s) { set(s, "SOFTWARE\\Corvel\\Taglio", "Giri"); });
    EXPECT_EQ(deepHeard.take({"HKCU\\SOFTWARE\\Corvel", "HKCU\\SOFTWARE\\Corvel\\Taglio"}),
              (std::set<QString>{"HKCU\\SOFTWARE\\Corvel", "HKCU\\SOFTWARE\\Corvel\\Taglio"}));
    EXPECT_EQ(flatHeard.take({"HKCU\\SOFTWARE\\Corvel"}), std::set<QString>{"HKCU\\SOFTWARE\\Corvel"});

    // Outside the watched key nothing is heard; below it, only the deep watch.
    inAnotherProcess(folder, [](RegistryStore& s) {
        set(s, "SOFTWARE\\Altro", "x");
        set(s, "SOFTWARE\\Corvel\\Taglio\\Lama", "y");
    });
    EXPECT_EQ(deepHeard.take({"HKCU\\SOFTWARE\\Corvel\\Taglio\\Lama"}),
              std::set<QString>{"HKCU\\SOFTWARE\\Corvel\\Taglio\\Lama"});
    inAnotherProcess(folder, [](RegistryStore& s) { set(s, "SOFTWARE\\Corvel", "Lingua"); });
    EXPECT_EQ(flatHeard.take({"HKCU\\SOFTWARE\\Corvel"}), std::set<QString>{"HKCU\\SOFTWARE\\Corvel"});
    EXPECT_EQ(deepHeard.take({"HKCU\\SOFTWARE\\Corvel"}), std::set<QString>{"HKCU\\SOFTWARE\\Corvel"});

    // A deleted tree: every key that went.
    inAnotherProcess(folder, [](RegistryStore& s) {
        KeyHandle key = 0;
        if (s.createKey(Hive::CurrentUser, "SOFTWARE\\Corvel", &key) || s.deleteTree(key, "Taglio"))
            ::_exit(1);
    });
    EXPECT_EQ(deepHeard.take({"HKCU\\SOFTWARE\\Corvel\\Taglio", "HKCU\\SOFTWARE\\Corvel\\Taglio\\Lama"}),
              (std::set<QString>{"HKCU\\SOFTWARE\\Corvel\\Taglio", "HKCU\\SOFTWARE\\Corvel\\Taglio\\Lama"}));

    // After Smetti, nothing.
    deep.Smetti(Hive::CurrentUser, QStringLiteral("SOFTWARE\\CORVEL"));
    inAnotherProcess(folder, [](RegistryStore& s) { set(s, "SOFTWARE\\Corvel", "Altra"); });
    EXPECT_EQ(flatHeard.take({"HKCU\\SOFTWARE\\Corvel"}), std::set<QString>{"HKCU\\SOFTWARE\\Corvel"});
    QCoreApplication::processEvents();
    EXPECT_TRUE(deepHeard.keys.empty());
}

}  // namespace
}  // namespace paramcor::test
