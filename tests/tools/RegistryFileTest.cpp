// registro esporta, importa, elenca, elimina and osserva: the registry editor's
// files both ways, and the store as an administrator's scripts see it.
#include "ToolTesting.h"

#include "base/SqlDatabase.h"

#include <QDir>
#include <QFileInfo>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace paramcor::test {
namespace {

// What programs of the suite and others leave in a store, including what only the
// hex forms can carry; the Greek names only the Unicode format can.
void fill(RegistryStore& store, bool onlyWindows1252) {
    const std::string lama = kSuite + "\\Taglio\\Lama";
    const struct {
        std::string path;
        std::string name;
        std::uint32_t type;
        std::vector<std::uint8_t> data;
    } values[] = {
        {kSuite, "", 1, utf8("the unnamed value")},
        {kSuite + "\\Taglio", "Giri", 4, dword(3000)},
        {kSuite + "\\Taglio", "Larghezza", 3, {0, 0, 0, 0, 0, 0x70, 0xA7, 0x40}},
        {lama, "Quotes \"and\" \\backslashes\\", 1, utf8("say \"hi\" to C:\\")},
        {lama, "Perché = [più]", 1, utf8("Marmo più bello, 30 mm², da L'Haÿ")},
        {lama, "Empty", 1, {}},
        {lama, "Two lines", 1, utf8("first\r\nsecond")},
        {lama, "Zero inside", 1, {'a', 0, 'b'}},
        {lama, "Expandable", 2, {'%', 'T', 'E', 'M', 'P', '%', 0}},
        {lama, "Short dword", 4, {1, 2, 3}},
        {lama, "Unusual", 0x12345678u, {9}},
        {lama, "Large", 3, std::vector<std::uint8_t>(5000, 0xA5)},
        {kSuite + "\\Ελληνικά", "Όνομα", 1, utf8("Καλημέρα €")},
    };
    for (const auto& v : values)
        if (!onlyWindows1252 || v.path.find("Ελληνικά") == std::string::npos)
            putValue(store, Hive::CurrentUser, v.path, v.name, v.type, v.data);
    putValue(store, Hive::LocalMachine, kSuite, "VersioneProdotto", 1, utf8("6.0"));
}

TEST(ParamcorRegistryFile, ExportedAndImportedIntoAnEmptyStoreGivesTheSameBytesAndTypes) {
    for (const bool regedit4 : {false, true}) {
        const Workshop from;
        const Workshop to;
        auto original = from.store();
        auto copy = to.store();
        fill(original, regedit4);
        const QString file = from.path("impostazioni.reg");
        QStringList line = {"registro", "esporta", "hkcu\\software\\CORVEL", file};
        if (regedit4)
            line << "--regedit4";
        const mode_t mask = ::umask(027);  // the tool's, which it inherits
        const Outcome exported = from.run(line);
        ::umask(mask);
        ASSERT_TRUE(exported.code == 0 && exported.err.isEmpty()) << exported;
        // An export follows the umask, as cp does.
        EXPECT_EQ(QFileInfo(file).permissions() & 0x0777, QFile::ReadGroup | QFile::ReadUser | QFile::WriteUser);
        const Outcome imported = to.run({"registro", "importa", file});
        ASSERT_TRUE(imported.code == 0 && imported.err.isEmpty()) << imported;
        const QStringList list = {"registro", "elenca", "-r", "HKCU\\SOFTWARE\\Corvel"};
        EXPECT_EQ(to.run(list).out, from.run(list).out) << regedit4;
        EXPECT_TRUE(imported.out.contains(regedit4 ? ": 3 keys, 13 values" : ": 4 keys, 14 values")) << imported;
        EXPECT_FALSE(
            storedValue(copy, Hive::LocalMachine, kSuite, "VersioneProdotto").found);  // only what was exported
        if (regedit4)
            EXPECT_TRUE(fileBytes(file).contains("\r\n\"Perch\xE9 = [pi\xF9]\"=\"Marmo pi\xF9 bello, 30 mm\xB2, da L'Ha\xFF\"\r\n"));
        else
            EXPECT_TRUE(fileBytes(file).startsWith(windowsText("Windows Registry Editor Version 5.00\n\n"
                                                               "[HKEY_CURRENT_USER\\SOFTWARE\\Corvel]\n")));
    }
}

// As Windows writes it, by hand: comments, continued lines, blanks around "=".
TEST(ParamcorRegistryFile, AFileWrittenByHandInWindowsFormat) {
    const Workshop workshop;
    const QString file = workshop.path("a mano.reg");
    writeFile(file, windowsText(QStringLiteral("Windows Registry Editor Version 5.00\n\n"
                                               "; settings brought over from the old workstation\n"
                                               "[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio]\n"
                                               "@=\"Lama \\\"diamantata\\\" in C:\\\\Utensili\\\\\"\n"
                                               "\"Giri\"=dword:00000BB8\n"
                                               "\"Larghezza\"=hex:00,00,00,00,00,\\\n  70,a7,40\n"
                                               "\"Percorso\"=hex(2):25,00,54,00,00,00\n"
                                               "\"Vuoto\"=hex:\n"
                                               "\"Simbolo\"=hex(1):3d,d8,00,de,00,00\n"
                                               "  \"Rientrato\" = \"più €\"   \n\n"
                                               "[HKEY_CLASSES_ROOT\\.dxf]\n@=\"Corvel.Disegno\"\n")));
    const Outcome run = workshop.run({"registro", "importa", "--per-alveare", file});  // two hives
    EXPECT_EQ(run.out, QStringLiteral("Imported %1: 2 keys, 8 values\n").arg(file)) << run;
    auto store = workshop.store();
    const auto value = [&](const std::string& name) {
        return storedValue(store, Hive::CurrentUser, kSuite + "\\Taglio", name);
    };
    EXPECT_EQ(value(""), (StoredValue{true, 1, utf8(QStringLiteral("Lama \"diamantata\" in C:\\Utensili\\"))}));
    EXPECT_EQ(value("Larghezza"), (StoredValue{true, 3, {0, 0, 0, 0, 0, 0x70, 0xA7, 0x40}}));
    EXPECT_EQ(value("Percorso"), (StoredValue{true, 2, {'%', 'T', 0}}));
    EXPECT_EQ(value("Vuoto"), (StoredValue{true, 3, {}}));  // an empty binary value, as regedit writes it
    EXPECT_EQ(value("Simbolo"), (StoredValue{true, 1, {0xF0, 0x9F, 0x98, 0x80, 0}}));  // a pair, one character
    EXPECT_EQ(value("Rientrato"), (StoredValue{true, 1, utf8(QStringLiteral("più €"))}));
    EXPECT_EQ(storedValue(store, Hive::ClassesRoot, ".dxf", "").bytes, utf8("Corvel.Disegno"));
    EXPECT_EQ(workshop.run({"valore", "leggi", "Taglio", "Giri", "Long"}).out, QStringLiteral("3000\n"));
}

TEST(ParamcorRegistryFile, AFaultyFileIsRefusedWithItsLineAndNothingIsImported) {
    const QByteArray good =
        "Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel]\n\"Lingua\"=\"2\"\n\n";
    const auto w = [&](const QString& tail) { return windowsText(QString::fromUtf8(good) + tail); };
    const struct {
        QByteArray bytes;
        const char* says;  // after the file's name
    } faults[] = {
        {windowsText("Windows Registry Editor Version 4.00\n\n"), ":1: not a registry file"},
        {windowsText("Windows Registry Editor Version 5.00\n\n\"a\"=\"b\"\n"), ":3: a value before"},
        {w("[HKCU\\X]\n\"a\"=\"b\n"), ":7: the string has no closing"},
        {w("[HKCU\\X]\n\"a\"=\"b\\n\"\n"), ":7: the string holds \"\\n\""},
        {w("[HKCU\\X]\n\"a\"=dword:123456789\n"), ":7: a dword needs"},
        {w("[HKCU\\X]\n\"a\"=hex:00,,01\n"), ":7: a byte is missing"},
        {w("[HKCU\\X]\n\"a\"=hex:00,\\\n  01,\\\n  0123456789abcdefg\n"), ":9: \"0123456789abcd...\" is not a byte"},
        {w("[HKCU\\X]\n\"a\"=dword:00000001 x\n"), ":7: unexpected \"x\" after the value"},
        {w("[HKCU\\X]\n\"a\"=hex:00,01,\\\n"), ":7: the list of bytes goes on past the end"},
        {w("[HKEY_USERS\\X]\n"), ":6: HKEY_USERS is not a hive"},
        {w("[HKCU\\X\\\\Y]\n"), ":6: the key's path has an empty name"},
        {w("[-HKCU]\n"), ":6: a whole hive cannot be removed"},
        {w("[-HKCU\\X]\n\"a\"=\"b\"\n"), ":7: a value in a key that is being removed"},
        {QByteArray("\xFE\xFF\0W", 4), ":1: the file is big-endian UTF-16"},
        {w("").chopped(1), ":5: the file is cut short"},
        {w("").mid(2), ":1: unexpected encoding"},
        {QByteArray("\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n\xFF"), ":2: the file starts as UTF-8"},
        {QByteArray("\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n\r\n[HKCU\\X]\r\n\"a\"=\"\xC3(\"\r\n"),
         ":4: the file starts as UTF-8"},
        {QByteArray("REGEDIT4\r\n\r\n[HKCU\\X]\r\n\"a\"=\"b\0\"\r\n", 32), ":4: unexpected encoding"},
        {w("[HKCU\\X]\n\"a\"=\"b" + QString(QChar(0xD800)) + "\"\n"), ":7: the text holds half of a UTF-16"},
        {w("[HKCU\\X]\n\"a\"=hex(1):41,00,\\\n  00,dc\n"), ":7: the hex(1) text holds half of a UTF-16"},
        {w("[HKCU\\X]\n\"a" + QString(QChar(0)) + "b\"=\"c\"\n"), ":7: the name holds a zero character"},
        {w("[HKCU\\X" + QString(QChar(0)) + "Y]\n"), ":6: the key's name holds a zero character"},
        {w("[HKCU\\S" + QString("\\k").repeated(512) + "]\n"), ":6: the key is deeper than 512 levels"},
        {w("[HKCU\\X]\n\"a\"=hex(2):25,00,54\n"), ":7: the hex(2) text has an odd number of bytes"},
        {w("[HKCU\\X]\n\"" + QString(16384, u'n') + "\"=dword:00000002\n"), ":7: a value name is longer than 16383"},
        {w("[HKCU\\" + QString(257, u'k') + "]\n"), ":6: a key name is longer than 256"},
        // A kill between the commits of two hives would leave half of it.
        {w("[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\n\"a\"=\"b\"\n"),
         " writes 2 hives (HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE), which cannot be imported all or nothing"},
    };
    const Workshop workshop({}, true);
    const QString file = workshop.path("guasto.reg");
    for (const auto& f : faults) {
        writeFile(file, f.bytes);
        const Outcome run = workshop.run({"registro", "importa", file});
        expectRefused(run, 1, QStringLiteral("paramcor: registro importa: ") + file + f.says);
        EXPECT_TRUE(run.err.contains(QStringLiteral("nothing was imported"))) << run;
    }
    // The store was never written, not even the values before a fault.
    auto store = workshop.store();
    EXPECT_FALSE(storedValue(store, Hive::CurrentUser, kSuite, "Lingua").found);
    expectRefused(workshop.run({"registro", "importa", workshop.path("mancante.reg")}), 1, "mancante.reg");
    // A pipe no program writes to would hold the command for ever.
    const QString fifo = workshop.path("fifo.reg");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    expectRefused(workshop.run({"registro", "importa", fifo}), 1,
                  fifo + " cannot be read: no program writes to the pipe");

    // Asked for, each hive is imported whole on its own.
    writeFile(file, w("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvel]\n\"Lingua\"=\"3\"\n"));
    EXPECT_EQ(workshop.run({"registro", "importa", "--per-alveare", file}).code, 0);
    EXPECT_TRUE(storedValue(store, Hive::CurrentUser, kSuite, "Lingua").found);
    EXPECT_TRUE(storedValue(store, Hive::LocalMachine, kSuite, "Lingua").found);

    // The longest names the registry takes are taken.
    writeFile(file, w("[HKCU\\" + QString(256, u'k') + "]\n\"" + QString(16383, u'n') + "\"=dword:00000002\n"));
    EXPECT_EQ(workshop.run({"registro", "importa", file}).code, 0);
    EXPECT_TRUE(storedValue(store, Hive::CurrentUser, std::string(256, 'k'), std::string(16383, 'n')).found);
}

TEST(ParamcorRegistryFile, WhatCannotBeExportedLeavesNoFile) {
    const Workshop workshop;
    auto store = workshop.store();
    fill(store, false);
    const QString kept = workshop.path("kept.reg");
    writeFile(kept, "before");
    const struct {
        QStringList arguments;
        const char* says;
        int code;
    } cases[] = {
        {{"HKCU\\SOFTWARE\\Nessuno", workshop.path("a.reg")}, "there is no key HKEY_CURRENT_USER\\SOFTWARE\\Nessuno", 3},
        {{"HKCU\\SOFTWARE\\Corvel", workshop.path("no/such/folder.reg")}, "cannot be written", 1},
        {{"--regedit4", "HKCU\\SOFTWARE\\Corvel", workshop.path("b.reg")}, "Windows-1252", 1},
        {{"--regedit4", "HKCU\\SOFTWARE\\Corvel", kept}, "Windows-1252", 1},
    };
    for (const auto& c : cases) {
        expectRefused(workshop.run(QStringList{"registro", "esporta"} + c.arguments), c.code, QString::fromUtf8(c.says));
        EXPECT_EQ(fileBytes(c.arguments.last()), c.arguments.last() == kept ? QByteArray("before") : QByteArray());
    }
}

// Root exporting into a folder that others may write: a link another user planted
// there, to a file of root's, is never followed (the kernel's protected_symlinks
// rule, which Debian applies only to sticky folders), and neither is a link of
// another user's that a link of one's own leads to. Reading is refused the same way.
TEST(ParamcorRegistryFile, ALinkOfAnotherUserInASharedFolderIsNeverFollowed) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can plant a link as another user";
    const Workshop workshop;
    auto store = workshop.store();
    fill(store, false);
    const QString shared = workshop.path("shared");
    ASSERT_TRUE(QDir().mkpath(shared));
    ASSERT_EQ(::chmod(QFile::encodeName(shared).constData(), 02775), 0);
    const QString victim = workshop.path("victim");
    writeFile(victim, "root's own");
    const auto plant = [&](const QString& link, const QString& target, uid_t owner) {
        ASSERT_TRUE(QFile::link(target, link));
        ASSERT_EQ(::lchown(QFile::encodeName(link).constData(), owner, owner), 0);
    };
    plant(shared + "/x.reg", victim, 65534);
    plant(shared + "/x.po", victim, 65534);
    plant(workshop.path("mine.reg"), shared + "/x.reg", 0);  // root's own link, to nobody's
    const QString says = " is a link of another user (%1) in a folder that others may write: it is not followed";
    const QString nobody = QString::fromLocal8Bit(::getpwuid(65534) ? ::getpwuid(65534)->pw_name : "65534");
    for (const QStringList& command :
         {QStringList{"registro", "esporta", "HKCU\\SOFTWARE\\Corvel", shared + "/x.reg"},
          QStringList{"registro", "esporta", "HKCU\\SOFTWARE\\Corvel", workshop.path("mine.reg")},
          QStringList{"testi", "esporta", "--lingua", "2", shared + "/x.po"},
          QStringList{"registro", "importa", shared + "/x.reg"}}) {
        SCOPED_TRACE(command.join(' ').toStdString());
        const Outcome run = workshop.run(command);
        EXPECT_EQ(run.code, 1) << run;
        EXPECT_TRUE(run.err.contains(says.arg(nobody))) << run;
        EXPECT_EQ(fileBytes(victim), "root's own");
    }
    // The text database is written with SQLite, which follows any link: in a shared
    // folder a text database that is a link is not written at all.
    const QString po = workshop.path("e.po");
    ASSERT_EQ(workshop.run({"testi", "esporta", "--lingua", "2", po}).code, 0);
    const QString victimTexts = workshop.path("victim.mdb");
    writeFile(victimTexts, fileBytes(workshop.userTexts()));
    plant(shared + "/t.mdb", victimTexts, 65534);
    expectRefused(workshop.run({"testi", "importa", "--file", shared + "/t.mdb", po}), 1,
                  shared + "/t.mdb: it is a link, and links are not followed here");
    EXPECT_EQ(fileBytes(victimTexts), fileBytes(workshop.userTexts()));

    // A link of the folder's owner is followed, as the kernel would.
    ASSERT_TRUE(QFile::remove(shared + "/x.reg"));
    plant(shared + "/x.reg", victim, 0);
    EXPECT_EQ(workshop.run({"registro", "esporta", "HKCU\\SOFTWARE\\Corvel", shared + "/x.reg"}).code, 0);
    EXPECT_TRUE(fileBytes(victim).startsWith("\xFF\xFE"));
}

// A machine hive of another program: the start says so and stops there, rather than
// going on to look for the texts in a folder the store could not give.
TEST(ParamcorRegistryAdmin, AStoreThatCannotBeReadIsReportedByItsCause) {
    const Workshop workshop;
    ASSERT_TRUE(QDir().mkpath(workshop.registry()));
    const QString foreign = workshop.registry() + "/HKEY_LOCAL_MACHINE.db";
    SqlDatabase(foreign, SqlDatabase::Mode::Create).exec("CREATE TABLE Clienti(Nome TEXT)");
    const Outcome run = workshop.run({"lingua"});
    EXPECT_EQ(run.code, 1);
    EXPECT_TRUE(run.err.contains(foreign + " is not a hive of CVLParamcor")) << run;
    EXPECT_FALSE(run.err.contains("CvlTradU.mdb")) << run;
}

TEST(ParamcorRegistryAdmin, ListsDeletesWhenConfirmedAndPipesFiles) {
    const Workshop workshop;
    auto store = workshop.store();
    putValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "zeta", 4, dword(3000));
    putValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "Alfa", 1, utf8("riga uno\nriga due"));
    putValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "", 3, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F});
    putValue(store, Hive::CurrentUser, kSuite + "\\Taglio\\lama", "Passate", 3, {3, 0});
    putValue(store, Hive::CurrentUser, kSuite + "\\Taglio\\Bordo", "Lucido", 7, {'a', 0, 'b', 0, 0});
    const QString key = QStringLiteral("HKCU\\SOFTWARE\\Corvel\\Taglio");
    EXPECT_EQ(workshop.run({"registro", "elenca", key}).out,
              QStringLiteral("@\tREG_BINARY\t00 00 00 00 00 00 f8 3f (Double 1.5)\n"
                             "Alfa\tREG_SZ\triga uno\\nriga due\n"
                             "zeta\tREG_DWORD\t3000 (0x00000bb8)\n"
                             "Bordo\\\n"
                             "lama\\\n"));
    EXPECT_TRUE(workshop.run({"registro", "elenca", "-r", key}).out.endsWith("lama\\Passate\tREG_BINARY\t03 00 (Integer 3)\n"));
    EXPECT_TRUE(
        workshop.run({"registro", "elenca", "--json", "-r", key})
            .out.contains(
                R"({"codice":7,"dati":"6100620000","nome":"Lucido","tipo":"REG_MULTI_SZ","valore":["a","b"]})"));

    // Carried through a pipe into another store.
    const Outcome piped = workshop.run({"registro", "esporta", key, "-"});
    const Workshop other;
    EXPECT_EQ(other.run({"registro", "importa", "-"}, piped.bytes).code, 0);
    const QStringList list = {"registro", "elenca", "-r", key};
    const QString taglio = workshop.run(list).out;
    EXPECT_EQ(other.run(list).out, taglio);

    // Deleted only when confirmed; names in any case.
    const QStringList elimina = {"registro", "elimina", "HKCU\\software\\corvel\\taglio"};
    for (const QByteArray& answer : {QByteArray("n\n"), QByteArray()}) {
        const Outcome refused = workshop.run(elimina, answer);
        EXPECT_TRUE(refused.code == 1 && refused.err.contains(QStringLiteral("nothing was deleted"))) << refused;
    }
    EXPECT_EQ(workshop.run(elimina + QStringList{"Nessuno", "--si"}).code, 3);
    EXPECT_EQ(workshop.run(list).out, taglio);
    EXPECT_EQ(workshop.run(elimina + QStringList{"ZETA", "--si"}).code, 0);
    EXPECT_FALSE(storedValue(store, Hive::CurrentUser, kSuite + "\\Taglio", "zeta").found);
    EXPECT_EQ(workshop.run(elimina, "s\n").out,
              QStringLiteral("Deleted HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio: 3 keys, 4 values\n"));

    // A file that removes keys and values, some of which were never there.
    EXPECT_EQ(other.run({"registro", "importa", "-"}, "REGEDIT4\r\n\r\n"
                                                       "[-HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio\\LAMA]\r\n"
                                                       "[-HKEY_CURRENT_USER\\SOFTWARE\\Nessuno]\r\n"
                                                       "[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Taglio]\r\n"
                                                       "\"Zeta\"=-\r\n\"Mai stato\"=-\r\n")
                  .out,
              QStringLiteral("Imported standard input: 1 keys, 0 values, 3 removed\n"));
    EXPECT_EQ(other.run(list).out, QStringLiteral("@\tREG_BINARY\t00 00 00 00 00 00 f8 3f (Double 1.5)\n"
                                                "Alfa\tREG_SZ\triga uno\\nriga due\n"
                                                "Bordo\\\nBordo\\Lucido\tREG_MULTI_SZ\ta\\0b\n"));

    // Names are escaped as values are: none forges a line or reaches the terminal.
    putValue(store, Hive::CurrentUser, "SOFTWARE\\Altro\\Key\n\x1b[2J", "a\nb\tc\xc2\x9b", 4, dword(1));
    EXPECT_EQ(workshop.run({"registro", "elenca", "-r", "HKCU\\SOFTWARE\\Altro"}).out,
              QStringLiteral("Key\\n\\x1b[2J\\\n"
                             "Key\\n\\x1b[2J\\a\\nb\\tc\\x9b\tREG_DWORD\t1 (0x00000001)\n"));
}

}  // namespace
}  // namespace paramcor::test
