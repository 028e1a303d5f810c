// Resolving folder names into locations, and moving folders.
#include "folders/FolderEditing.h"
#include "folders/FolderTable.h"
#include "param/FolderSetup.h"
#include "param/registry/MainParametri.h"
#include "support/TestPlatform.h"

#include <CVLParamcor/Parametri.h>

#include <QDir>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

using test::StoredValue;
using test::TestPlatform;

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
    StoredValue stored(Hive hive, const std::string& name) {
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
    EXPECT_TRUE(platform.messages().empty());

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
