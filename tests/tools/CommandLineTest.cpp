// What every command shares: help, and command lines that cannot run, which end
// with one line on standard error, a non-zero exit and nothing touched.
#include "ToolTesting.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

namespace paramcor::test {
namespace {

TEST(ParamcorCommandLine, EveryCommandHasHelp) {
    const QStringList commands = {"valore leggi",  "valore scrivi", "percorso",  "percorsi",         "traduci",
                                  "chiave",        "lingua",        "misure",    "registro elenca",
                                  "registro elimina", "registro esporta", "registro importa",
                                  "testi esporta", "testi importa", "testi crea"};
    const Outcome overview = runTool({"--help"});
    ASSERT_EQ(overview.code, 0) << overview;
    EXPECT_TRUE(overview.err.isEmpty()) << overview;
    for (const QString& command : commands) {
        EXPECT_TRUE(overview.out.contains(u'\n' + QStringLiteral("  ") + command + u' ') ||
                    overview.out.contains(u'\n' + QStringLiteral("  ") + command + u'\n'))
            << command.toStdString();
        // --help anywhere on the line, even with operands missing.
        for (const QStringList& line :
             {command.split(u' ') + QStringList{"--help"}, QStringList{"--help"} + command.split(u' ')}) {
            const Outcome help = runTool(line);
            EXPECT_EQ(help.code, 0) << help;
            EXPECT_TRUE(help.out.startsWith(QStringLiteral("Usage: paramcor ") + command)) << help;
            EXPECT_TRUE(help.out.contains(QStringLiteral("--registro DIR"))) << help;
            EXPECT_TRUE(help.err.isEmpty()) << help;
        }
    }
    for (const QString group : {"valore", "registro", "testi"}) {
        const Outcome help = runTool({group, "--help"});
        EXPECT_EQ(help.code, 0) << help;
        EXPECT_TRUE(help.out.contains(u' ' + group + QStringLiteral(" "))) << help;
    }
    // The library's own description of the member a command runs.
    EXPECT_TRUE(runTool({"valore", "leggi", "--help"}).out.contains(QStringLiteral("Legge un parametro")));
}

struct BadLine {
    QStringList arguments;
    int code;
    const char* says;
};

void PrintTo(const BadLine& line, std::ostream* os) {
    *os << line.arguments.join(u' ').toStdString();
}

class ParamcorBadCommandLine : public ::testing::TestWithParam<BadLine> {};

TEST_P(ParamcorBadCommandLine, EndsWithOneLineAndTouchesNothing) {
    const Workshop workshop({}, true);
    const Outcome run = workshop.run(GetParam().arguments);
    EXPECT_EQ(run.code, GetParam().code) << run;
    EXPECT_TRUE(run.out.isEmpty()) << run;
    ASSERT_EQ(run.errLines().size(), 1) << run;
    EXPECT_TRUE(run.err.startsWith(QStringLiteral("paramcor: "))) << run;
    EXPECT_TRUE(run.err.contains(QString::fromUtf8(GetParam().says))) << run;
    // Not even the store's folder, nor the texts' delivery.
    EXPECT_FALSE(QFileInfo::exists(workshop.registry())) << run;
    EXPECT_FALSE(QFileInfo::exists(workshop.userTexts())) << run;
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ParamcorBadCommandLine,
    ::testing::Values(
        BadLine{{}, 2, "no command"}, BadLine{{"nonsense"}, 2, "unknown command \"nonsense\""},
        BadLine{{"valore"}, 2, "needs a subcommand"}, BadLine{{"valore", "cancella"}, 2, "\"valore cancella\""},
        BadLine{{"percorso", "--xyz", "DXF"}, 2, "unknown option --xyz"},
        BadLine{{"percorso", "--lingua", "2", "DXF"}, 2, "paramcor: percorso: there is no option --lingua"},
        BadLine{{"percorso"}, 2, "missing NOME"}, BadLine{{"percorso", "DXF", "DWG"}, 2, "too many arguments"},
        BadLine{{"valore", "leggi", "Taglio"}, 2, "missing NOME"},
        BadLine{{"valore", "leggi", "Taglio", "Giri"}, 2, "missing TIPO"},
        BadLine{{"valore", "leggi", "Taglio", "Giri", "Float"}, 2, "unknown type \"Float\""},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Long", "12x"}, 2, "\"12x\" is not a Long"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Long", "2147483648"}, 2, "is not a Long"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Integer", "40000"}, 2, "is not an Integer"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Single", "2,5"}, 2, "is not a Single"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Double", "nan"}, 2, "is not a Double"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Double", ""}, 2, "is not a Double"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Boolean", "forse"}, 2, "is not a Boolean"},
        BadLine{{"valore", "leggi", "--predefinito", "tremila", "Taglio", "Giri", "Long"}, 2, "is not a Long"},
        BadLine{{"registro", "elimina", "HKCU"}, 2, "a whole hive cannot be deleted"},
        BadLine{{"registro", "elenca", "-r", "-r", "HKCU"}, 2, "--ricorsivo is given twice"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Long"}, 2, "missing VALORE"},
        BadLine{{"traduci", "--lingua", "0", "Conferma"}, 2, "--lingua must be a whole number from 1 to 15"},
        BadLine{{"traduci", "Conferma", "--lingua"}, 2, "--lingua needs a value"},
        BadLine{{"lingua", "16"}, 2, "from 1 to 15"}, BadLine{{"lingua", "due"}, 2, "not \"due\""},
        BadLine{{"misure", "--lingua", "x"}, 2, "--lingua must be"},
        BadLine{{"testi", "esporta", "x.po"}, 2, "needs either --lingua N"},
        BadLine{{"testi", "esporta", "--lingua", "2", "--modello", "x.po"}, 2, "or --modello"},
        BadLine{{"testi", "esporta", "--lingua", "16", "x.po"}, 2, "from 1 to 15"},
        BadLine{{"testi", "importa", "--lingua", "16", "x.po"}, 2, "from 2 to 15"},
        BadLine{{"registro", "esporta", "HKEY_USERS\\S", "x.reg"}, 2, "is not a key"},
        BadLine{{"registro", "esporta", "HKCU\\\\S", "x.reg"}, 2, "is not a key"},
        BadLine{{"--registro", "elsewhere", "lingua"}, 2, "--registro is given twice"},
        BadLine{{"percorsi", "--tutti=yes"}, 2, "--tutti takes no value"}));

TEST(ParamcorCommandLine, AnInstallationThatIsNotThere) {
    const Workshop workshop;
    const Outcome missingFolder =
        runTool({"--registro", workshop.registry(), "--installazione", workshop.path("nowhere"), "lingua"});
    EXPECT_EQ(missingFolder.code, 1) << missingFolder;
    EXPECT_EQ(missingFolder.errLines().size(), 1) << missingFolder;
    EXPECT_TRUE(missingFolder.err.contains(QStringLiteral("nowhere"))) << missingFolder;

    // A folder without ParamCor.txt: the library's own message, as a line.
    const Outcome missingFile =
        runTool({"--registro", workshop.registry(), "--installazione", workshop.folder(), "percorsi"});
    EXPECT_EQ(missingFile.code, 1) << missingFile;
    EXPECT_TRUE(missingFile.out.isEmpty()) << missingFile;
    EXPECT_TRUE(missingFile.err.contains(QStringLiteral("ParamCor.txt"))) << missingFile;
    for (const QString& line : missingFile.errLines())
        EXPECT_TRUE(line.startsWith(QStringLiteral("paramcor: "))) << missingFile;
}

}  // namespace
}  // namespace paramcor::test

namespace paramcor::test {
namespace {

TEST(ParamcorCommandLine, EveryReadingCommandSpeaksJson) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Taglio", "Giri", "Long", "3000"}).code, 0);
    const QStringList commands[] = {
        {"valore", "leggi", "Taglio", "Giri", "Long"}, {"percorso", "DXF"}, {"percorsi"},
        {"traduci", "Spessore"}, {"chiave", "LASTRE", "0009"}, {"lingua"}, {"misure"},
        {"registro", "elenca", "HKCU\\SOFTWARE\\Corvel"}, {"informazioni"}};
    for (const QStringList& command : commands) {
        const Outcome run = workshop.run(command + QStringList{"--json"});
        EXPECT_EQ(run.code, 0) << run;
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(run.bytes, &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << run;
        EXPECT_FALSE(document.isEmpty()) << run;
    }
    EXPECT_EQ(workshop.run({"lingua", "--json"}).out, QStringLiteral("{\"lingua\":2,\"nome\":\"English\"}\n"));
}

TEST(ParamcorCommandLine, ShortOptionsVersionAndCompletion) {
    const Outcome help = runTool({"registro", "elenca", "-h"});
    EXPECT_EQ(help.code, 0) << help;
    EXPECT_TRUE(help.out.startsWith(QStringLiteral("Usage: paramcor registro elenca"))) << help;
    const Workshop workshop;
    const Outcome version = workshop.run({"--version"});
    EXPECT_EQ(version.code, 0) << version;
    EXPECT_TRUE(version.out.startsWith(QStringLiteral("paramcor 6.0.0 (CVLParamcor 6.0.0)\n"))) << version;
    EXPECT_TRUE(version.out.contains(workshop.registry() + QStringLiteral("/HKEY_LOCAL_MACHINE.db"))) << version;

    // The completion script, as bash runs it for "paramcor registro el<TAB>".
    QProcess bash;
    bash.start(QStringLiteral("bash"),
               {"-c", "source \"$0\"; COMP_WORDS=(paramcor --registro /tmp registro el); COMP_CWORD=4; _paramcor; "
                      "echo \"${COMPREPLY[*]}\"",
                QStringLiteral(PARAMCOR_COMPLETION)});
    ASSERT_TRUE(bash.waitForFinished());
    EXPECT_EQ(bash.readAllStandardOutput(), QByteArray("elenca elimina\n"));
}

}  // namespace
}  // namespace paramcor::test
