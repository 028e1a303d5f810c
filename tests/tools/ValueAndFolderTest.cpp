// valore, percorso, percorsi, traduci, chiave, lingua, misure: each command on a
// real workshop, its operands in and its words out.
#include "ToolTesting.h"

#include <QDir>
#include <QFileInfo>

namespace paramcor::test {
namespace {

TEST(ParamcorValue, EachTypeStoredInItsRegistryEncodingAndReadBack) {
    const Workshop workshop;
    const QString text = QStringLiteral("Più \"a\"\\");
    // What is stored, not only what comes back: a fault on both ways would hide.
    const std::tuple<const char*, QString, const char*, QString> cases[] = {
        {"Integer", "-1234", "REG_BINARY 2e fb", "-1234"},          {"LONG", "-7", "REG_DWORD f9 ff ff ff", "-7"},
        {"Single", "0.1", "REG_DWORD cd cc cc 3d", "0.1"},          {"Double", "0.1", "REG_BINARY 9a 99 99 99 99 99 b9 3f", "0.1"},
        {"String", text, "REG_SZ 50 69 c3 b9 20 22 61 22 5c", text}, {"Boolean", "false", "REG_BINARY 00", "False"},
        {"Boolean", "1", "REG_BINARY 01", "True"}};
    for (const auto& [type, written, raw, readBack] : cases) {
        SCOPED_TRACE(std::string(type) + ' ' + written.toStdString());
        EXPECT_TRUE(workshop.run({"valore", "scrivi", "--sezione", "Lama", "Taglio", "V", type, written})
                        .out.startsWith("HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio\\Lama: V = " + readBack + " ("));
        EXPECT_EQ(workshop.run({"valore", "leggi", "--grezzo", "--sezione", "Lama", "Taglio", "V"}).out, raw + QString(u'\n'));
        EXPECT_EQ(workshop.run({"valore", "leggi", "Taglio", "V", type, "--sezione", "Lama"}).out, readBack + u'\n');
    }
}

TEST(ParamcorValue, MissingMismatchedMachineAndRaw) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Taglio", "Spessore", "Double", "1.5"}).code, 0);
    ASSERT_EQ(workshop.run({"valore", "scrivi", "--macchina", "Taglio", "Lastre", "Long", "12"}).code, 0);
    expectRefused(workshop.run({"valore", "leggi", "Taglio", "Giri", "Long"}), 3,
                  "paramcor: valore leggi: HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio has no value \"Giri\"\n");
    EXPECT_EQ(workshop.run({"valore", "leggi", "--predefinito", "3000", "Taglio", "Giri", "Long"}).out,
              QStringLiteral("3000\n"));
    expectRefused(workshop.run({"valore", "leggi", "Taglio", "Spessore", "Single"}), 1, "which is no Single");
    EXPECT_EQ(workshop.run({"valore", "leggi", "--grezzo", "Taglio", "Spessore"}).out,
              QStringLiteral("REG_BINARY 00 00 00 00 00 00 f8 3f\n"));
    EXPECT_EQ(workshop.run({"valore", "leggi", "--json", "Taglio", "Spessore", "Double"}).out,
              QStringLiteral("{\"chiave\":\"HKEY_CURRENT_USER\\\\SOFTWARE\\\\Corvel\\\\Taglio\",\"nome\":"
                             "\"Spessore\",\"tipo\":\"Double\",\"valore\":1.5}\n"));
    EXPECT_EQ(workshop.run({"valore", "leggi", "Taglio", "Lastre", "Long", "--macchina"}).out, QStringLiteral("12\n"));
    EXPECT_EQ(workshop.run({"valore", "leggi", "Taglio", "Lastre", "Long"}).code, 3);
}

TEST(ParamcorFolders, OneByAnyOfItsNamesOrAllInATable) {
    const Workshop workshop(
        "REGISTRYROOT = Corvel\r\nFOLDERS = 4\r\n"
        "FOLDER1 = Testi,    <PROGRAM>Testi,     TESTI\r\n"
        "FOLDER2 = Disegni,  <WINCOR>\\Disegni,  DISEGNI\r\n"
        "FOLDER3 = DXF,      <Disegni>\\Dxf\r\n"
        "FOLDER4 = Archivio, /srv/archivio,      ARCHIVIO\r\n");
    const QString installation = QDir(workshop.installation()).absolutePath();
    const QString root = installation + QStringLiteral("/Wincor/");
    for (const auto& [name, expected] : {std::pair{" dxf ", root + "Disegni/Dxf/"},
                                         std::pair{"PercorsoDxf", root + "Disegni/Dxf/"},
                                         std::pair{"Archivio", QStringLiteral("/srv/archivio/")}})
        EXPECT_EQ(workshop.run({"percorso", name}).out, expected + u'\n') << name;
    expectRefused(workshop.run({"percorso", "Dwg"}), 3,
                  "paramcor: percorso: the installation declares no folder \"Dwg\" (paramcor percorsi lists them)\n");
    QStringList cells;
    for (const QString& line : workshop.run({"percorsi"}).out.split(u'\n', Qt::SkipEmptyParts))
        cells << line.split(u' ', Qt::SkipEmptyParts).join(u' ');
    EXPECT_EQ(cells.mid(0, 1) + cells.mid(2),
              (QStringList{"Nome Default Percorso Rif Origine", "Wincor " + root + u' ' + root + " default",
                           "Testi <PROGRAM>Testi " + installation + "/Testi/ TESTI default",
                           "Disegni <WINCOR>\\Disegni " + root + "Disegni/ DISEGNI default",
                           "DXF <Disegni>\\Dxf " + root + "Disegni/Dxf/ default",
                           "Archivio /srv/archivio /srv/archivio/ ARCHIVIO default"}));
    EXPECT_TRUE(workshop.run({"percorsi", "--tutti"}).out.contains(QStringLiteral("\nCustom9 ")));
    // A location stored by hand, with Windows' separators, as the folder editor would.
    ASSERT_EQ(workshop.run({"valore", "scrivi", "", "PercorsoDXF", "String", "/srv/lavori\\dxf"}).code, 0);
    EXPECT_EQ(workshop.run({"percorso", "DXF"}).out, QStringLiteral("/srv/lavori/dxf/\n"));
}

// Moved as the folder editor moves them: a declared folder, to an existing folder,
// in the store its kind belongs to; the folders built on it only when asked. The
// root declared by the installation is its default.
TEST(ParamcorFolders, MovedLikeTheFolderEditorMovesThem) {
    const Workshop workshop(
        "REGISTRYROOT = Corvel\r\nFOLDERS = 4\r\n"
        "FOLDER0 = Wincor,   /srv/officina\r\n"
        "FOLDER1 = Testi,    <PROGRAM>Testi,     TESTI\r\n"
        "FOLDER2 = Immagini, <WINCOR>\\Immagini,  IMMAGINI\r\n"
        "FOLDER3 = Disegni,  <WINCOR>\\Disegni,   DISEGNI\r\n"
        "FOLDER4 = DXF,      <Disegni>\\Dxf\r\n");
    const QString moved = QDir(workshop.path("lavori")).absolutePath();
    ASSERT_TRUE(QDir().mkpath(moved));
    const QString root = QStringLiteral("/srv/officina/");
    expectRefused(workshop.run({"percorso", "scrivi", "Dwg", moved}), 1, "declares no folder \"Dwg\"");
    expectRefused(workshop.run({"percorso", "scrivi", "Disegni", moved + "/nessuna"}), 1, "is not an existing folder");
    expectRefused(workshop.run({"percorso", "scrivi", "Disegni", "lavori"}), 1, "is not an existing folder");
    expectRefused(workshop.run({"percorso", "scrivi", "Immagini", moved}), 1, "give --macchina");
    expectRefused(workshop.run({"percorso", "scrivi", "--macchina", "Disegni", moved}), 1, "takes no --macchina");
    EXPECT_EQ(workshop.run({"percorso", "scrivi", "Disegni", moved}).out, "Disegni = " + moved + "/\n");
    EXPECT_EQ(workshop.run({"percorso", "DXF"}).out, root + "Disegni/Dxf/\n");
    EXPECT_EQ(workshop.run({"percorso", "scrivi", "--dipendenti", "disegni", moved + "/"}).out,
              "DXF = " + moved + "/Dxf/\n");
    EXPECT_EQ(workshop.run({"percorso", "scrivi", "Immagini", moved, "--macchina"}).code, 0);
    EXPECT_EQ(workshop.run({"valore", "leggi", "--macchina", "", "PercorsoImmagini", "String"}).out, moved + "/\n");
    QStringList sources;
    for (const QString& line : workshop.run({"percorsi"}).out.split(u'\n', Qt::SkipEmptyParts).mid(2))
        sources << line.section(u' ', 0, 0) + u' ' + line.section(u' ', -1);
    EXPECT_EQ(sources, (QStringList{"Wincor default", "Testi default", "Immagini macchina", "Disegni utente", "DXF utente"}));
}

// The first command delivers the texts; the language is the user's unless an
// option names another for one command.
TEST(ParamcorTexts, TranslatedByWordingOrKeyInTheUsersLanguage) {
    const Workshop workshop;
    EXPECT_EQ(workshop.run({"lingua", "3"}).out, QStringLiteral("3 Deutsch\n"));
    const QStringList text = plainTexts(workshop.userTexts(), 1).value(0);
    ASSERT_EQ(text.size(), 5);
    EXPECT_EQ(workshop.run({"traduci", text[2]}).out, text[3] + u'\n');
    EXPECT_EQ(workshop.run({"chiave", "--lingua", "2", text[0], text[1]}).out, text[4] + u'\n');
    EXPECT_EQ(workshop.run({"lingua"}).out, QStringLiteral("3 Deutsch\n"));
    EXPECT_EQ(workshop.run({"lingua", "pt-BR"}).out, QStringLiteral("6 Português\n"));
    EXPECT_EQ(workshop.run({"lingua", "DE"}).out, QStringLiteral("3 Deutsch\n"));
    EXPECT_TRUE(workshop.run({"--help"}).out.startsWith(QStringLiteral("Aufruf: paramcor BEFEHL")));
    EXPECT_EQ(workshop.run({"traduci", "Una frase che non c'è"}).out, QStringLiteral("Una frase che non c'è\n"));
    EXPECT_FALSE(QFileInfo::exists(workshop.installation() + QStringLiteral("/Testi/CvlTrad.mdb")));

    query(workshop.userTexts(), "UPDATE Testi SET Testo_02 = ?1 WHERE Programma = 'PARAM' AND Progressivo = '02_VAL'",
          {QStringLiteral("$   USD")});
    EXPECT_TRUE(workshop.run({"misure", "--lingua", "2"}).out.contains(QStringLiteral("USD, symbol $")));
}

// The login's language counts once, when the user's settings are made; a login
// that names no language of the suite leaves the usual default.
TEST(ParamcorTexts, ANewUserSpeaksTheLanguageOfTheLogin) {
    const Workshop german({}, true);
    const QStringList line{"--registro", german.registry(), "--installazione", german.installation(), "lingua"};
    // A reading command stores nothing, but already speaks the login's language;
    // the first command that writes keeps it.
    EXPECT_EQ(runTool(line, {}, QStringLiteral("de_DE.UTF-8")).out, QStringLiteral("3 Deutsch\n"));
    EXPECT_EQ(runTool(line, {}, QStringLiteral("fr_FR.UTF-8")).out, QStringLiteral("4 Français\n"));
    QStringList write = line.mid(0, 4) + QStringList{"valore", "scrivi", "Prova", "Avvio", "Long", "1"};
    EXPECT_EQ(runTool(write, {}, QStringLiteral("de_DE.UTF-8")).code, 0);
    EXPECT_EQ(runTool(line, {}, QStringLiteral("fr_FR.UTF-8")).out, QStringLiteral("3 Deutsch\n"));
    const Workshop elsewhere({}, true);
    EXPECT_EQ(runTool({"--registro", elsewhere.registry(), "--installazione", elsewhere.installation(), "lingua"}, {},
                      QStringLiteral("ja_JP.UTF-8"))
                  .out,
              QStringLiteral("1 Italiano\n"));
}

// The shop's settings for new users come once, into a hive being made: its language
// wins over the login's, and a user who has settings keeps them untouched.
TEST(ParamcorTexts, ANewUserStartsFromTheShopsSettingsAndNoOneElseIsTouched) {
    const QByteArray cut = "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio]\r\n\"Spessore\"=dword:00000014\r\n";
    const QByteArray english = cut + "\r\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel]\r\n\"Lingua\"=\"2\"\r\n";
    const QByteArray machine = cut + "\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvel]\r\n\"Chiunque\"=\"1\"\r\n";
    const struct {
        QByteArray skeleton;
        bool newUser;
        QString language;  // after the first command that writes, with a German login
        bool imported;
    } cases[] = {
        {english, true, QStringLiteral("2 English\n"), true},
        {cut, true, QStringLiteral("3 Deutsch\n"), true},
        {cut, false, QStringLiteral("2 English\n"), false},  // the workshop's user has English already
        {machine, true, QStringLiteral("3 Deutsch\n"), false},
        {"REGEDIT4\r\n[HKEY_CURRENT_USER\\SOFTWARE]\r\n\"x\"=y\r\n", true, QStringLiteral("3 Deutsch\n"), false},
    };
    const QString german = QStringLiteral("de_DE.UTF-8");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.skeleton.toStdString());
        const Workshop workshop({}, c.newUser);
        writeFile(workshop.installation() + QStringLiteral("/utente.reg"), c.skeleton);
        const QStringList line{"--registro", workshop.registry(), "--installazione", workshop.installation()};
        // Reading makes nothing, so the skeleton waits for the first write.
        EXPECT_EQ(runTool(line + QStringList{"lingua"}, {}, german).err, QString());
        const Outcome written = runTool(line + QStringList{"valore", "scrivi", "Prova", "Avvio", "Long", "1"}, {}, german);
        EXPECT_EQ(written.code, 0);
        EXPECT_EQ(written.err.contains(QStringLiteral("utente.reg")), c.newUser && !c.imported)
            << written.err.toStdString();
        EXPECT_EQ(runTool(line + QStringList{"lingua"}, {}, german).out, c.language);
        auto store = workshop.store();
        const StoredValue cutting = c.imported ? StoredValue{true, regtype::Dword, dword(20)} : StoredValue{};
        EXPECT_EQ(storedValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "Spessore"), cutting);
        EXPECT_FALSE(storedValue(store, Hive::LocalMachine, kSuite, "Chiunque").found);
    }
}

}  // namespace
}  // namespace paramcor::test
