// valore leggi and scrivi: typed parameters as the programs of the suite keep them;
// percorso and percorsi: the folders as the library resolves them.
#include "ToolTesting.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <charconv>
#include <cstring>

namespace paramcor::test {
namespace {

const std::string kLama = "SOFTWARE\\Corvel\\Taglio\\Lama";

template <class Number>
std::vector<std::uint8_t> littleEndian(Number value) {
    std::vector<std::uint8_t> bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);  // the tests run on little-endian machines, as the suite
    return bytes;
}

template <class Number>
QString shortest(Number value) {
    char buffer[64];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    return QString::fromLatin1(buffer, end - buffer);
}

// Each type as the tool parses and prints it, stored as the suite keeps it.
TEST(ParamcorValue, EachTypeWrittenAndReadBack) {
    const Workshop workshop;
    const QString text = QStringLiteral("Marmo di Carrara, \"più\" bello\\");
    const struct {
        const char* type;
        QString written;
        std::uint32_t storedType;
        std::vector<std::uint8_t> stored;
        QString readBack;
    } cases[] = {
        {"Integer", "-1234", 3, littleEndian<short>(-1234), "-1234"},
        {"integer", "32767", 3, littleEndian<short>(32767), "32767"},
        {"LONG", "-7", 4, littleEndian<int>(-7), "-7"},
        {"Single", "2.5", 4, littleEndian<float>(2.5f), "2.5"},
        {"Single", "0.1", 4, littleEndian<float>(0.1f), shortest(0.1f)},
        {"Single", "-1e-3", 4, littleEndian<float>(-1e-3f), shortest(-1e-3f)},
        {"Double", "3000.5", 3, littleEndian<double>(3000.5), "3000.5"},
        {"Double", "0.1", 3, littleEndian<double>(0.1), "0.1"},
        {"String", text, 1, utf8(text), text},
        {"String", QString(255, u'é'), 1, utf8(QString(255, u'é')), QString(255, u'é')},
        {"Boolean", "True", 3, {1}, "True"},
        {"Boolean", "false", 3, {0}, "False"},
        {"Boolean", "1", 3, {1}, "True"},
    };
    auto store = workshop.store();
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.type) + ' ' + c.written.left(20).toStdString());
        const Outcome written =
            workshop.run({"valore", "scrivi", "--sezione", "Lama", "Taglio", "Valore", c.type, c.written});
        EXPECT_TRUE(written.out.startsWith(QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio\\Lama: Valore = ")))
            << written;
        EXPECT_TRUE(written.code == 0 && written.err.isEmpty()) << written;
        const Found found = storedValue(store, Hive::CurrentUser, kLama, "Valore");
        EXPECT_EQ(found.value.type, c.storedType);
        EXPECT_EQ(found.value.data, c.stored);
        const Outcome read = workshop.run({"valore", "leggi", "Taglio", "Valore", c.type, "--sezione", "Lama"});
        EXPECT_EQ(read.out, c.readBack + u'\n') << read;
        EXPECT_TRUE(read.code == 0 && read.err.isEmpty()) << read;
    }
}

// What the store keeps, byte for byte: the hive files and their change counters
// (the -shm index is SQLite's shared memory, which every reader touches).
std::map<QString, QByteArray> storeFiles(const Workshop& workshop) {
    std::map<QString, QByteArray> files;
    for (const QString& name : QDir(workshop.registry()).entryList(QDir::Files))
        if (!name.endsWith(QLatin1String("-shm")))
            files[name] = fileBytes(workshop.registry() + u'/' + name);
    return files;
}

TEST(ParamcorValue, ReadsNeverWriteAndRefuseWhatIsNotThere) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Taglio", "Passate", "Integer", "3"}).code, 0);
    const auto before = storeFiles(workshop);

    expectRefused(workshop.run({"valore", "leggi", "Taglio", "Giri", "Long"}), 3,
                  "paramcor: valore leggi: HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio has no value \"Giri\"\n");
    const Outcome fallback = workshop.run({"valore", "leggi", "--predefinito", "3000", "Taglio", "Giri", "Long"});
    EXPECT_EQ(fallback.code, 0) << fallback;
    EXPECT_EQ(fallback.out, QStringLiteral("3000\n")) << fallback;
    const Outcome json = workshop.run({"valore", "leggi", "--json", "Taglio", "Passate", "Integer"});
    EXPECT_EQ(json.out, QStringLiteral("{\"chiave\":\"HKEY_CURRENT_USER\\\\SOFTWARE\\\\Corvel\\\\Taglio\",\"nome\":"
                                       "\"Passate\",\"tipo\":\"Integer\",\"valore\":3}\n"))
        << json;
    EXPECT_EQ(storeFiles(workshop), before);
}

TEST(ParamcorValue, ATypeThatDoesNotMatchIsAnErrorBothWays) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Taglio", "Nome", "String", "Granito"}).code, 0);
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Taglio", "Giri", "Long", "7"}).code, 0);
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Taglio", "Spessore", "Double", "1.5"}).code, 0);
    for (const auto& [name, asked] : {std::pair{"Nome", "Long"}, std::pair{"Giri", "String"},
                                      std::pair{"Spessore", "Single"}, std::pair{"Giri", "Double"}}) {
        expectRefused(workshop.run({"valore", "leggi", "Taglio", name, asked}), 1,
                      QStringLiteral("which is no ") + QLatin1String(asked));
    }
    EXPECT_EQ(workshop.run({"valore", "leggi", "--grezzo", "Taglio", "Spessore"}).out,
              QStringLiteral("REG_BINARY 00 00 00 00 00 00 f8 3f\n"));
}

TEST(ParamcorValue, MachineStoreAndSections) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "--macchina", "Magazzino", "Lastre", "Long", "12"}).code, 0);
    ASSERT_EQ(workshop.run({"valore", "scrivi", "--sezione", "Lama", "Magazzino", "Lastre", "Long", "34"}).code, 0);
    auto store = workshop.store();
    EXPECT_EQ(storedValue(store, Hive::LocalMachine, kSuite + "\\Magazzino", "Lastre").value.data,
              littleEndian<int>(12));
    EXPECT_EQ(storedValue(store, Hive::CurrentUser, kSuite + "\\Magazzino\\Lama", "Lastre").value.data,
              littleEndian<int>(34));
    EXPECT_FALSE(storedValue(store, Hive::CurrentUser, kSuite + "\\Magazzino", "Lastre").found);
    EXPECT_EQ(workshop.run({"valore", "leggi", "Magazzino", "Lastre", "Long", "--macchina"}).out,
              QStringLiteral("12\n"));
    EXPECT_EQ(workshop.run({"valore", "leggi", "Magazzino", "Lastre", "Long"}).code, 3);
}

// The library drops a write it may not make without a word, as the registry does
// for a user without rights; the tool says it, and the stored value stays.
TEST(ParamcorValue, AWriteTheLibraryDropsIsAnError) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "--macchina", "Magazzino", "Lastre", "Long", "12"}).code, 0);
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Magazzino", "Lastre", "Long", "12"}).code, 0);
    const QString machine = workshop.registry() + QStringLiteral("/HKEY_LOCAL_MACHINE.db");
    const QString user = workshop.registry() + QStringLiteral("/HKEY_CURRENT_USER.db");
    // Another program holds the user hive's write lock for longer than the tool waits.
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(user.toUtf8().constData(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    const Outcome locked = workshop.run({"--attesa", "1", "valore", "scrivi", "Magazzino", "Lastre", "Long", "99"});
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    expectRefused(locked, 1,
                  QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Magazzino: Lastre was not written (error 32: "
                                 "%1 is held by another process")
                      .arg(user));
    ASSERT_TRUE(QFile::setPermissions(machine, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    expectRefused(workshop.run({"valore", "scrivi", "--macchina", "Magazzino", "Lastre", "Long", "99"}), 1,
                  "HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvel\\Magazzino cannot be written");
    // The suite's rule: strings have at most 255 characters.
    expectRefused(workshop.run({"valore", "scrivi", "Magazzino", "Nota", "String", QString(256, u'x')}), 1, "255");
    auto store = workshop.store();
    for (const Hive hive : {Hive::LocalMachine, Hive::CurrentUser})
        EXPECT_EQ(storedValue(store, hive, kSuite + "\\Magazzino", "Lastre").value.data, littleEndian<int>(12));
    EXPECT_FALSE(storedValue(store, Hive::CurrentUser, kSuite + "\\Magazzino", "Nota").found);
}

TEST(ParamcorValue, AHiveFileThatIsNotAHiveIsNamedWithTheCause) {
    const Workshop workshop;
    const QString hive = workshop.registry() + QStringLiteral("/HKEY_CURRENT_USER.db");
    writeFile(hive, QByteArray(4096, 'x'));
    const QString cause = hive + QStringLiteral(" is not a hive of CVLParamcor: it is not an SQLite database");
    const Outcome read = workshop.run({"valore", "leggi", "Magazzino", "Lastre", "Long"});
    EXPECT_EQ(read.code, 1) << read;
    EXPECT_EQ(read.err.count(cause), 1) << read;
    expectRefused(workshop.run({"registro", "esporta", "HKCU\\SOFTWARE", workshop.path("x.reg")}), 1,
                  QStringLiteral("cannot be read (error 1009: ") + cause + u')');
}

const QByteArray kFolders =
    "REGISTRYROOT = Prova\r\n"
    "FOLDERS = 4\r\n"
    "FOLDER1 = Testi,    <PROGRAM>Testi,     TESTI\r\n"
    "FOLDER2 = Disegni,  <WINCOR>\\Disegni,  DISEGNI\r\n"
    "FOLDER3 = DXF,      <Disegni>\\Dxf\r\n"
    "FOLDER4 = Archivio, /srv/archivio,      ARCHIVIO\r\n";

TEST(ParamcorFolders, OneByAnyOfItsNamesOrAllInATable) {
    const Workshop workshop(kFolders);
    // The suite's root is "Wincor" in the library's folder; the defaults build on it.
    const QString installation = QDir(workshop.installation()).absolutePath();
    const QString root = installation + QStringLiteral("/Wincor/");
    const struct {
        QString name;
        QString expected;
    } cases[] = {
        {"DXF", root + "Disegni/Dxf/"}, {" dxf ", root + "Disegni/Dxf/"}, {"PercorsoDxf", root + "Disegni/Dxf/"},
        {"Disegni", root + "Disegni/"}, {"Archivio", "/srv/archivio/"},   {"Wincor", root},
        {"TESTI", installation + "/Testi/"},
    };
    for (const auto& c : cases) {
        const Outcome run = workshop.run({"percorso", c.name});
        EXPECT_EQ(run.out, c.expected + u'\n') << c.name.toStdString();
        EXPECT_TRUE(run.code == 0 && run.err.isEmpty()) << run;
    }
    expectRefused(workshop.run({"percorso", "Dwg"}), 1,
                  "paramcor: percorso: the installation declares no folder \"Dwg\" (paramcor percorsi lists them)\n");

    // Name, declared default, current location, reference; the root is the library's own.
    const Outcome table = workshop.run({"percorsi"});
    EXPECT_TRUE(table.code == 0 && table.err.isEmpty()) << table;
    QStringList cells;
    for (const QString& line : table.out.split(u'\n', Qt::SkipEmptyParts))
        cells << line.split(u' ', Qt::SkipEmptyParts).join(u' ');
    EXPECT_EQ(cells.mid(0, 1) + cells.mid(2),
              (QStringList{"Nome Default Percorso Rif", "Wincor " + root + u' ' + root,
                           "Testi <PROGRAM>Testi " + installation + "/Testi/ TESTI",
                           "Disegni <WINCOR>\\Disegni " + root + "Disegni/ DISEGNI",
                           "DXF <Disegni>\\Dxf " + root + "Disegni/Dxf/", "Archivio /srv/archivio /srv/archivio/ ARCHIVIO"}))
        << table;
    const Outcome all = workshop.run({"percorsi", "--tutti"});
    for (int k = 1; k <= 9; ++k)
        EXPECT_TRUE(all.out.contains(QStringLiteral("\nCustom%1 ").arg(k))) << all;

    // A location stored by hand, with Windows' separators, as the folder editor would.
    ASSERT_EQ(workshop.run({"valore", "scrivi", "", "PercorsoDXF", "String", "/srv/lavori\\dxf"}).code, 0);
    EXPECT_EQ(workshop.run({"percorso", "DXF"}).out, QStringLiteral("/srv/lavori/dxf/\n"));
}

}  // namespace
}  // namespace paramcor::test
