// registro esporta and importa: the registry editor's files, both ways, byte for
// byte; files written by hand as Windows writes them; and faulty files, of which
// nothing is imported.
#include "ToolTesting.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include <sys/resource.h>
#include <sys/stat.h>

namespace paramcor::test {
namespace {

struct Written {
    std::string path;
    std::string name;
    std::uint32_t type;
    std::vector<std::uint8_t> data;
};

// What programs of the suite and others leave in a store, including what only the
// hex forms can carry.
std::vector<Written> settings(bool onlyWindows1252) {
    std::vector<std::uint8_t> large(5000);
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<std::uint8_t>(i * 31 + 7);
    std::vector<Written> values = {
        {kSuite, "Lingua", 1, utf8("2")},
        {kSuite, "", 1, utf8("the unnamed value")},
        {kSuite, "PercorsoDXF", 1, utf8("C:\\Lavori\\Dxf\\")},
        {kSuite + "\\Taglio", "Giri", 4, dword(3000)},
        {kSuite + "\\Taglio", "Passate", 3, {3, 0}},
        {kSuite + "\\Taglio", "Larghezza", 3, {0, 0, 0, 0, 0, 0x70, 0xA7, 0x40}},
        {kSuite + "\\Taglio", "Raffreddamento", 3, {1}},
        {kSuite + "\\Taglio\\Lama", "Spessore", 4, dword(0x40200000)},
        {kSuite + "\\Taglio\\Lama", "Quotes \"and\" \\backslashes\\", 1, utf8("say \"hi\" to C:\\")},
        {kSuite + "\\Taglio\\Lama", "Perché = [più]", 1, utf8("Marmo più bello, 30 mm²")},
        {kSuite + "\\Taglio\\Lama", "Empty", 1, {}},
        {kSuite + "\\Taglio\\Lama", "With its zero", 1, {'a', 'b', 'c', 0}},
        {kSuite + "\\Taglio\\Lama", "Two lines", 1, utf8("first\r\nsecond")},
        {kSuite + "\\Taglio\\Lama", "Zero inside", 1, {'a', 0, 'b'}},
        {kSuite + "\\Taglio\\Lama", "Expandable", 2, {'%', 'T', 'E', 'M', 'P', '%', 0}},
        {kSuite + "\\Taglio\\Lama", "Several", 7, {'a', 0, 'b', 'c', 0, 0}},
        {kSuite + "\\Taglio\\Lama", "Short dword", 4, {1, 2, 3}},
        {kSuite + "\\Taglio\\Lama", "Quad", 11, {1, 2, 3, 4, 5, 6, 7, 8}},
        {kSuite + "\\Taglio\\Lama", "None", 0, {}},
        {kSuite + "\\Taglio\\Lama", "Unusual", 0x12345678u, {9}},
        {kSuite + "\\Taglio\\Lama", "Large", 3, large},
        {kSuite + "\\Magazzino\\Vuoto", "", 4, dword(0)},
        {kSuite + "\\Città di Carrara", "Nome", 1, utf8("Città")},
    };
    if (!onlyWindows1252) {
        values.push_back({kSuite + "\\Ελληνικά", "Όνομα", 1, utf8("Καλημέρα €")});
        values.push_back({kSuite + "\\Ελληνικά", "Κείμενο", 2, utf8("Ωμέγα")});
    }
    return values;
}

void fill(RegistryStore& store, const std::vector<Written>& values) {
    for (const Written& w : values)
        setValue(store, Hive::CurrentUser, w.path, w.name, w.type, w.data);
    // A key without values, and values in the other hives.
    KeyHandle key = 0;
    ASSERT_EQ(store.createKey(Hive::CurrentUser, kSuite + "\\Senza valori", &key), regerr::Success);
    store.closeKey(key);
    setValue(store, Hive::LocalMachine, kSuite, "VersioneProdotto", 1, utf8("6.0"));
    setValue(store, Hive::ClassesRoot, ".dxf", "", 1, utf8("Corvel.Disegno"));
}

class ParamcorRegistryRoundTrip : public ::testing::TestWithParam<bool> {};

TEST_P(ParamcorRegistryRoundTrip, ExportedAndImportedIntoAnEmptyStoreGivesTheSameBytesAndTypes) {
    const bool regedit4 = GetParam();
    const Workshop from;
    const Workshop to;
    {
        auto store = from.store();
        fill(store, settings(regedit4));
    }
    const QString file = from.path("impostazioni.reg");
    QStringList exportLine = {"registro", "esporta", "HKEY_CURRENT_USER\\SOFTWARE\\Corvel", file};
    if (regedit4)
        exportLine << "--regedit4";
    const Outcome exported = from.run(exportLine);
    ASSERT_EQ(exported.code, 0) << exported;
    EXPECT_TRUE(exported.err.isEmpty()) << exported;
    const Outcome imported = to.run({"registro", "importa", file});
    ASSERT_EQ(imported.code, 0) << imported;
    EXPECT_TRUE(imported.err.isEmpty()) << imported;

    auto original = from.store();
    auto copy = to.store();
    const Dump before = dump(original, Hive::CurrentUser, kSuite);
    EXPECT_EQ(dump(copy, Hive::CurrentUser, kSuite), before);
    std::size_t values = 0;
    for (const auto& [key, named] : before)
        values += named.size();
    EXPECT_EQ(values, settings(regedit4).size());
    EXPECT_TRUE(exported.out.contains(QStringLiteral(": %1 keys, %2 values").arg(before.size()).arg(values)))
        << exported;
    EXPECT_TRUE(imported.out.contains(QStringLiteral(": %1 keys, %2 values").arg(before.size()).arg(values)))
        << imported;
    // Only what was exported.
    EXPECT_FALSE(storedValue(copy, Hive::LocalMachine, kSuite, "VersioneProdotto").found);

    // Written again from the copy, the file is the same.
    const QString again = to.path("di nuovo.reg");
    exportLine[3] = again;
    ASSERT_EQ(to.run(exportLine).code, 0);
    EXPECT_EQ(fileBytes(again), fileBytes(file));
}

INSTANTIATE_TEST_SUITE_P(Formats, ParamcorRegistryRoundTrip, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Regedit4" : "Unicode"; });

TEST(ParamcorRegistryFile, WrittenAsRegeditWritesIt) {
    const Workshop workshop;
    {
        auto store = workshop.store();
        fill(store, settings(false));
    }
    const QString file = workshop.path("export.reg");
    ASSERT_EQ(workshop.run({"registro", "esporta", "hkcu\\software\\CORVEL\\taglio", file}).code, 0);
    const QByteArray bytes = fileBytes(file);
    ASSERT_TRUE(bytes.startsWith("\xFF\xFE"));
    ASSERT_EQ(bytes.size() % 2, 0);
    const QString text =
        QString::fromUtf16(reinterpret_cast<const char16_t*>(bytes.constData() + 2), (bytes.size() - 2) / 2);
    EXPECT_TRUE(text.startsWith(QStringLiteral("Windows Registry Editor Version 5.00\r\n\r\n"))) << text.toStdString();
    EXPECT_TRUE(text.endsWith(QStringLiteral("\r\n\r\n")));
    EXPECT_FALSE(text.contains(QRegularExpression(QStringLiteral("[^\\r]\\n"))));
    for (const QString& line : text.split(QStringLiteral("\r\n")))
        EXPECT_LE(line.size(), 80) << line.toStdString();
    for (const QString& fragment : {
             // The keys as the store spells them, whatever the command line said.
             QStringLiteral("\r\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio]\r\n"),
             QStringLiteral("\r\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio\\Lama]\r\n"),
             QStringLiteral("\r\n\"Giri\"=dword:00000bb8\r\n"), QStringLiteral("\r\n\"Passate\"=hex:03,00\r\n"),
             QStringLiteral("\r\n\"Quotes \\\"and\\\" \\\\backslashes\\\\\"=\"say \\\"hi\\\" to C:\\\\\"\r\n"),
             QStringLiteral("\r\n\"Perché = [più]\"=\"Marmo più bello, 30 mm²\"\r\n"),
             QStringLiteral("\r\n\"Quad\"=hex(b):01,02,03,04,05,06,07,08\r\n"), QStringLiteral("\r\n\"Large\"=hex:"),
             QStringLiteral(",\\\r\n  ")})  // long lists go on in the next line
        EXPECT_TRUE(text.contains(fragment)) << fragment.toStdString();
    EXPECT_FALSE(text.contains(QStringLiteral("Lingua")));  // not below the key asked for
}

TEST(ParamcorRegistryFile, AFileWrittenByHandInWindowsFormat) {
    const Workshop workshop;
    const QString file = workshop.path("a mano.reg");
    writeFile(file, windowsText(QStringLiteral("Windows Registry Editor Version 5.00\n"
                                               "\n"
                                               "; settings brought over from the old workstation\n"
                                               "[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio]\n"
                                               "@=\"Lama \\\"diamantata\\\" in C:\\\\Utensili\\\\\"\n"
                                               "\"Giri\"=dword:00000BB8\n"
                                               "\"Spessore\"=dword:40200000\n"
                                               "\"Larghezza\"=hex:00,00,00,00,00,\\\n"
                                               "  70,a7,40\n"
                                               "\"Percorso\"=hex(2):25,00,54,00,45,00,4d,00,50,00,25,00,5c,00,\\\n"
                                               "  43,00,56,00,4c,00,00,00\n"
                                               "\"Perché\"=\"più €\"\n"
                                               "  \"Rientrato\" = \"spaces around\"   \n"
                                               "\n"
                                               "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvel]\n"
                                               "\"VersioneProdotto\"=\"6.0\"\n"
                                               "\n"
                                               "[HKEY_CLASSES_ROOT\\.dxf]\n"
                                               "@=\"Corvel.Disegno\"\n")));
    const Outcome run = workshop.run({"registro", "importa", file});
    ASSERT_EQ(run.code, 0) << run;
    EXPECT_EQ(run.out, QStringLiteral("Imported %1: 3 keys, 9 values\n").arg(file)) << run;

    auto store = workshop.store();
    const std::string taglio = kSuite + "\\Taglio";
    const struct {
        Hive hive;
        std::string path;
        std::string name;
        std::uint32_t type;
        std::vector<std::uint8_t> data;
    } expected[] = {
        {Hive::CurrentUser, taglio, "", 1, utf8(QStringLiteral("Lama \"diamantata\" in C:\\Utensili\\"))},
        {Hive::CurrentUser, taglio, "Giri", 4, dword(3000)},
        {Hive::CurrentUser, taglio, "Spessore", 4, dword(0x40200000)},
        {Hive::CurrentUser, taglio, "Larghezza", 3, {0, 0, 0, 0, 0, 0x70, 0xA7, 0x40}},
        {Hive::CurrentUser, taglio, "Percorso", 2, utf8(QStringLiteral("%TEMP%\\CVL") + QChar(0))},
        {Hive::CurrentUser, taglio, "Perché", 1, utf8(QStringLiteral("più €"))},
        {Hive::CurrentUser, taglio, "Rientrato", 1, utf8(QStringLiteral("spaces around"))},
        {Hive::LocalMachine, kSuite, "VersioneProdotto", 1, utf8(QStringLiteral("6.0"))},
        {Hive::ClassesRoot, ".dxf", "", 1, utf8(QStringLiteral("Corvel.Disegno"))},
    };
    for (const auto& e : expected) {
        const Found found = storedValue(store, e.hive, e.path, e.name);
        EXPECT_TRUE(found.found) << e.name;
        EXPECT_EQ(found.value.type, e.type) << e.name;
        EXPECT_EQ(found.value.data, e.data) << e.name;
    }
    // And the programs of the suite read them as their own.
    EXPECT_EQ(workshop.run({"valore", "leggi", "Taglio", "Giri", "Long"}).out, QStringLiteral("3000\n"));
    EXPECT_EQ(workshop.run({"valore", "leggi", "Taglio", "Spessore", "Single"}).out, QStringLiteral("2.5\n"));
    EXPECT_EQ(workshop.run({"valore", "leggi", "Taglio", "Perché", "String"}).out, QStringLiteral("più €\n"));
}

TEST(ParamcorRegistryFile, Regedit4InTheWindowsCodePage) {
    const Workshop workshop;
    const QString file = workshop.path("vecchio.reg");
    QByteArray bytes =
        "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel]\r\n\"Perch\xE9\"=\"pi\xF9 \x80\"\r\n"
        "\"Testo\"=hex(1):63,69,74,74,e0,00\r\n\r\n";
    writeFile(file, bytes);
    const Outcome run = workshop.run({"registro", "importa", file});
    ASSERT_EQ(run.code, 0) << run;
    auto store = workshop.store();
    EXPECT_EQ(storedValue(store, Hive::CurrentUser, kSuite, "Perché").value.data, utf8(QStringLiteral("più €")));
    EXPECT_EQ(storedValue(store, Hive::CurrentUser, kSuite, "Testo").value.data,
              utf8(QStringLiteral("città") + QChar(0)));

    // Written back in the same code page.
    const QString back = workshop.path("indietro.reg");
    ASSERT_EQ(workshop.run({"registro", "esporta", "--regedit4", "HKCU\\SOFTWARE\\Corvel", back}).code, 0);
    EXPECT_TRUE(fileBytes(back).contains("\r\n\"Perch\xE9\"=\"pi\xF9 \x80\"\r\n"));
    EXPECT_TRUE(fileBytes(back).contains("\r\n\"Testo\"=hex(1):63,69,74,74,e0,00\r\n"));
}

struct BadFile {
    const char* label;
    QByteArray bytes;
    QString says;  // with the line, as "FILE:12: ..."
};

void PrintTo(const BadFile& bad, std::ostream* os) {
    *os << bad.label;
}

QByteArray windows(const char* lf) {
    return windowsText(QString::fromUtf8(lf));
}

const char kGood[] =
    "Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel]\n\"Lingua\"=\"2\"\n\n";

class ParamcorBadRegistryFile : public ::testing::TestWithParam<BadFile> {};

TEST_P(ParamcorBadRegistryFile, IsRefusedWithItsLineAndNothingIsImported) {
    const Workshop workshop({}, true);
    const QString file = workshop.path("guasto.reg");
    writeFile(file, GetParam().bytes);
    const Outcome run = workshop.run({"registro", "importa", file});
    expectRefused(run, 1, QStringLiteral("paramcor: registro importa: ") + file + GetParam().says);
    EXPECT_TRUE(run.err.contains(QStringLiteral("nothing was imported"))) << run;
    // The keys before the fault are not there either: the store was not touched.
    EXPECT_FALSE(QFileInfo::exists(workshop.registry())) << run;
}

INSTANTIATE_TEST_SUITE_P(
    Faults, ParamcorBadRegistryFile,
    ::testing::Values(
        BadFile{"NotARegistryFile", windows("Windows Registry Editor Version 4.00\n\n"), ":1: not a registry file"},
        BadFile{"Empty", QByteArray(), ":1: not a registry file"},
        BadFile{"ValueBeforeAKey", windows("Windows Registry Editor Version 5.00\n\n\"a\"=\"b\"\n"),
                ":3: a value before"},
        BadFile{"UnclosedString", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=\"b\n"),
                ":7: the string has no closing"},
        BadFile{"UnclosedName", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a=\"b\"\n"), ":7: \"=\" should follow"},
        BadFile{"UnknownEscape", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=\"b\\n\"\n"),
                ":7: the string holds \"\\n\""},
        BadFile{"LongDword", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=dword:123456789\n"), ":7: a dword needs"},
        BadFile{"NoDigits", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=dword:\n"), ":7: a dword needs"},
        BadFile{"NotAByte", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=hex:00,zz\n"), ":7: \"zz\" is not a byte"},
        BadFile{"ThreeDigits", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=hex:00,100\n"),
                ":7: \"100\" is not a byte"},
        BadFile{"MissingByte", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=hex:00,,01\n"), ":7: a byte is missing"},
        BadFile{"BadByteOnAnotherLine", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=hex:00,\\\n  01,\\\n  0g\n"),
                ":9: \"0g\" is not a byte"},
        BadFile{"ListPastTheEnd", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=hex:00,01,\\\n"),
                ":7: the list of bytes goes on past the end"},
        BadFile{"BadType", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=hex(1x):00\n"), ":7: hex(N) needs"},
        BadFile{"UnknownKind", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=qword:1\n"), ":7: the value should be"},
        BadFile{"AfterTheValue", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=\"b\" c\n"), ":7: unexpected \"c\""},
        BadFile{"KeyNotClosed", windows(QByteArray(kGood) + "[HKCU\\X\n"), ":6: a key's line should end"},
        BadFile{"UnknownHive", windows(QByteArray(kGood) + "[HKEY_USERS\\X]\n"), ":6: HKEY_USERS is not a hive"},
        BadFile{"EmptyName", windows(QByteArray(kGood) + "[HKCU\\X\\\\Y]\n"), ":6: the key's path has an empty name"},
        BadFile{"HiveRemoval", windows(QByteArray(kGood) + "[-HKCU]\n"), ":6: a whole hive cannot be removed"},
        BadFile{"ValueOfARemovedKey", windows(QByteArray(kGood) + "[-HKCU\\X]\n\"a\"=\"b\"\n"),
                ":7: a value in a key that is being removed"},
        BadFile{"Garbage", windows(QByteArray(kGood) + "Lingua=2\n"), ":6: neither a key"},
        BadFile{"BigEndian", QByteArray("\xFE\xFF\0W", 4), ": the file is big-endian UTF-16"},
        BadFile{"CutShort", windows(kGood).chopped(1), ": the file is cut short"},
        BadFile{"Utf16WithoutItsMark", windows(kGood).mid(2), ": unexpected encoding"},
        BadFile{"BadUtf8AfterItsMark", QByteArray("\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n\xFF"),
                ": the file starts as UTF-8"},
        // What would reach the store changed.
        BadFile{"LoneSurrogate", windowsText(kGood + QStringLiteral("[HKCU\\X]\n\"a\"=\"b") + QChar(0xD800) + "\"\n"),
                ":7: the text holds half of a UTF-16 surrogate pair"},
        BadFile{"LoneSurrogateInHex", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=hex(1):41,00,\\\n  00,dc\n"),
                ":7: the hex(1) text holds half of a UTF-16 surrogate pair"},
        BadFile{"ZeroInAName", windowsText(kGood + QStringLiteral("[HKCU\\X]\n\"a") + QChar(0) + "b\"=\"c\"\n"),
                ":7: the name holds a zero character"},
        BadFile{"ZeroInAKey", windowsText(kGood + QStringLiteral("[HKCU\\X") + QChar(0) + "Y]\n"),
                ":6: the key's name holds a zero character"},
        BadFile{"DeeperThan512Levels", windows(QByteArray(kGood) + "[HKCU\\SOFTWARE" + QByteArray("\\k").repeated(512) + "]\n"),
                ":6: the key is deeper than 512 levels"},
        BadFile{"OddUtf16Text", windows(QByteArray(kGood) + "[HKCU\\X]\n\"a\"=hex(2):25,00,54\n"),
                ":7: the hex(2) text has an odd number of bytes"}),
    [](const auto& info) { return std::string(info.param.label); });

// Files that cannot be read, a write the store refuses halfway, a hive that may
// not be written: the store is left as it was, not even made.
TEST(ParamcorRegistryFile, ImportsThatCannotCompleteLeaveTheStoreAsItWas) {
    const Workshop workshop({}, true);
    const QString huge = workshop.path("enorme.reg");
    writeHugeFile(huge, 65 * 1024 * 1024);
    for (const QString& file : {huge, workshop.path("mancante.reg"), workshop.folder()})
        expectRefused(workshop.run({"registro", "importa", file}), 1, file);
    EXPECT_TRUE(workshop.run({"registro", "importa", huge}).err.contains(QStringLiteral("too large")));
    EXPECT_FALSE(QFileInfo::exists(workshop.registry()));

    // The store refuses a value name of more than 16,383 characters.
    const QString file = workshop.path("meta.reg");
    writeFile(file, windows(QByteArray(kGood) + "[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Prima]\n\"a\"=dword:00000001\n\n"
                                                "[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Seconda]\n\"" +
                            QByteArray(16384, 'n') + "\"=dword:00000002\n"));
    expectRefused(workshop.run({"registro", "importa", file}), 1,
                  "paramcor: registro importa: HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Seconda cannot be written (error 87");
    EXPECT_TRUE(workshop.run({"registro", "importa", file}).err.trimmed().endsWith("; nothing was imported"));
    auto store = workshop.store();
    EXPECT_FALSE(storedValue(store, Hive::CurrentUser, kSuite, "Lingua").found);  // before the fault in kGood

    setValue(store, Hive::LocalMachine, kSuite, "VersioneProdotto", 1, utf8("5.0"));
    ASSERT_TRUE(QFile::setPermissions(workshop.registry() + QStringLiteral("/HKEY_LOCAL_MACHINE.db"),
                                      QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    writeFile(file, windows(QByteArray(kGood) + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvel]\n\"VersioneProdotto\"=\"6.0\"\n"));
    expectRefused(workshop.run({"registro", "importa", file}), 1,
                  QStringLiteral("paramcor: registro importa: HKEY_LOCAL_MACHINE cannot be written (error 5: "
                                 "%1/HKEY_LOCAL_MACHINE.db may not be written); nothing was imported\n")
                      .arg(workshop.registry()));
    EXPECT_FALSE(storedValue(store, Hive::CurrentUser, kSuite, "Lingua").found);
    EXPECT_EQ(storedValue(store, Hive::LocalMachine, kSuite, "VersioneProdotto").value.data, utf8("5.0"));
}

TEST(ParamcorRegistryFile, WhatCannotBeExportedLeavesNoFile) {
    const Workshop workshop;
    {
        auto store = workshop.store();
        fill(store, settings(false));
    }
    const struct {
        QStringList arguments;
        const char* says;
        int code;
    } cases[] = {
        {{"HKCU\\SOFTWARE\\Nessuno", workshop.path("a.reg")}, "there is no key HKEY_CURRENT_USER\\SOFTWARE\\Nessuno", 3},
        {{"HKCU\\SOFTWARE\\Corvel", workshop.path("no/such/folder.reg")}, "cannot be written", 1},
        {{"--regedit4", "HKCU\\SOFTWARE\\Corvel", workshop.path("b.reg")}, "Windows-1252", 1},
    };
    for (const auto& c : cases) {
        expectRefused(workshop.run(QStringList{"registro", "esporta"} + c.arguments), c.code, QString::fromUtf8(c.says));
        EXPECT_FALSE(QFileInfo::exists(c.arguments.last()));
    }
    // A pipe nobody reads, and a disk that fills up after 64 KB: the reason is the
    // system's, and the pipe stays a pipe.
    const QString pipe = workshop.path("pipe");
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    {
        auto store = workshop.store();
        setValue(store, Hive::CurrentUser, kSuite, "Grande", 3, std::vector<std::uint8_t>(40000));
    }
    const auto smallDisk = [] {
        const rlimit limit{64 * 1024, 64 * 1024};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGXFSZ, SIG_IGN);
    };
    const struct {
        QString target;
        std::function<void()> inChild;
        QString says;
    } failing[] = {{pipe, {}, "no program reads from the pipe"},
                   {workshop.path("full.reg"), smallDisk, QString::fromLocal8Bit(std::strerror(EFBIG))}};
    for (const auto& f : failing) {
        const Outcome run = workshop.run({"registro", "esporta", "HKCU\\SOFTWARE\\Corvel", f.target}, f.inChild);
        EXPECT_EQ(run.code, 1) << run;
        EXPECT_TRUE(run.err.contains(f.says)) << run;
    }
    struct stat status {};
    EXPECT_TRUE(::stat(QFile::encodeName(pipe).constData(), &status) == 0 && S_ISFIFO(status.st_mode));
    EXPECT_FALSE(QFileInfo::exists(workshop.path("full.reg")));

    // A file that was there is left as it was.
    const QString kept = workshop.path("kept.reg");
    writeFile(kept, "before");
    EXPECT_EQ(workshop.run({"registro", "esporta", "--regedit4", "HKCU\\SOFTWARE\\Corvel", kept}).code, 1);
    EXPECT_EQ(fileBytes(kept), QByteArray("before"));
}

}  // namespace
}  // namespace paramcor::test
