// What every command shares: help, JSON, the tool's own language, and command lines
// that cannot run, which end with one line on standard error and touch nothing.
#include "ToolTesting.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>

namespace paramcor::test {
namespace {

TEST(ParamcorCommandLine, EveryCommandHasHelp) {
    const Outcome overview = runTool({"--help"});
    ASSERT_EQ(overview.code, 0) << overview;
    for (const QString command :
         {"valore leggi", "valore scrivi", "percorso", "percorsi", "traduci", "chiave", "lingua", "misure",
          "registro elenca", "registro elimina", "registro esporta", "registro importa", "registro osserva",
          "testi esporta", "testi importa", "testi crea", "informazioni"}) {
        EXPECT_TRUE(overview.out.contains(QStringLiteral("\n  ") + command)) << command.toStdString();
        // --help anywhere on the line, even with operands missing.
        const Outcome help = runTool(command.split(u' ') + QStringList{"--help"});
        EXPECT_TRUE(help.code == 0 && help.err.isEmpty()) << help;
        EXPECT_TRUE(help.out.startsWith(QStringLiteral("Usage: paramcor ") + command)) << help;
    }
    EXPECT_TRUE(runTool({"--help", "valore", "leggi"}).out.contains(QStringLiteral("Legge un parametro")));
}

TEST(ParamcorCommandLine, LinesThatCannotRunTouchNothing) {
    const struct {
        QStringList arguments;
        const char* says;
    } lines[] = {
        {{}, "no command"},
        {{"valore"}, "needs a subcommand"},
        {{"percorso", "--xyz", "DXF"}, "unknown option --xyz"},
        {{"percorsi", "--tutti=yes"}, "--tutti takes no value"},
        {{"--registro", "elsewhere", "lingua"}, "--registro is given twice"},
        {{"valore", "leggi", "Taglio", "Giri", "Float"}, "unknown type \"Float\""},
        {{"valore", "scrivi", "Taglio", "Giri", "Long", "2147483648"}, "is not a Long"},
        {{"registro", "elimina", "HKCU"}, "a whole hive cannot be deleted"},
        {{"registro", "esporta", "HKEY_USERS\\S", "x.reg"}, "is not a key"},
        {{"lingua", "16"}, "from 1 to 15"},
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
    const Outcome version = workshop.run({"--version"});
    EXPECT_TRUE(version.out.startsWith(QStringLiteral("paramcor 6.0.0 (CVLParamcor 6.0.0)\n"))) << version;
    EXPECT_TRUE(version.out.contains(workshop.registry() + QStringLiteral("/HKEY_LOCAL_MACHINE.db"))) << version;
    // The about window's facts, read out on the telephone.
    const QString facts = workshop.run({"informazioni"}).out;
    EXPECT_TRUE(facts.contains("\nText database: " + workshop.userTexts() + "\n") &&
                facts.contains(QStringLiteral("\nLanguage: 2 English\n")) &&
                facts.contains("\nMachine settings: " + workshop.registry() + "/HKEY_LOCAL_MACHINE.db\n"))
        << facts.toStdString();

    // As bash runs the completion for "paramcor registro el<TAB>".
    QProcess bash;
    bash.start(QStringLiteral("bash"),
               {"-c", "source \"$0\"; COMP_WORDS=(paramcor --registro /tmp registro el); COMP_CWORD=4; _paramcor; "
                      "echo \"${COMPREPLY[*]}\"",
                QStringLiteral(PARAMCOR_COMPLETION)});
    ASSERT_TRUE(bash.waitForFinished());
    EXPECT_EQ(bash.readAllStandardOutput(), QByteArray("elenca elimina\n"));
}

// The tool's own words come from the texts in the language of --lingua, or the
// user's (see the texts' commands); English where a language has no translation.
TEST(ParamcorCommandLine, TheToolSpeaksTheLanguageItIsGiven) {
    const Workshop workshop;
    EXPECT_EQ(workshop.run({"--lingua", "1", "--help"}).out.section(u'\n', 0, 0),
              QStringLiteral("Uso: paramcor COMANDO [OPZIONI] [ARGOMENTI]"));
    expectRefused(workshop.run({"chiave", "--lingua", "6", "NESSUNO", "0001"}), 1, "no text has the key NESSUNO 0001");
}

}  // namespace
}  // namespace paramcor::test
