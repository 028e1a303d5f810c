// What every command shares: help, JSON, the tool's own language, and command lines
// that cannot run, which end with one line on standard error and touch nothing.
#include "ToolTesting.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

#include <sqlite3.h>

namespace paramcor::test {
namespace {

TEST(ParamcorCommandLine, EveryCommandHasHelp) {
    const Outcome overview = runTool({"--help"});
    ASSERT_EQ(overview.code, 0) << overview;
    for (const QString command :
         {"valore leggi", "valore scrivi", "percorso", "percorso scrivi", "percorsi", "traduci", "chiave", "lingua", "misure",
          "registro elenca", "registro elimina", "registro esporta", "registro importa", "registro osserva",
          "testi esporta", "testi importa", "testi crea", "informazioni"}) {
        EXPECT_TRUE(overview.out.contains(QStringLiteral("\n  ") + command)) << command.toStdString();
        // --help anywhere on the line, even with operands missing.
        const Outcome help = runTool(command.split(u' ') + QStringList{"--help"});
        EXPECT_TRUE(help.code == 0 && help.err.isEmpty()) << help;
        EXPECT_TRUE(help.out.startsWith(QStringLiteral("Usage: paramcor ") + command)) << help;
    }
    // The English help names the member it runs, without its Italian help string.
    const QString help = runTool({"--help", "valore", "leggi"}).out;
    EXPECT_TRUE(help.contains(QStringLiteral("(Parametri::LeggiParametro)")) && !help.contains(QStringLiteral("Legge")))
        << help.toStdString();
}

TEST(ParamcorCommandLine, LinesThatCannotRunTouchNothing) {
    const struct {
        QStringList arguments;
        const char* says;
    } lines[] = {
        {{}, "no command"},
        {{"valore"}, "paramcor: valore needs a subcommand"},
        {{"--attesa", "abc", "lingua"}, "--attesa must be a whole number from 0 to 3600"},
        {{"registro", "elenca", "-rx", "HKCU"}, "unknown option -x"},
        {{"percorso", "--xyz", "DXF"}, "unknown option --xyz"},
        {{"percorsi", "--tutti=yes"}, "--tutti takes no value"},
        {{"--registro", "elsewhere", "lingua"}, "--registro is given twice"},
        {{"valore", "leggi", "Taglio", "Giri", "Float"}, "unknown type \"Float\""},
        {{"valore", "scrivi", "Taglio", "Giri", "Long", "2147483648"}, "is not a Long"},
        {{"registro", "elimina", "HKCU"}, "a whole hive cannot be deleted"},
        {{"registro", "esporta", "HKEY_USERS\\S", "x.reg"}, "is not a key"},
        {{"lingua", "16"}, "from 1 to 15"},
        {{"lingua", "xx"}, "or the code of a named language"},
        {{"testi", "esporta", "x.po"}, "needs either --lingua N"},
        {{"testi", "importa", "--lingua", "16", "x.po"}, "from 2 to 15"},
    };
    const Workshop workshop({}, true);
    for (const auto& line : lines) {
        expectRefused(workshop.run(line.arguments), 2, QString::fromUtf8(line.says));
        // Not even the store's folder, nor the texts' delivery.
        EXPECT_FALSE(QFileInfo::exists(workshop.registry()) || QFileInfo::exists(workshop.userTexts()));
    }
    expectRefused(runTool({"--registro", workshop.registry(), "--installazione", workshop.path("nowhere"), "lingua"}),
                  1, "nowhere");
}

TEST(ParamcorCommandLine, ReadingCommandsSpeakJsonAndTheVersionNamesTheStore) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Taglio", "Giri", "Long", "3000"}).code, 0);
    for (const QStringList& command : {QStringList{"valore", "leggi", "Taglio", "Giri", "Long"},
                                       {"percorsi"},
                                       {"registro", "elenca", "HKCU\\SOFTWARE\\Corvel"},
                                       {"misure"},
                                       {"informazioni"}}) {
        const Outcome run = workshop.run(command + QStringList{"--json"});
        QJsonParseError error{};
        QJsonDocument::fromJson(run.bytes, &error);
        EXPECT_TRUE(run.code == 0 && error.error == QJsonParseError::NoError) << run;
    }
    EXPECT_EQ(workshop.run({"lingua", "--json"}).out, QStringLiteral("{\"lingua\":2,\"nome\":\"English\"}\n"));
    // Scripts pick a field by its key, whatever the language of the captions.
    const auto keys = [&](const char* language) {
        QStringList found;
        for (const QJsonValue section : QJsonDocument::fromJson(
                 workshop.run({"informazioni", "--json", "--lingua", language}).bytes).array())
            for (const QJsonValue item : section[QStringLiteral("items")].toArray())
                found << section[QStringLiteral("key")].toString() + u'.' + item[QStringLiteral("key")].toString();
        return found;
    };
    EXPECT_TRUE(keys("1") == keys("2") && keys("1").contains(QStringLiteral("system.operating_system")))
        << keys("1").join(u' ').toStdString();
    const Outcome version = workshop.run({"--version"});
    EXPECT_TRUE(version.out.startsWith(QStringLiteral("paramcor 6.0.0 (CVLParamcor 6.0.0)\n"))) << version;
    EXPECT_TRUE(version.out.contains(workshop.registry() + QStringLiteral("/HKEY_LOCAL_MACHINE.db"))) << version;
    // The about window's facts, read out on the telephone.
    const QString facts = workshop.run({"informazioni"}).out;
    EXPECT_TRUE(facts.contains("\nText database: " + workshop.userTexts() + "\n") &&
                facts.contains(QStringLiteral("\nLanguage: 2 English\n")) &&
                facts.contains("\nMachine settings: " + workshop.registry() + "/HKEY_LOCAL_MACHINE.db\n"))
        << facts.toStdString();
}

QStringList complete(const QStringList& words) {
    QProcess bash;
    const QStringList script{"-c",
                             "source \"$0\"; COMP_WORDS=(paramcor \"$@\"); COMP_CWORD=$#; _paramcor; "
                             "printf '%s\\n' \"${COMPREPLY[@]}\"",
                             QStringLiteral(PARAMCOR_COMPLETION)};
    bash.start(QStringLiteral("bash"), script + words);
    EXPECT_TRUE(bash.waitForFinished());
    QStringList offered = QString::fromUtf8(bash.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    offered.sort();
    return offered;
}

// The completion, written from the command table, offers for every command what
// its help names and the parser takes, and no more.
TEST(ParamcorCommandLine, TheCompletionOffersWhatTheParserTakes) {
    const QString overview = runTool({"--help"}).out;
    QStringList everyCommand;
    static const QRegularExpression optionLine(QStringLiteral("^  (?:-., )?(--[a-z]+)"));
    for (const QString& line : overview.section(QStringLiteral("Options of every command:\n"), 1).split(u'\n')) {
        if (line.isEmpty())
            break;
        if (const auto found = optionLine.match(line); found.hasMatch())
            everyCommand << found.captured(1);
    }
    EXPECT_EQ(complete({"--"}), QStringList({"--attesa", "--help", "--installazione", "--registro", "--version"}));
    int commands = 0;
    for (const QString& line : overview.split(u'\n')) {
        static const QRegularExpression usage(QStringLiteral("^  ([a-z]+(?: [a-z]+)?)((?: \\[--[^]]+\\])*)"));
        const QRegularExpressionMatch match = usage.match(line);
        if (!match.hasMatch())
            continue;
        ++commands;
        const QStringList name = match.captured(1).split(u' ');
        QStringList expected = everyCommand;
        expected.removeAll(QStringLiteral("--version"));
        static const QRegularExpression option(QStringLiteral("\\[(--[a-z0-9-]+)( [A-Z]+)?\\]"));
        for (const auto& found : option.globalMatch(match.captured(2))) {
            expected << found.captured(1);
            // The parser takes it here: what is wrong with this line is only its operands.
            const QStringList given = found.captured(2).isEmpty() ? QStringList{found.captured(1)}
                                                                  : QStringList{found.captured(1), "1"};
            expectRefused(runTool(name + given + QStringList(5, "x")), 2, "too many arguments");
        }
        expected.sort();
        EXPECT_EQ(complete(name + QStringList{"--"}), expected) << line.toStdString();
    }
    EXPECT_EQ(commands, 21);
    EXPECT_EQ(complete({"registro", "el"}), QStringList({"elenca", "elimina"}));
    EXPECT_EQ(complete({"--registro", "/tmp", "valore", "leggi", "--sezione", "S", "Taglio", "Giri", "Lo"}),
              QStringList{"Long"});
    EXPECT_EQ(complete({"chiave", "--lingua", "1"}), QStringList({"1", "10", "11", "12", "13", "14", "15"}));
}

// Help, the version and a read write nothing: not the store, not the builder's home;
// and a read whose output is lost fails.
TEST(ParamcorCommandLine, HelpVersionAndReadsWriteNothing) {
    const Workshop workshop({}, true);
    for (const QStringList& line : {QStringList{"--help"}, {"lingua", "--help"}, {"--version"}, {"percorsi"},
                                    {"lingua"}, {"valore", "leggi", "--predefinito", "0", "Taglio", "Giri", "Long"}}) {
        EXPECT_EQ(workshop.run(line).code, 0) << line.join(u' ').toStdString();
        EXPECT_FALSE(QFileInfo::exists(workshop.registry())) << line.join(u' ').toStdString();
    }
    for (const QStringList& line : {QStringList{"--help"}, {"percorsi"}, {"lingua", "--json"}}) {
        QProcess tool;
        tool.setStandardOutputFile(QStringLiteral("/dev/full"));
        tool.start(QStringLiteral(PARAMCOR_TOOL),
                   QStringList{"--registro", workshop.registry(), "--installazione", workshop.installation()} + line);
        ASSERT_TRUE(tool.waitForFinished());
        EXPECT_EQ(tool.exitCode(), 1) << line.join(u' ').toStdString();
        EXPECT_FALSE(tool.readAllStandardError().isEmpty());
    }
}

// --attesa bounds a write's wait for another program, which the user is told of.
TEST(ParamcorCommandLine, AWriteWaitsAsLongAsItIsToldAndSaysForWhat) {
    const Workshop workshop;
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open((workshop.registry() + QStringLiteral("/HKEY_CURRENT_USER.db")).toUtf8().constData(), &holder),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    const Outcome held = workshop.run({"--attesa", "2", "valore", "scrivi", "Taglio", "Giri", "Long", "2"});
    sqlite3_close(holder);
    EXPECT_TRUE(held.code == 1 && held.err.contains(QStringLiteral("waiting for another program that holds the store, "
                                                                     "at most 2 s")) &&
                held.err.contains(QStringLiteral("(2000 ms)")))
        << held;
}

// A user who may not change the machine's settings is told so when a command tried,
// in the user's language; a read tries nothing and tells nothing.
TEST(ParamcorCommandLine, AReadOnlyMachineStoreIsToldOnlyToWhatTriedToChangeIt) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "--macchina", "Taglio", "Giri", "Long", "1"}).code, 0);
    ASSERT_TRUE(QFile::setPermissions(workshop.registry() + QStringLiteral("/HKEY_LOCAL_MACHINE.db"),
                                      QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    for (const QStringList& read : {QStringList{"traduci", "Annulla"}, {"percorsi"}, {"informazioni"}}) {
        const Outcome run = workshop.run(read);
        EXPECT_TRUE(run.code == 0 && run.err.isEmpty()) << run;
    }
    const Outcome changed = workshop.run({"lingua", "1"});
    EXPECT_TRUE(changed.code == 0 && changed.err.contains(QStringLiteral(
                                         "avviso: le impostazioni della macchina sono di sola lettura per l'utente")))
        << changed;
    // A change the user's store refuses is no success.
    ASSERT_TRUE(QFile::setPermissions(workshop.registry() + QStringLiteral("/HKEY_CURRENT_USER.db"),
                                      QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    expectRefused(workshop.run({"lingua", "3"}), 1, "may not be written");
}

// The tool's own words come from the texts in the language of --lingua, or the
// user's (see the texts' commands); English where a language has no translation.
TEST(ParamcorCommandLine, TheToolSpeaksTheLanguageItIsGiven) {
    const Workshop workshop;
    const QString italian = workshop.run({"--lingua", "1", "--help"}).out;
    EXPECT_TRUE(italian.startsWith(QStringLiteral("Uso: paramcor COMANDO [OPZIONI] [ARGOMENTI]\n")) &&
                italian.contains(QStringLiteral("\nOpzioni di ogni comando:\n")) &&
                italian.contains(QStringLiteral("\n  3  non è stato trovato nulla")))
        << italian.toStdString();
    // On an account that has no settings yet, which help leaves as it is.
    const Workshop untouched({}, true);
    EXPECT_TRUE(untouched.run({"--lingua", "3", "lingua", "--help"}).out.startsWith(QStringLiteral("Aufruf: ")));
    expectRefused(workshop.run({"chiave", "--lingua", "6", "NESSUNO", "0001"}), 3, "no text has the key NESSUNO 0001");
}

}  // namespace
}  // namespace paramcor::test
