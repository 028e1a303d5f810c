// The library-wide selection: key paths, the Push stack, opening keys.
#include "param/registry/MainParametri.h"
#include "platform/RegisteredWindows.h"
#include "support/TestPlatform.h"

#include <CVLParamcor/Parametri.h>

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace paramcor {
namespace {

using test::TestPlatform;

MainParametri& state() {
    return MainParametri::instance();
}

struct KeyPathCase {
    const char* name;
    QString root;
    bool localMachine;
    QVariant noCorvel;
    QString program;
    QString section;
    QString expected;
};

class KeyPathTest : public ::testing::TestWithParam<KeyPathCase> {};

TEST_P(KeyPathTest, ComposesFromTheSelection) {
    TestPlatform platform;
    Parametri par;
    const KeyPathCase& c = GetParam();
    state().setRegistryRoot(c.root);
    if (c.localMachine)
        par.LocalMachine();
    else
        par.CurrentUser();
    if (!c.program.isNull())
        par.Programma(c.program);
    par.Sezione(c.section);
    // Setting the program clears the no-maker-root flag and Pop does not restore
    // it: the flag of the excursion stays with the restored selection.
    par.Push();
    par.CurrentUser(c.noCorvel);
    par.Pop();
    EXPECT_EQ(state().ComposeKeyPath(), c.expected);
    EXPECT_EQ(state().hive(), c.localMachine ? Hive::LocalMachine : Hive::CurrentUser);
}

INSTANTIATE_TEST_SUITE_P(
    Selection, KeyPathTest,
    ::testing::Values(
        KeyPathCase{"ProgramAndSection", "\\Corvel", false, {}, "Prog", "Sez", "SOFTWARE\\Corvel\\Prog\\Sez"},
        KeyPathCase{"ProgramOnly", "\\Corvel", false, {}, "Prog", "", "SOFTWARE\\Corvel\\Prog"},
        KeyPathCase{"MakerKeyItself", "\\Corvel", true, {}, {}, "", "SOFTWARE\\Corvel"},
        KeyPathCase{"SectionWithoutProgram", "\\Corvel", true, {}, {}, "Sez", "SOFTWARE\\Corvel\\Sez"},
        KeyPathCase{"EmptyRoot", "", false, {}, "Prog", "", "SOFTWARE\\Prog"},
        KeyPathCase{"EmptyRootNoProgram", "", false, {}, {}, "", "SOFTWARE"},
        KeyPathCase{"NoCorvelProgram", "\\Corvel", false, Boolean(true), "Prog", "", "\\Prog"},
        KeyPathCase{"NoCorvelProgramSection", "\\Corvel", false, Boolean(true), "Prog", "Sez", "\\Prog\\Sez"},
        KeyPathCase{"NoCorvelSectionAlone", "\\Corvel", false, Boolean(true), {}, "Sez", "Sez"},
        KeyPathCase{"NoCorvelNothing", "\\Corvel", false, Boolean(true), {}, "", ""},
        KeyPathCase{"NoCorvelAsNumber", "\\Corvel", true, Long(-1), {}, "", ""},
        KeyPathCase{"NoCorvelAsText", "\\Corvel", false, String(" TRUE "), {}, "", ""},
        KeyPathCase{"NoCorvelAsNumberText", "\\Corvel", false, String("0.1"), {}, "", ""},
        KeyPathCase{"NoCorvelOtherText", "\\Corvel", false, String("sì"), {}, "", "SOFTWARE\\Corvel"},
        KeyPathCase{"NoCorvelNullIsFalse", "\\Corvel", false, Null(), {}, "", "SOFTWARE\\Corvel"},
        KeyPathCase{"NoCorvelFalse", "\\Corvel", false, Boolean(false), {}, "", "SOFTWARE\\Corvel"},
        KeyPathCase{"LevelsAreNotTrimmed", "\\Corvel", false, {}, "A\\B", "C\\", "SOFTWARE\\Corvel\\A\\B\\C\\"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Selection, IsSharedByEveryObjectAndResetByCreationAndByTheProgram) {
    TestPlatform platform;
    state().setRegistryRoot("\\Old");
    state().selectHive(Hive::LocalMachine, true);
    state().setProgram("Prog");
    Parametri first;
    Parametri second;
    EXPECT_EQ(state().hive(), Hive::CurrentUser);
    EXPECT_EQ(state().registryRoot(), "");
    EXPECT_EQ(first.Programma(), "");
    EXPECT_FALSE(state().noMakerRoot());

    // Setting the program clears the section and the no-maker-root flag, not the store.
    first.LocalMachine(Boolean(true));
    first.Sezione("Sez");
    first.Programma("Prog");
    EXPECT_EQ(first.Sezione(), "");
    EXPECT_FALSE(state().noMakerRoot());
    EXPECT_EQ(state().hive(), Hive::LocalMachine);

    first.CurrentUser();
    first.Programma("Taglio");
    first.Sezione("Lama");
    first.ModoDebug(true);
    EXPECT_EQ(second.Programma(), "Taglio");
    EXPECT_EQ(second.Sezione(), "Lama");
    EXPECT_TRUE(second.ModoDebug());
    second.ScriviParametro("Giri", Long(3000));
    EXPECT_EQ(first.LeggiParametro("Giri", Long(1)), Long(3000));
}

TEST(PushPop, RestoresStoreProgramAndSectionButNotTheFlags) {
    TestPlatform platform;
    Parametri par;
    par.LocalMachine();
    par.Programma("Prog");
    par.Sezione("Sez");
    par.Push();
    par.CurrentUser(Boolean(true));
    par.ModoDebug(true);
    par.Programma("Other");
    par.Pop();
    EXPECT_EQ(state().hive(), Hive::LocalMachine);
    EXPECT_EQ(par.Programma(), "Prog");
    EXPECT_EQ(par.Sezione(), "Sez");
    EXPECT_FALSE(state().noMakerRoot());  // cleared by Programma, not by Pop
    EXPECT_TRUE(par.ModoDebug());

    par.Push();
    par.CurrentUser(Boolean(true));
    par.Pop();
    EXPECT_TRUE(state().noMakerRoot());

    par.Pop();  // nothing pushed: nothing happens
    EXPECT_EQ(par.Programma(), "Prog");
    EXPECT_EQ(state().depth(), 0);
    EXPECT_TRUE(platform.messages().empty());
}

TEST(PushPop, OverflowReportsAndKeepsCounting) {
    TestPlatform platform;
    Parametri par;
    par.Programma("Base");
    for (int i = 1; i <= 99; ++i) {
        par.Programma(QString::number(i));
        par.Push();
    }
    EXPECT_TRUE(platform.messages().empty());
    EXPECT_EQ(state().depth(), 99);

    par.Programma("Lost");
    par.Push();
    ASSERT_EQ(platform.messages().size(), 1u);
    EXPECT_EQ(platform.messages()[0].text, "ERROR! Push without Pop somewhere");
    EXPECT_EQ(platform.messages()[0].flags, 16);
    EXPECT_EQ(platform.messages()[0].title, "CvlParamcor");
    EXPECT_EQ(state().depth(), 100);

    // Slot 100 was never written: the store is none and the names are empty.
    par.Pop();
    EXPECT_EQ(state().hive(), Hive{0});
    EXPECT_EQ(par.Programma(), "");
    par.Pop();
    EXPECT_EQ(par.Programma(), "99");
    EXPECT_EQ(state().depth(), 98);
}

TEST(PushPop, PopBeyondTheLastSlotThrowsAndDestructionStillUnwinds) {
    TestPlatform platform;
    {
        Parametri par;
        par.Programma("Before");
        for (int i = 0; i < 102; ++i)
            par.Push();
        EXPECT_EQ(platform.messages().size(), 3u);
        EXPECT_THROW(par.Pop(), std::out_of_range);
        EXPECT_EQ(state().depth(), 102);
        par.Programma("Changed");
    }
    EXPECT_EQ(state().depth(), 0);
    EXPECT_EQ(state().program(), "Before");
}

TEST(PushPop, DestroyingOneObjectUnwindsTheStackOfAll) {
    TestPlatform platform;
    Parametri keeper;
    keeper.Programma("Outer");
    keeper.Push();
    keeper.Programma("Inner");
    { Parametri other; }
    EXPECT_EQ(state().depth(), 0);
    EXPECT_EQ(keeper.Programma(), "Outer");
}

TEST(OpenKey, CreatesTheKeyWithItsParentsEvenInDebugMode) {
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
    EXPECT_EQ(state().openKey(), 0u);
}

TEST(OpenKey, FailureShowsThePathAndTheCallerReportsItsOwnError) {
    TestPlatform platform;
    Parametri par;
    // Pop brings the program back but not the flag: the path then begins with a
    // backslash, which no store accepts.
    par.Programma("Prog");
    par.Push();
    par.CurrentUser(Boolean(true));
    par.Pop();
    ASSERT_EQ(state().ComposeKeyPath(), "\\Prog");
    EXPECT_EQ(par.LeggiParametro("V", Long(5)), QVariant());
    ASSERT_EQ(platform.messages().size(), 2u);
    EXPECT_EQ(platform.messages()[0].text, "Error opening key \\Prog");
    EXPECT_EQ(platform.messages()[0].flags, 0);
    EXPECT_TRUE(platform.messages()[0].title.isNull());
    EXPECT_EQ(platform.messages()[1].text, "ERROR! Cannot read variables : key is not open!");
    EXPECT_EQ(platform.messages()[1].flags, 16);

    // The report of the failed calls is off by default; switched on it names the
    // call, the code and the path.
    state().setReportErrors(true);
    par.ScriviParametroStringa("V", "x");
    ASSERT_EQ(platform.messages().size(), 5u);
    EXPECT_EQ(platform.messages()[2].text, "ERROR 161 in RegOpenKeyEx\n\\Prog");
    EXPECT_EQ(platform.messages()[2].flags, 16);
    EXPECT_TRUE(platform.messages()[2].title.isNull());
    EXPECT_EQ(platform.messages()[3].text, "Error opening key \\Prog");
    EXPECT_EQ(platform.messages()[4].text, "ERROR! Cannot write variables : key is not open!");
}

TEST(OpenKey, AHiveFileThatCannotBeUsedIsNamedOncePerProcess) {
    // The system's messages stay as they are; the store's word on the file comes
    // after the first of them, and once only.
    TestPlatform platform;
    Parametri par;
    // A store whose user hive is a file of something else.
    QTemporaryDir folder;
    const auto store = std::make_shared<SqliteRegistryStore>(folder.path().toStdString());
    const std::string file = store->hiveFile(Hive::CurrentUser);
    QFile foreign(QString::fromStdString(file));
    ASSERT_TRUE(foreign.open(QIODevice::WriteOnly));
    foreign.write(QByteArray(4096, 'x'));
    foreign.close();
    Platform withForeignHive = paramcor::platform();
    withForeignHive.registry = store;
    installPlatform(withForeignHive);
    const std::size_t before = platform.messages().size();
    par.CurrentUser();
    par.Programma("Prog");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(par.LeggiParametro("V", Long(5)), QVariant());
    const std::vector<test::RecordedMessage> shown(platform.messages().begin() + static_cast<std::ptrdiff_t>(before),
                                             platform.messages().end());
    ASSERT_EQ(shown.size(), 5u);
    EXPECT_EQ(shown[0].text, "Error opening key SOFTWARE\\Prog");
    EXPECT_EQ(shown[1].text, QStringLiteral("ERROR! %1 is not a hive of CVLParamcor: it is not an SQLite database")
                                 .arg(QString::fromStdString(file)));
    EXPECT_EQ(shown[1].flags, 16);
    EXPECT_TRUE(shown[1].title.isNull());
    EXPECT_EQ(shown[2].text, "ERROR! Cannot read variables : key is not open!");
    EXPECT_EQ(shown[3].text, "Error opening key SOFTWARE\\Prog");
    EXPECT_EQ(shown[4].text, "ERROR! Cannot read variables : key is not open!");
}

// A workstation where the machine's store was never set up: its folder cannot be
// made (here a file stands in the way, which stops root too).
TEST(OpenKey, MissingMachineStoreThatCannotBeMadeReadsAsEmptyWithoutAMessage) {
    TestPlatform platform;
    const QString blocker = platform.folder() + QStringLiteral("/blocker");
    ASSERT_TRUE(QFile(blocker).open(QIODevice::WriteOnly));
    Platform missing = paramcor::platform();
    missing.registry = std::make_shared<SqliteRegistryStore>(
        platform.storeFolder(), (blocker + QStringLiteral("/machine")).toStdString(), machineStoreOptions());
    installPlatform(missing);

    Parametri par;  // its creation writes the upgrade record there
    EXPECT_EQ(par.VersioneUpgrade(), "");
    par.LocalMachine();
    par.Programma("Prog");
    EXPECT_EQ(par.LeggiParametro("Giri", Long(3)), Long(3));
    par.ScriviParametroStringa("Nome", "y");
    EXPECT_EQ(par.LeggiParametroStringa("Nome", String("x")), "x");
    EXPECT_TRUE(platform.messages().empty());
    par.ModoDebug(true);  // still a missing value for whoever asks to be told
    EXPECT_EQ(par.LeggiParametro("Giri", Long(3)), Long(0));
    EXPECT_EQ(platform.messages().size(), 1u);
}

// Somebody who may not write the machine's store reads it, and is told once,
// whatever the number of objects and refused writes.
TEST(OpenKey, ReadOnlyMachineStoreIsReadAndToldOncePerProcess) {
    TestPlatform platform;
    test::putValue(platform.store(), Hive::LocalMachine, "SOFTWARE\\Prog", "Giri", regtype::Dword, {7, 0, 0, 0});
    const std::string file = platform.store().hiveFile(Hive::LocalMachine);
    ASSERT_EQ(chmod(file.c_str(), 0444), 0);
    // A store opened after the change, as the next program started would.
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
        // A key that is not there and may not be made reads as empty.
        par.Programma("Other");
        EXPECT_EQ(par.LeggiParametroStringa("Nome", String("x")), "x");
    }
    chmod(file.c_str(), 0644);
    EXPECT_FALSE(
        test::storedValue(*paramcor::platform().registry, Hive::LocalMachine, "SOFTWARE\\Prog", "Missing").found);
    ASSERT_EQ(platform.messages().size(), 1u);
    EXPECT_TRUE(platform.messages()[0].text.startsWith("WARNING! The machine settings are read-only for the user "));
    EXPECT_TRUE(platform.messages()[0].text.contains(QString::fromStdString(file)));
    EXPECT_EQ(platform.messages()[0].flags, mb::Exclamation);
}

}  // namespace
}  // namespace paramcor
