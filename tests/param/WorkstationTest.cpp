// Workstation chores: temporary files, document types, version records and the
// regional settings check at creation.
#include "param/Workstation.h"
#include "selection/MainParametri.h"
#include "support/TestPlatform.h"
#include "support/TextFiles.h"

#include <CVLParamcor/Parametri.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace paramcor {
namespace {

using test::TestPlatform;

QString text(const test::StoredValue& value) {
    return QString::fromUtf8(reinterpret_cast<const char*>(value.bytes.data()), value.bytes.size());
}

TEST(RegistraDocumento, WritesTheDocumentTypeUnderTheClassesRootAndForTheDesktop) {
    TestPlatform platform;
    platform.writeInstallationFile("REGISTRYROOT=Corvel");
    Parametri par;
    par.Programma("Chiamante");
    par.RegistraDocumento(".abc", "Abc.Doc", "X:\\P\\prog.exe", 0);
    par.RegistraDocumento(".ico", "Ico.Doc", "X:\\icone.ico", -1);
    const auto value = [&](const std::string& key) {
        return text(test::storedValue(platform.store(), Hive::ClassesRoot, key, ""));
    };
    EXPECT_EQ(value(".abc"), "Abc.Doc");
    EXPECT_EQ(value("Abc.Doc\\shell\\open\\command"), "\"X:\\P\\prog.exe\" \"%1\"");
    EXPECT_EQ(value("Abc.Doc\\DefaultIcon"), "X:\\P\\prog.exe,0");
    EXPECT_EQ(value("Ico.Doc\\DefaultIcon"), "X:\\icone.ico");
    EXPECT_FALSE(test::storedValue(platform.store(), Hive::ClassesRoot, "Ico.Doc\\shell\\open\\command", "").found);
    const QString data = platform.folder() + "/data";
    EXPECT_TRUE(test::fileBytes(data + "/mime/packages/cvlparamcor-abc.doc.xml")
                    .contains("<mime-type type=\"application/x-abc.doc\">\n    <comment>Abc.Doc</comment>\n"
                              "    <glob pattern=\"*.abc\"/>"));
    EXPECT_TRUE(test::fileBytes(data + "/applications/cvlparamcor-abc.doc.desktop")
                    .contains("Exec=\"X:\\\\\\\\P\\\\\\\\prog.exe\" %f\nMimeType=application/x-abc.doc;\n"));
    EXPECT_FALSE(QFileInfo::exists(data + "/applications/cvlparamcor-ico.doc.desktop"));
    // Pop brings back the program but not the flag: the next path lacks the maker's root.
    EXPECT_EQ(par.Programma(), "Chiamante");
    EXPECT_EQ(MainParametri::instance().ComposeKeyPath(), "\\Chiamante");
    EXPECT_TRUE(platform.messages().empty());
}

TEST(VersionRecords, LiveInTheMakersKeyOfTheMachine) {
    TestPlatform platform;
    platform.writeInstallationFile("REGISTRYROOT=Corvel");
    Parametri par;
    EXPECT_EQ(par.VersioneUpgrade(), "6.0");  // recorded by creation
    par.Programma("Chiamante");
    par.VersioneProdottoVetroCam("C3");
    EXPECT_EQ(
        text(test::storedValue(platform.store(), Hive::LocalMachine, "SOFTWARE\\Corvel", "VersioneProdottoVetroCam")),
        "C3");
    EXPECT_EQ(par.Programma(), "Chiamante");
    EXPECT_EQ(MainParametri::instance().hive(), Hive::CurrentUser);
    EXPECT_EQ(MainParametri::instance().depth(), 0);
}

TEST(TemporaryFiles, AreCreatedEmptyAndPrivateWithNamesUniqueAcrossProcesses) {
    TestPlatform platform;
    Parametri par;
    const QString folder = par.PercorsoTemp();
    EXPECT_TRUE(folder.endsWith('/') && !folder.endsWith("//") && QDir(folder).exists()) << folder.toStdString();
    const QFileInfo first(par.FileTemporaneo("ABCDEF"));
    EXPECT_TRUE(first.isFile() && first.size() == 0 && first.absolutePath() + "/" == folder);
    EXPECT_EQ(first.permissions() & (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther), 0);
    EXPECT_TRUE(QRegularExpression("^ABC[0-9A-F]{1,4}\\.tmp$").match(first.fileName()).hasMatch())
        << first.fileName().toStdString();
    EXPECT_TRUE(QFileInfo(par.FileTemporaneo("")).fileName().endsWith(".tmp"));
    EXPECT_EQ(workstation::createTempFile(platform.folder() + "/missing/", "x"), "");

    // Two processes making names at once in one folder.
    const QString shared = platform.folder() + "/tmp/";
    ASSERT_TRUE(QDir().mkpath(shared));
    constexpr int kEach = 300;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    const int made = [&] {
        int n = 0;
        for (int i = 0; i < kEach; ++i)
            n += workstation::createTempFile(shared, "Tmp").isEmpty() ? 0 : 1;
        return n;
    }();
    if (child == 0)
        _exit(made == kEach ? 0 : 1);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(made, kEach);
    EXPECT_EQ(QDir(shared).entryList(QDir::Files).size(), 2 * kEach);
}

TEST(Creation, StopsWhenThereIsNoTemporaryFolder) {
    TestPlatform platform;
    const QByteArray saved = qgetenv("TMPDIR");
    qputenv("TMPDIR", (platform.folder() + "/does-not-exist").toUtf8());
    Parametri par;
    qputenv("TMPDIR", saved);
    ASSERT_EQ(platform.messages().size(), 1u);
    EXPECT_EQ(platform.messages()[0].text, "Cannot query TempDirectory");
    EXPECT_TRUE(platform.messages()[0].flags == 16 && platform.messages()[0].title == "CVLParamCor");
    EXPECT_EQ(par.PercorsoTemp(), "");
    EXPECT_EQ(par.TotalePercorsi(), 0);  // the installation file was not read
}

TEST(Creation, ChecksTheRegionalNumberSettings) {
    const QString different =
        "ERROR:\nDecimal and thousand separators must be different\nCheck your international settings";
    const QString empty = "ERROR:\nDecimal separators is empty\nCheck your international settings";
    const std::pair<Separators, QStringList> cases[] = {
        {{",", ","}, {different}}, {{" , ", ","}, {different}}, {{"", "."}, {empty}}, {{" ", " "}, {different, empty}},
        {{",", " "}, {}},  // a blank thousands separator is trimmed away and passes
        {{",", "."}, {}},
    };
    for (const auto& [separators, expected] : cases) {
        TestPlatform platform;
        paramcor::platform().separators = [&] { return separators; };
        Parametri par;
        TestPlatform::Shown hard;
        for (const QString& text : expected)
            hard.emplace_back(text, mb::Critical);
        EXPECT_EQ(platform.shown(), hard) << separators.decimal.toStdString();
    }
}

}  // namespace
}  // namespace paramcor
