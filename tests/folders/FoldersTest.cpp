// The installation file (its grammar, its faults and their messages), resolving
// folder names into locations, and moving folders.
#include "folders/FolderEditing.h"
#include "folders/FolderTable.h"
#include "folders/InstallationFile.h"
#include "param/FolderSetup.h"
#include "selection/MainParametri.h"
#include "support/TestPlatform.h"

#include <CVLParamcor/Parametri.h>

#include <QDir>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

using test::TestPlatform;


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

TEST(InstallationFile, ABadFileStopsAtTheFirstFaultWithAShortMessage) {
    const BadFile cases[] = {
        {"NoEquals", "' header\r\n\r\nREGISTRYROOT Corvel\r\n", "Missing '=' in line 3\nREGISTRYROOT Corvel"},
        // A line is shown up to 1000 characters, a longer one cut there.
        {"LongestShown", QByteArray(1000, 'A'), "Missing '=' in line 1\n" + QString(1000, u'A')},
        {"CutShort", QByteArray(1001, 'A'), "Missing '=' in line 1\n" + QString(1000, u'A') + "..."},
        {"NoName", "\t = x ' no name", "Missing variable name before '=' in line 1\n= x"},
        {"UnknownName", "  Radice\t= y ' comment\r\n", "Unknow variable name RADICE in line 1\nRadice = y"},
        {"SecondRoot", "REGISTRYROOT=\nREGISTRYROOT=Corvel\nREGISTRYROOT=Other\n",
         "Double RegistryRoot definition in line 3", 64},
        {"NoFolders", "FOLDERS=0", "Too many CustomPath in line 1\nFOLDERS=0"},
        {"TooManyFolders", "FOLDERS=1001", "Too many CustomPath in line 1\nFOLDERS=1001"},
        {"SecondFolders", "FOLDERS=2\nFOLDERS=3", "Double CustomPath definition in line 2\nFOLDERS=3"},
        {"SecondSupplier", "Fornitore = A\nFORNITORE = B", "Double FORNITORE definition in line 2\nFORNITORE = B"},
        {"FolderBeyondCount", "FOLDERS=2\nFOLDER3=Dxf,x", "Wrong folder number 3 in line 2\nFOLDER3=Dxf,x"},
        {"FolderTwice", "FOLDERS=2\nFOLDER1=Dxf,x\nfolder1=Dwg,y",
         "Folder 1 double definition in line 3\nfolder1=Dwg,y"},
        {"NoComma", "FOLDERS=2\nFOLDER1=Dxf", "Expected ',' separator in line 2\nFOLDER1=Dxf"},
        {"NoFolderName", "FOLDERS=2\nFOLDER1= ,x", "Missing folder name in line 2\nFOLDER1= ,x"},
        {"NoDefault", "FOLDERS=2\nFOLDER1=Dxf, ,REF", "Missing default folder in line 2\nFOLDER1=Dxf, ,REF"},
        {"TwoMacros", "FOLDERS=4\nFOLDER4=Img,<Dxf>\\<Dwg>", "More then one <> in line 2\nFOLDER4=Img,<Dxf>\\<Dwg>"},
        {"UnclosedMacro", "FOLDERS=1\nFOLDER1=Img,<Dxf\\x", "Expected '>' in line 2\nFOLDER1=Img,<Dxf\\x"},
        {"Undeclared", "FOLDERS=3\nFOLDER1=A,x\nFOLDER3=C,y", "Missing declaration for folder 2"},
        {"SelfReference", "FOLDERS=1\nFOLDER1=Dxf,<dxf>\\x",
         "Circular reference in default value for folder Dxf\n<dxf>\\x"},
        // 1 leads into the loop of 2 and 3, which never comes back to 1.
        {"LoopElsewhere", "FOLDERS=3\nFOLDER1=A,<B>\\a\nFOLDER2=B,<C>\\b\nFOLDER3=C,<B>\\c",
         "Circular reference in default value for folder A\n<B>\\a"},
        // A folder named "Program" makes "<PROGRAM>" name two folders at once.
        {"AmbiguousMacro", "FOLDERS=2\nFOLDER1=Program,x\nFOLDER2=B,<PROGRAM>b",
         "More then one <> in default value for folder B\n<PROGRAM>b"},
        {"ForwardReference",
         "FOLDERS=5\nFOLDER1=A,a\nFOLDER2=X,<B>\\x\nFOLDER3=C,c\nFOLDER4=D,d\nFOLDER5=B,<WINCOR>\\y",
         "Missing macro <WINCOR> in default folder \n<B>\\x"},
    };
    for (const BadFile& c : cases) {
        const Reading reading(c.content);
        ASSERT_FALSE(reading.ok()) << c.name;
        EXPECT_EQ(reading.in.fault->text, c.message) << c.name;
        EXPECT_EQ(reading.in.fault->icon, c.icon) << c.name;
        EXPECT_EQ(reading.in.folderCount, 0) << c.name;
    }

    EXPECT_TRUE(Reading(QByteArray(10 << 20, '\'')).ok());  // ten megabytes of one comment
    const Reading huge("' ok\n" + QByteArray(1 << 20, 'x'));
    ASSERT_FALSE(huge.ok());
    EXPECT_TRUE(huge.in.fault->text.startsWith("Missing '=' in line 2\nxxx"));
    EXPECT_LT(huge.in.fault->text.size(), 2000);
}

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

TEST(InstallationFile, FolderCountIsTheLeadingNumberRoundedAndFolderLinesAreExpanded) {
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
        EXPECT_EQ(platform.messages()[i].title, "CVLParamCor - ParamCor.txt");
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
    EXPECT_FALSE(checkFilePresent(file, false));
    EXPECT_TRUE(platform.messages().empty());  // silently
    QFile(file).open(QIODevice::WriteOnly);
    EXPECT_TRUE(checkFilePresent(file, true));
    QFile::setPermissions(file, QFileDevice::ReadOwner);
    EXPECT_FALSE(checkFilePresent(file, false));
    EXPECT_EQ(platform.messages().size(), 1u);  // a read-only file is said even so
    EXPECT_FALSE(checkFilePresent(platform.folder(), true));  // a folder is no file
}

const QByteArray kInstallation =
    "REGISTRYROOT=Corvel\r\n"
    "FOLDERS=6\r\n"
    "FOLDER1=DXF,<WINCOR>\\Dxf,DISEGNI\r\n"
    "FOLDER2=Testi,<WINCOR>\\Testi\r\n"
    "FOLDER3=ISOSLABVISTA,<WINCOR>\\Iso\r\n"
    "FOLDER4=DFFLocale,<WINCOR>\\Dff\r\n"
    "FOLDER5=Rete,\\\\server\\share\r\n"
    "FOLDER6=Lastre,<PROGRAM>Lastre\r\n";

class FolderResolution : public ::testing::Test {
protected:
    void SetUp() override {
        platform.writeInstallationFile(kInstallation);
        wincor = platform.folder() + "/Wincor/";
        test::createTextDatabase(wincor + "Testi/CvlTradU.mdb");
        par = std::make_unique<Parametri>();
        ASSERT_TRUE(platform.messages().empty()) << platform.messages()[0].text.toStdString();
    }
    test::StoredValue stored(Hive hive, const std::string& name) {
        return test::storedValue(platform.store(), hive, "SOFTWARE\\Corvel", name);
    }
    QString storedText(Hive hive, const std::string& name) {
        const auto value = stored(hive, name);
        return QString::fromUtf8(reinterpret_cast<const char*>(value.bytes.data()), value.bytes.size());
    }
    // A message shown, as its text, icon and title.
    QString said(std::size_t i) const {
        const auto& m = platform.messages().at(i);
        return QStringLiteral("%1|%2|%3").arg(m.text).arg(m.flags).arg(m.title);
    }

    TestPlatform platform;
    std::unique_ptr<Parametri> par;
    QString wincor;
};

TEST_F(FolderResolution, NamesResolveWhateverTheirCaseBlanksOrPrefix) {
    const QString dxf = wincor + "Dxf/", library = platform.folder() + "/";
    const std::pair<const char*, QString> names[] = {
        {"dxf", dxf}, {"  DXF ", dxf}, {"PercorsoDxf", dxf}, {"Lastre", library + "Lastre/"},
        {"windows", "C:\\WINDOWS\\"}, {"Testi", wincor + "Testi/"}, {"Custom1", library}};
    for (const auto& [name, location] : names)
        EXPECT_EQ(par->Percorso(name), location) << name;
    EXPECT_EQ(par->PercorsoWincor(), wincor);
    // The default is stored on first use, under the declared name, per user; a
    // machine-wide name only as passed, an unknown name never.
    EXPECT_EQ(storedText(Hive::CurrentUser, "PercorsoDXF"), dxf);
    EXPECT_EQ(storedText(Hive::LocalMachine, "PercorsoWincor"), wincor);
    EXPECT_FALSE(stored(Hive::CurrentUser, "PercorsoTesti").found);
    EXPECT_FALSE(stored(Hive::CurrentUser, "PercorsoCustom1").found);
    par->Percorso("PercorsoTesti");
    EXPECT_TRUE(stored(Hive::CurrentUser, "PercorsoTesti").found);
    par->ScriviPercorso("testi", "/srv/testi");
    EXPECT_EQ(par->Percorso("TESTI"), "/srv/testi/");
    // Unknown names give the library's folder, unless a value is there.
    EXPECT_FALSE(MainParametri::instance().skipDefaultWrite());
    test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE\\Corvel", "PercorsoSconosciuto", regtype::String,
                   {'/', 'x'});
    EXPECT_EQ(par->Percorso("percorsoSconosciuto"), "/x/");
    test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE\\Corvel", "PercorsoDXF", regtype::Dword,
                   {'/', 'a', 'b', 0});
    EXPECT_EQ(par->Percorso("DXF"), "/ab/");  // read as text whatever its type

    EXPECT_EQ(par->Percorso(" Percorso "), "");
    EXPECT_EQ(said(0), "Wrong folder name ' Percorso '|64|CVLparamcor DEBUG");
}

TEST_F(FolderResolution, DebugReportsUnknownAndMissingFolders) {
    par->DebugPercorsi(true);
    par->DebugPercorsi(true);  // no second warning
    par->DebugPercorsi(false);
    par->DebugPercorsi(true);
    ASSERT_EQ(platform.messages().size(), 2u);
    EXPECT_EQ(said(0), "WARNING! Folder debug enabled !!!!|48|");
    EXPECT_TRUE(platform.messages()[0].title.isNull());
    EXPECT_EQ(par->Percorso("Altro"), platform.folder() + "/");
    ASSERT_TRUE(QDir().mkpath(wincor + "Dxf"));
    par->Percorso("DXF");
    par->Percorso("Lastre");
    ASSERT_EQ(platform.messages().size(), 4u);
    EXPECT_EQ(said(2), "Missing folder \nAltro|16|Cvlparamcor");
    EXPECT_EQ(said(3), "Cannot open folder \n" + platform.folder() + "/Lastre/|64|CVLparamcor");
}

TEST_F(FolderResolution, StoredLocationsAreNormalised) {
    const std::pair<QString, QString> cases[] = {
        {"C:\\Lavori\\\\Dxf", "C:/Lavori/Dxf/"},
        {"/srv//lavori///dxf/", "/srv/lavori/dxf/"},
        {"\\\\server\\\\share\\x", "//server//share/x/"},  // a network path keeps every separator
        {"", "/"},
        {QString(300, u'x'), ""},  // too long to store: the previous location stays
        {QString::fromUtf8("/lavori/Лист 3"), QString::fromUtf8("/lavori/Лист 3/")},
    };
    QString previous = par->Percorso("DXF");
    for (const auto& [location, expected] : cases) {
        par->ScriviPercorso("DXF", location);
        previous = expected.isEmpty() ? previous : expected;
        EXPECT_EQ(par->Percorso("DXF"), previous) << location.toStdString();
    }
    EXPECT_EQ(platform.messages().size(), 1u);  // the 300 characters
    EXPECT_EQ(par->Percorso("Rete"), "//server/share/");
}

TEST_F(FolderResolution, WritingRestoresTheSelectionLastPushedAndTheFixedProperties) {
    par->Programma("Chiamante");
    par->Push();
    par->LocalMachine();
    par->Programma("Escursione");
    par->ScriviPercorso("PercorsoDxf", "/dxf");
    EXPECT_EQ(par->Programma(), "Chiamante");
    EXPECT_EQ(MainParametri::instance().hive(), Hive::CurrentUser);
    EXPECT_EQ(MainParametri::instance().depth(), 0);
    EXPECT_EQ(storedText(Hive::CurrentUser, "PercorsoDXF"), "/dxf");

    // An undeclared name is written to the unnamed value of the suite's key.
    par->ScriviPercorso("Sconosciuto", "/altrove");
    par->ScriviPercorso("Percorso", "/mai");
    EXPECT_EQ(storedText(Hive::CurrentUser, ""), "/altrove");
    EXPECT_EQ(platform.messages().size(), 1u);

    EXPECT_EQ(par->TotalePercorsi(), 15);
    QString nome = "x", def = "x", current = "x", rif = "x";
    EXPECT_FALSE(par->DatiPercorso(16, nome, def, current, rif));
    EXPECT_FALSE(par->DatiPercorso(-1, nome, def, current, rif));
    EXPECT_EQ(nome, "x");
    ASSERT_TRUE(par->DatiPercorso(15, nome, def, current, rif));
    EXPECT_EQ(nome, "Custom9");

    par->PercorsoDxf("/altrove");  // read-only
    EXPECT_EQ(par->PercorsoDxf(), "/dxf/");
    // These two resolve their folder, storing its default, but hand back nothing.
    EXPECT_EQ(par->PercorsoISOSlabvista(), QVariant());
    EXPECT_EQ(par->PercorsoDFFLocale(), QVariant());
    EXPECT_TRUE(stored(Hive::CurrentUser, "PercorsoDFFLocale").found);
    // Undeclared fixed folders resolve as unknown names.
    EXPECT_EQ(par->PercorsoCLF(), QVariant(platform.folder() + "/"));
}

// The folder editor's working copy: folders built on one another, DXF on Disegni,
// DxfVecchi on DXF, Lastre on the root and Testi on the library's folder.
TEST(FolderEditing, FilterDefaultsDependentsAndWriting) {
    TestPlatform platform;
    platform.writeInstallationFile(
        "REGISTRYROOT = Corvel\r\nFOLDERS = 5\r\n"
        "FOLDER1 = Testi, <PROGRAM>Testi, TESTI\r\n"
        "FOLDER2 = Disegni, <WINCOR>\\Disegni, DISEGNI\r\n"
        "FOLDER3 = DXF, <Disegni>\\Dxf, DISEGNI\r\n"
        "FOLDER4 = DxfVecchi, <DXF>\\Vecchi, ARCHIVIO\r\n"
        "FOLDER5 = Lastre, <WINCOR>\\Lastre, LASTRE\r\n");
    Parametri par;
    const QString library = platform.folder() + "/", root = library + "Wincor/";
    par.ScriviPercorso("Lastre", "/magazzino/lastre/");
    FolderEditing editing(foldersOf(par));
    const auto& f = editing.folders();
    ASSERT_EQ(f.size(), 15u);

    EXPECT_EQ(editing.matching("").size(), 15u);
    for (const auto& [filter, rows] : {std::pair<QString, std::vector<int>>{"DISEGNI", {2, 3}}, {"DXF", {3}}, {"NESSUNA", {}}})
        EXPECT_EQ(editing.matching(filter), rows) << filter.toStdString();

    const QString fallbacks[] = {root, library + "Testi/", root + "Disegni/", root + "Disegni/Dxf/",
                                 root + "Disegni/Dxf/Vecchi/", root + "Lastre/", ""};
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(f[i].fallback, fallbacks[i]) << i;
    EXPECT_EQ(f[5].stored, "/magazzino/lastre/");

    // Moving Disegni offers its dependents, nearest first; only DxfVecchi follows,
    // under DXF where it was.
    EXPECT_TRUE(editing.relocate(2, "/n/"));
    EXPECT_FALSE(editing.relocate(2, "/n/"));
    const auto dependents = editing.dependents(2);
    ASSERT_EQ(dependents.size(), 2u);
    EXPECT_EQ(std::make_pair(dependents[0].row, dependents[0].proposed), std::make_pair(3, QString("/n/Dxf/")));
    EXPECT_EQ(std::make_pair(dependents[1].row, dependents[1].proposed), std::make_pair(4, QString("/n/Dxf/Vecchi/")));
    EXPECT_TRUE(editing.dependents(5).empty());
    // The suite root's dependents: whatever its macro starts, not Testi under <PROGRAM>.
    std::vector<int> underRoot;
    for (const auto& d : editing.dependents(0))
        underRoot.push_back(d.row);
    EXPECT_EQ(underRoot, std::vector<int>({2, 5, 3, 4}));
    editing.follow({4});
    EXPECT_EQ(f[4].location, root + "Disegni/Dxf/Vecchi/");
    editing.follow({3, 4});
    EXPECT_EQ(f[4].location, "/n/Dxf/Vecchi/");

    // Another program moves DXF and Lastre: the user's own move of DXF stays.
    for (const char* name : {"PercorsoLastre", "PercorsoDXF"})
        test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE\\Corvel", name, regtype::String, {'/', static_cast<unsigned char>(name[8]), '/'});
    editing.reloadStored();
    EXPECT_EQ(f[5].location, "/L/");
    EXPECT_EQ(f[3].location, "/n/Dxf/");

    EXPECT_TRUE(editing.write());
    EXPECT_EQ(par.Percorso("Disegni"), "/n/");
    EXPECT_EQ(par.Percorso("DxfVecchi"), "/n/Dxf/Vecchi/");
    EXPECT_EQ(par.Percorso("Lastre"), "/L/");
    EXPECT_FALSE(FolderEditing(foldersOf(par)).write());

    FolderEditing defaults(foldersOf(par));
    defaults.restoreAllDefaults();
    EXPECT_TRUE(defaults.write());
    EXPECT_EQ(par.Percorso("Disegni"), root + "Disegni/");
    EXPECT_EQ(par.Percorso("Lastre"), root + "Lastre/");
}

}  // namespace
}  // namespace paramcor
