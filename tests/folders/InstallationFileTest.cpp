// The installation file: its grammar, its faults and their messages.
#include "folders/InstallationFile.h"
#include "support/TestPlatform.h"

#include <CVLParamcor/Parametri.h>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

using test::TestPlatform;

const QString kTitle = "CVLParamCor - ParamCor.txt";

const QString kRoot = "/suite/Wincor/";

// Reads `content` as the creation does, the suite root resolving to kRoot.
struct Reading {
    explicit Reading(const QByteArray& content) : in(readInstallation(content)) {
        if (!in.fault)
            resolveFolders(in, kRoot);
    }
    bool ok() const { return !in.fault; }
    const RecordPercorso& row(int i) const { return in.rows.at(i); }
    Installation in;
};

struct BadFile {
    const char* name;
    QByteArray content;
    QString message;
    int icon = 16;
};

class BadInstallationFile : public ::testing::TestWithParam<BadFile> {};

TEST_P(BadInstallationFile, StopsAtTheFirstFault) {
    const Reading reading(GetParam().content);
    ASSERT_FALSE(reading.ok());
    EXPECT_EQ(reading.in.fault->text, GetParam().message);
    EXPECT_EQ(reading.in.fault->icon, GetParam().icon);
    EXPECT_EQ(reading.in.folderCount, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, BadInstallationFile,
    ::testing::Values(
        BadFile{"NoEquals", "' header\r\n\r\nREGISTRYROOT Corvel\r\n", "Missing '=' in line 3\nREGISTRYROOT Corvel"},
        BadFile{"NoName", "\t = x ' no name", "Missing variable name before '=' in line 1\n= x"},
        BadFile{"UnknownName", "  Radice\t= y ' comment\r\n", "Unknow variable name RADICE in line 1\nRadice = y"},
        BadFile{"SecondRoot", "REGISTRYROOT=\nREGISTRYROOT=Corvel\nREGISTRYROOT=Other\n",
                "Double RegistryRoot definition in line 3", 64},
        BadFile{"NoFolders", "FOLDERS=0", "Too many CustomPath in line 1\nFOLDERS=0"},
        BadFile{"TooManyFolders", "FOLDERS=1001", "Too many CustomPath in line 1\nFOLDERS=1001"},
        BadFile{"SecondFolders", "FOLDERS=2\nFOLDERS=3", "Double CustomPath definition in line 2\nFOLDERS=3"},
        BadFile{"SecondSupplier", "Fornitore = A\nFORNITORE = B",
                "Double FORNITORE definition in line 2\nFORNITORE = B"},
        BadFile{"FolderBeyondCount", "FOLDERS=2\nFOLDER3=Dxf,x", "Wrong folder number 3 in line 2\nFOLDER3=Dxf,x"},
        BadFile{"FolderTwice", "FOLDERS=2\nFOLDER1=Dxf,x\nfolder1=Dwg,y",
                "Folder 1 double definition in line 3\nfolder1=Dwg,y"},
        BadFile{"NoComma", "FOLDERS=2\nFOLDER1=Dxf", "Expected ',' separator in line 2\nFOLDER1=Dxf"},
        BadFile{"NoFolderName", "FOLDERS=2\nFOLDER1= ,x", "Missing folder name in line 2\nFOLDER1= ,x"},
        BadFile{"NoDefault", "FOLDERS=2\nFOLDER1=Dxf, ,REF", "Missing default folder in line 2\nFOLDER1=Dxf, ,REF"},
        BadFile{"TwoMacros", "FOLDERS=4\nFOLDER4=Img,<Dxf>\\<Dwg>",
                "More then one <> in line 2\nFOLDER4=Img,<Dxf>\\<Dwg>"},
        BadFile{"UnclosedMacro", "FOLDERS=1\nFOLDER1=Img,<Dxf\\x", "Expected '>' in line 2\nFOLDER1=Img,<Dxf\\x"},
        BadFile{"Undeclared", "FOLDERS=3\nFOLDER1=A,x\nFOLDER3=C,y", "Missing declaration for folder 2"},
        BadFile{"SelfReference", "FOLDERS=1\nFOLDER1=Dxf,<dxf>\\x",
                "Circular reference in default value for folder Dxf\n<dxf>\\x"},
        // 1 leads into the loop of 2 and 3, which never comes back to 1.
        BadFile{"LoopElsewhere", "FOLDERS=3\nFOLDER1=A,<B>\\a\nFOLDER2=B,<C>\\b\nFOLDER3=C,<B>\\c",
                "Circular reference in default value for folder A\n<B>\\a"},
        // A folder named "Program" makes "<PROGRAM>" name two folders at once.
        BadFile{"AmbiguousMacro", "FOLDERS=2\nFOLDER1=Program,x\nFOLDER2=B,<PROGRAM>b",
                "More then one <> in default value for folder B\n<PROGRAM>b"},
        BadFile{"ForwardReference",
                "FOLDERS=5\nFOLDER1=A,a\nFOLDER2=X,<B>\\x\nFOLDER3=C,c\nFOLDER4=D,d\nFOLDER5=B,<WINCOR>\\y",
                "Missing macro <WINCOR> in default folder \n<B>\\x"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(InstallationFile, RegistryRootAndItsEncodings) {
    const QString perche = QString::fromUtf8("\\Perché");
    // An empty root does not count; what came before a fault stays; UTF-8 with or without
    // a byte-order mark, else Windows-1252.
    const std::pair<QByteArray, QString> cases[] = {
        {"registryroot = \\Corvel\\\\", "\\Corvel"}, {"RegistryRoot=Corvel\\Suite\\", "\\Corvel\\Suite"},
        {"REGISTRYROOT=\\", ""}, {"REGISTRYROOT=\nREGISTRYROOT=Second", "\\Second"}, {"REGISTRYROOT=Kept\nbroken", "\\Kept"},
        {"\xEF\xBB\xBFREGISTRYROOT=Perch\xC3\xA9\r\n", perche}, {"REGISTRYROOT=Perch\xC3\xA9\n", perche},
        {"REGISTRYROOT=Perch\xE9\r\n", perche}, {"REGISTRYROOT=\x80uro\x92s", QString::fromUtf8("\\€uro’s")}};
    for (const auto& [content, root] : cases)
        EXPECT_EQ(Reading(content).in.registryRoot, root) << content.toStdString();
    // Lines are counted alike whatever ends them.
    for (const QByteArray& content : {QByteArray("a=1\r\n\r\nb c"), QByteArray("a=1\n\nb c"), QByteArray("a=1\r\rb c")})
        EXPECT_EQ(Reading("' x\n" + content).in.fault->text, "Unknow variable name A in line 2\na=1");
}

TEST(InstallationFile, FolderCountIsTheLeadingNumberRounded) {
    const std::pair<QByteArray, int> cases[] = {
        {"FOLDERS=1000", 1000}, {"FOLDERS=2.4", 2},       {"FOLDERS=2.5", 2},
        {"FOLDERS=3.5", 4},     {"FOLDERS= 1 2 abc", 12}, {"FOLDERS=1e2", 100},
    };
    for (const auto& [content, declared] : cases) {
        QByteArray file = content + "\n";
        for (int i = 1; i <= declared; ++i)
            file += "FOLDER" + QByteArray::number(i) + "=F" + QByteArray::number(i) + ",x\n";
        const Reading reading(file);
        EXPECT_EQ(reading.in.folderCount, declared + 9) << content.toStdString();
        EXPECT_EQ(reading.row(declared + 1).Nome, "Custom1");
    }
}

TEST(InstallationFile, FolderLinesAndTheirExpansion) {
    TestPlatform platform;  // the library's folder
    const Reading reading(
        "FOLDERS=6\r\nfolder3 = Dxf , <WINCOR>\\Dxf\r\nFOLDER1=PostProc,<program>PostProc,post, proc\r\n"
        "FOLDER2=Disegni,D:\\Disegni,disegni\r\nFOLDER4=Lastre,<Dxf>\\Lastre\r\nFOLDER5=Report,<disegni>\\Report\r\n"
        "FOLDER6=Vuoto,<Report>\\x\r\nFOLDER0=Radice,E:\\Suite,ROOT\r\n");
    ASSERT_TRUE(reading.ok());
    EXPECT_EQ(reading.in.folderCount, 15);
    EXPECT_EQ(reading.row(0).Rif, "ROOT");
    EXPECT_EQ(reading.row(1).Rif, "POST, PROC");
    EXPECT_EQ(reading.row(1).IndiceMacro, 7);  // the library's folder
    EXPECT_EQ(reading.row(3).Default, "<WINCOR>\\Dxf");
    EXPECT_EQ(reading.row(3).IndiceMacro, 0);
    EXPECT_EQ(reading.row(5).Rif, "");
    const QString expanded[] = {platform.folder() + "/PostProc", "D:\\Disegni", kRoot + "\\Dxf", kRoot + "\\Dxf\\Lastre",
                                "D:\\Disegni\\Report", "D:\\Disegni\\Report\\x"};
    for (int i = 1; i <= 6; ++i)
        EXPECT_EQ(reading.row(i).DefaultEspanso, expanded[i - 1]) << i;
}

TEST(InstallationFile, HugeAndBinaryFilesGiveOneShortFault) {
    EXPECT_TRUE(Reading(QByteArray(10 << 20, '\'')).ok());  // ten megabytes of one comment
    const Reading huge("' ok\n" + QByteArray(1 << 20, 'x'));
    ASSERT_FALSE(huge.ok());
    EXPECT_TRUE(huge.in.fault->text.startsWith("Missing '=' in line 2\nxxx"));
    EXPECT_LT(huge.in.fault->text.size(), 2000);
}

// The creation shows the fault once, keeps the root read before it, and stores the
// suite root's default, which a "FOLDER0" line may give.
TEST(InstallationFile, CreationShowsTheFaultAndStoresTheRoot) {
    TestPlatform platform;
    QFile::remove(platform.folder() + "/ParamCor.txt");
    const QString faults[] = {"ERROR: missing file " + platform.folder() + "/ParamCor.txt",
                              "Double RegistryRoot definition in line 2"};
    for (int i = 0; i < 2; ++i) {
        Parametri par;
        ASSERT_EQ(platform.messages().size(), i + 1u);
        EXPECT_EQ(platform.messages()[i].text, faults[i]);
        EXPECT_EQ(platform.messages()[i].flags, i == 0 ? 16 : 64);
        EXPECT_EQ(platform.messages()[i].title, kTitle);
        EXPECT_EQ(par.RadReg(), i == 0 ? "SOFTWARE" : "SOFTWARE\\Corvel");
        platform.writeInstallationFile("REGISTRYROOT=Corvel\nREGISTRYROOT=Again\n");
    }
    // The name is found whatever its case, as on Windows.
    platform.writeInstallationFile("FOLDERS=1\nFOLDER1=Dxf,<WINCOR>\\Dxf\nFOLDER0=Radice,E:\\Suite\n");
    QFile::rename(platform.folder() + "/ParamCor.txt", platform.folder() + "/PARAMCOR.TXT");
    Parametri par;
    EXPECT_EQ(platform.messages().size(), 2u);
    EXPECT_EQ(par.TotalePercorsi(), 10);
    EXPECT_EQ(par.PercorsoWincor(), "E:/Suite/");
    EXPECT_EQ(par.PercorsoDxf(), "E:/Suite/Dxf/");
}

// The wording of its messages is checked with the text database.
TEST(InstallationFile, VerificaFileWantsAWritableOrdinaryFile) {
    TestPlatform platform;
    const QString file = platform.folder() + "/Testi.mdb";
    EXPECT_FALSE(VerificaFile(file, false));
    EXPECT_TRUE(platform.messages().empty());  // silently
    QFile(file).open(QIODevice::WriteOnly);
    EXPECT_TRUE(VerificaFile(file, true));
    QFile::setPermissions(file, QFileDevice::ReadOwner);
    EXPECT_FALSE(VerificaFile(file, false));
    EXPECT_EQ(platform.messages().size(), 1u);  // a read-only file is said even so
    EXPECT_FALSE(VerificaFile(platform.folder(), true));  // a folder is no file
}

}  // namespace
}  // namespace paramcor
