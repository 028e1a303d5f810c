// The library-wide selection: key paths, the Push stack, opening keys.
#include "selection/MainParametri.h"
#include "platform/RegisteredWindows.h"
#include "support/TestPlatform.h"
#include "support/TextFiles.h"

#include <CVLParamcor/Parametri.h>

#include <QDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace paramcor {
namespace {

using test::TestPlatform;

MainParametri& state() {
    return MainParametri::instance();
}

TEST(Selection, ComposesTheKeyPath) {
    const struct {
        QString root;
        bool localMachine;
        QVariant noCorvel;  // given to CurrentUser inside a Push, which Pop keeps
        QString program;
        QString section;
        QString expected;
    } cases[] = {
        {"\\Corvel", false, {}, "Prog", "Sez", "SOFTWARE\\Corvel\\Prog\\Sez"},
        {"\\Corvel", true, {}, {}, "", "SOFTWARE\\Corvel"},
        {"", false, {}, "Prog", "", "SOFTWARE\\Prog"},
        {"\\Corvel", false, Boolean(true), "Prog", "Sez", "\\Prog\\Sez"},
        {"\\Corvel", true, Long(-1), {}, "", ""},
        {"\\Corvel", false, String(" TRUE "), {}, "", ""},
        {"\\Corvel", false, String("0.1"), {}, "", ""},
        {"\\Corvel", false, String("sì"), {}, "", "SOFTWARE\\Corvel"},
        {"\\Corvel", false, String("1e999"), {}, "", "SOFTWARE\\Corvel"},  // too large to be a number
        {"\\Corvel", false, Null(), {}, "", "SOFTWARE\\Corvel"},
        {"\\Corvel", false, {}, "A\\B", "C\\", "SOFTWARE\\Corvel\\A\\B\\C\\"},  // levels are not trimmed
    };
    for (const auto& c : cases) {
        TestPlatform platform;
        Parametri par;
        state().setRegistryRoot(c.root);
        if (c.localMachine)
            par.LocalMachine();
        if (!c.program.isNull())
            par.Programma(c.program);
        par.Sezione(c.section);
        par.Push();
        par.CurrentUser(c.noCorvel);
        par.Pop();
        EXPECT_EQ(state().ComposeKeyPath(), c.expected) << c.expected.toStdString();
        EXPECT_EQ(state().hive(), c.localMachine ? Hive::LocalMachine : Hive::CurrentUser);
    }
}

TEST(Selection, IsSharedByEveryObjectAndResetByCreationAndByTheProgram) {
    TestPlatform platform;
    state().setRegistryRoot("\\Old");
    state().selectHive(Hive::LocalMachine, true);
    Parametri first;
    Parametri second;
    EXPECT_EQ(state().hive(), Hive::CurrentUser);
    EXPECT_EQ(state().registryRoot(), "");
    EXPECT_FALSE(state().noMakerRoot());
    // Setting the program clears the section and the no-maker-root flag, not the store.
    first.LocalMachine(Boolean(true));
    first.Sezione("Sez");
    first.Programma("Prog");
    EXPECT_EQ(first.Sezione(), "");
    EXPECT_FALSE(state().noMakerRoot());
    EXPECT_EQ(state().hive(), Hive::LocalMachine);
    first.CurrentUser();
    first.Sezione("Lama");
    first.ModoDebug(true);
    EXPECT_EQ(second.Sezione(), "Lama");
    EXPECT_TRUE(second.ModoDebug());
    second.ScriviParametro("Giri", Long(3000));
    EXPECT_EQ(first.LeggiParametro("Giri", Long(1)), Long(3000));
}

TEST(PushPop, RestoresStoreProgramAndSectionAndOverflowsAt100) {
    TestPlatform platform;
    {
        Parametri par;
        par.LocalMachine();
        par.Programma("Prog");
        par.Sezione("Sez");
        par.Push();
        par.CurrentUser();
        par.ModoDebug(true);
        par.Programma("Other");
        par.Pop();
        EXPECT_EQ(state().hive(), Hive::LocalMachine);
        EXPECT_EQ(par.Programma(), "Prog");
        EXPECT_EQ(par.Sezione(), "Sez");
        EXPECT_TRUE(par.ModoDebug());
        par.Pop();  // nothing pushed: nothing happens
        EXPECT_EQ(par.Programma(), "Prog");
        EXPECT_TRUE(platform.messages().empty());

        for (int i = 1; i <= 99; ++i) {
            par.Programma(QString::number(i));
            par.Push();
        }
        EXPECT_TRUE(platform.messages().empty());
        par.Programma("Lost");
        par.Push();
        EXPECT_EQ(platform.shown(), (TestPlatform::Shown{{"ERROR! Push without Pop somewhere", 16}}));
        EXPECT_EQ(platform.messages()[0].title, "CvlParamcor");
        EXPECT_EQ(state().depth(), 100);
        // Slot 100 was never written: the store is none and the names are empty.
        par.Pop();
        EXPECT_EQ(state().hive(), Hive{0});
        EXPECT_EQ(par.Programma(), "");
        par.Pop();
        EXPECT_EQ(par.Programma(), "99");
        par.Push();
        par.Push();
        par.Push();
        EXPECT_THROW(par.Pop(), std::out_of_range);  // slot 101 does not exist
        EXPECT_EQ(state().depth(), 101);
        Parametri other;
    }
    // Destroying any object unwinds the stack of all, to its first slot.
    EXPECT_EQ(state().depth(), 0);
    EXPECT_EQ(state().program(), "1");
}

TEST(OpenKey, CreatesTheKeyWithItsParentsEvenInDebugModeOrShowsThePath) {
    TestPlatform platform;
    Parametri par;
    state().setRegistryRoot("\\Corvel");
    par.Programma("Prog");
    par.Sezione("A\\B");
    par.ModoDebug(true);
    par.LeggiParametroStringa("Missing", String("x"));
    KeyHandle key = 0;
    EXPECT_EQ(platform.store().openKey(Hive::CurrentUser, "software\\CORVEL\\prog\\a\\b", &key), regerr::Success);
    platform.store().closeKey(key);
    EXPECT_EQ(state().selectedKeyHandle(), 0u);

    // Pop brings the program back but not the flag: the path then begins with a
    // backslash, which no store accepts.
    par.ModoDebug(false);
    par.Push();
    par.CurrentUser(Boolean(true));
    par.Pop();
    par.Sezione("");
    ASSERT_EQ(state().ComposeKeyPath(), "\\Prog");
    platform.boxes().messages.clear();
    EXPECT_EQ(par.LeggiParametro("V", Long(5)), QVariant());
    // The report of the failed calls is off by default; switched on it names the
    // call, the code and the path.
    state().setReportErrors(true);
    par.ScriviParametroStringa("V", "x");
    EXPECT_EQ(platform.shown(), (TestPlatform::Shown{{"Error opening key \\Prog", 0},
                                                     {"ERROR! Cannot read variables : key is not open!", 16},
                                                     {"ERROR 161 in RegOpenKeyEx\n\\Prog", 16},
                                                     {"Error opening key \\Prog", 0},
                                                     {"ERROR! Cannot write variables : key is not open!", 16}}));
    EXPECT_TRUE(platform.messages()[0].title.isNull() && platform.messages()[2].title.isNull());
}

TEST(OpenKey, AHiveFileThatCannotBeUsedIsNamedOncePerProcess) {
    TestPlatform platform;
    Parametri par;
    const auto store = std::make_shared<SqliteRegistryStore>(platform.folder().toStdString() + "/other");
    const std::string file = store->hiveFile(Hive::CurrentUser);
    ASSERT_TRUE(QDir().mkpath(platform.folder() + "/other"));
    test::writeFile(QString::fromStdString(file), QByteArray(4096, 'x'));
    Platform withForeignHive = paramcor::platform();
    withForeignHive.registry = store;
    installPlatform(withForeignHive);
    platform.boxes().messages.clear();
    par.CurrentUser();  // installing resets the selection
    par.Programma("Prog");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(par.LeggiParametro("V", Long(5)), QVariant());
    const auto messages = platform.shown();
    ASSERT_EQ(messages.size(), 5u);
    EXPECT_EQ(messages[1].first,
              QString::fromStdString("ERROR! " + file + " is not a hive of CVLParamcor: it is not an SQLite database"));
    EXPECT_EQ(messages[3].first, "Error opening key SOFTWARE\\Prog");
}

// A machine store that may only be read, which is told once per process.
TEST(OpenKey, AMachineStoreThatCannotBeWrittenIsRead) {
    TestPlatform platform;
    test::putValue(platform.store(), Hive::LocalMachine, "SOFTWARE\\Prog", "Giri", regtype::Dword, {7, 0, 0, 0});
    const std::string file = platform.store().hiveFile(Hive::LocalMachine);
    ASSERT_EQ(chmod(file.c_str(), 0444), 0);
    Platform readOnly = paramcor::platform();
    readOnly.registry = std::make_shared<SqliteRegistryStore>(platform.storeFolder(), machineStoreOptions());
    installPlatform(readOnly);
    for (int i = 0; i < 2; ++i) {
        Parametri par;
        par.LocalMachine();
        par.Programma("Prog");
        par.ScriviParametro("Giri", Long(9));
        EXPECT_EQ(par.LeggiParametro("Giri", Long(1)), Long(7));
        EXPECT_EQ(par.LeggiParametro("Missing", Long(3)), Long(3));  // returned, not stored
    }
    // A key that is not there and may not be made is told, as the system tells it.
    Parametri par;
    par.LocalMachine();
    par.Programma("Altro");
    EXPECT_EQ(par.LeggiParametro("Giri", Long(1)), Empty());
    chmod(file.c_str(), 0644);
    EXPECT_FALSE(
        test::storedValue(*paramcor::platform().registry, Hive::LocalMachine, "SOFTWARE\\Prog", "Missing").found);
    ASSERT_EQ(platform.messages().size(), 3u);
    EXPECT_TRUE(platform.messages()[0].text.startsWith("WARNING! The machine settings are read-only for the user "));
    EXPECT_EQ(platform.messages()[0].flags, mb::Exclamation);
    EXPECT_EQ(platform.shown()[1], std::pair(QStringLiteral("Error opening key SOFTWARE\\Altro"), 0));
    EXPECT_EQ(platform.shown()[2].first, QStringLiteral("ERROR! Cannot read variables : key is not open!"));
}

}  // namespace
}  // namespace paramcor
