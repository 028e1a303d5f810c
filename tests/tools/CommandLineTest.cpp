// What every command shares: help, JSON, and command lines that cannot run, which
// end with one line on standard error, a non-zero exit and nothing touched.
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
          "registro elenca", "registro elimina", "registro esporta", "registro importa", "testi esporta",
          "testi importa", "testi crea"}) {
        EXPECT_TRUE(overview.out.contains(QStringLiteral("\n  ") + command + u' ') ||
                    overview.out.contains(QStringLiteral("\n  ") + command + u'\n'))
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
    for (const QString group : {"valore", "registro", "testi"})
        EXPECT_TRUE(runTool({group, "--help"}).out.contains(u' ' + group + u' ')) << group.toStdString();
    // The library's own description of the member a command runs.
    EXPECT_TRUE(runTool({"valore", "leggi", "--help"}).out.contains(QStringLiteral("Legge un parametro")));
    EXPECT_TRUE(runTool({"registro", "elenca", "-h"}).out.startsWith(QStringLiteral("Usage: paramcor registro elenca")));
}

struct BadLine {
    QStringList arguments;
    const char* says;
};

void PrintTo(const BadLine& line, std::ostream* os) {
    *os << line.arguments.join(u' ').toStdString();
}

class ParamcorBadCommandLine : public ::testing::TestWithParam<BadLine> {};

TEST_P(ParamcorBadCommandLine, EndsWithOneLineAndTouchesNothing) {
    const Workshop workshop({}, true);
    expectRefused(workshop.run(GetParam().arguments), 2, QString::fromUtf8(GetParam().says));
    // Not even the store's folder, nor the texts' delivery.
    EXPECT_FALSE(QFileInfo::exists(workshop.registry()));
    EXPECT_FALSE(QFileInfo::exists(workshop.userTexts()));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ParamcorBadCommandLine,
    ::testing::Values(
        BadLine{{}, "no command"}, BadLine{{"nonsense"}, "unknown command \"nonsense\""},
        BadLine{{"valore"}, "needs a subcommand"}, BadLine{{"valore", "cancella"}, "\"valore cancella\""},
        BadLine{{"percorso", "--xyz", "DXF"}, "unknown option --xyz"},
        BadLine{{"percorso", "--lingua", "2", "DXF"}, "paramcor: percorso: there is no option --lingua"},
        BadLine{{"percorso"}, "missing NOME"}, BadLine{{"percorso", "DXF", "DWG"}, "too many arguments"},
        BadLine{{"valore", "leggi", "Taglio", "Giri"}, "missing TIPO"},
        BadLine{{"valore", "leggi", "Taglio", "Giri", "Float"}, "unknown type \"Float\""},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Long"}, "missing VALORE"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Long", "12x"}, "\"12x\" is not a Long"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Long", "2147483648"}, "is not a Long"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Integer", "40000"}, "is not an Integer"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Single", "2,5"}, "is not a Single"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Double", "nan"}, "is not a Double"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Double", ""}, "is not a Double"},
        BadLine{{"valore", "scrivi", "Taglio", "Giri", "Boolean", "forse"}, "is not a Boolean"},
        BadLine{{"valore", "leggi", "--predefinito", "tremila", "Taglio", "Giri", "Long"}, "is not a Long"},
        BadLine{{"registro", "elimina", "HKCU"}, "a whole hive cannot be deleted"},
        BadLine{{"registro", "elenca", "-r", "-r", "HKCU"}, "--ricorsivo is given twice"},
        BadLine{{"traduci", "--lingua", "0", "Conferma"}, "--lingua must be a whole number from 1 to 15"},
        BadLine{{"traduci", "Conferma", "--lingua"}, "--lingua needs a value"},
        BadLine{{"lingua", "16"}, "from 1 to 15"}, BadLine{{"lingua", "due"}, "not \"due\""},
        BadLine{{"misure", "--lingua", "x"}, "--lingua must be"},
        BadLine{{"testi", "esporta", "x.po"}, "needs either --lingua N"},
        BadLine{{"testi", "esporta", "--lingua", "2", "--modello", "x.po"}, "or --modello"},
        BadLine{{"testi", "esporta", "--lingua", "16", "x.po"}, "from 1 to 15"},
        BadLine{{"testi", "importa", "--lingua", "16", "x.po"}, "from 2 to 15"},
        BadLine{{"registro", "esporta", "HKEY_USERS\\S", "x.reg"}, "is not a key"},
        BadLine{{"registro", "esporta", "HKCU\\\\S", "x.reg"}, "is not a key"},
        BadLine{{"--registro", "elsewhere", "lingua"}, "--registro is given twice"},
        BadLine{{"percorsi", "--tutti=yes"}, "--tutti takes no value"}));

TEST(ParamcorCommandLine, AnInstallationThatIsNotThere) {
    const Workshop workshop;
    const auto on = [&](const QString& installation, const QString& command) {
        return runTool({"--registro", workshop.registry(), "--installazione", installation, command});
    };
    expectRefused(on(workshop.path("nowhere"), "lingua"), 1, "nowhere");
    // A folder without ParamCor.txt: the library's own message, as lines of the tool.
    const Outcome missingFile = on(workshop.folder(), "percorsi");
    EXPECT_EQ(missingFile.code, 1) << missingFile;
    EXPECT_TRUE(missingFile.out.isEmpty() && missingFile.err.contains("ParamCor.txt")) << missingFile;
    for (const QString& line : missingFile.errLines())
        EXPECT_TRUE(line.startsWith(QStringLiteral("paramcor: "))) << missingFile;
}

TEST(ParamcorCommandLine, ReadingCommandsSpeakJsonAndTheVersionNamesTheStore) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"valore", "scrivi", "Taglio", "Giri", "Long", "3000"}).code, 0);
    for (const QStringList& command : {QStringList{"valore", "leggi", "Taglio", "Giri", "Long"}, {"percorso", "DXF"},
                                       {"percorsi"}, {"traduci", "Spessore"}, {"chiave", "LASTRE", "0009"}, {"misure"},
                                       {"registro", "elenca", "HKCU\\SOFTWARE\\Corvel"}, {"informazioni"}}) {
        const Outcome run = workshop.run(command + QStringList{"--json"});
        EXPECT_EQ(run.code, 0) << run;
        QJsonParseError error{};
        EXPECT_FALSE(QJsonDocument::fromJson(run.bytes, &error).isEmpty()) << run;
        EXPECT_EQ(error.error, QJsonParseError::NoError) << run;
    }
    EXPECT_EQ(workshop.run({"lingua", "--json"}).out, QStringLiteral("{\"lingua\":2,\"nome\":\"English\"}\n"));

    const Outcome version = workshop.run({"--version"});
    EXPECT_TRUE(version.out.startsWith(QStringLiteral("paramcor 6.0.0 (CVLParamcor 6.0.0)\n"))) << version;
    EXPECT_TRUE(version.out.contains(workshop.registry() + QStringLiteral("/HKEY_LOCAL_MACHINE.db"))) << version;
}

TEST(ParamcorCommandLine, BashCompletesCommands) {
    // As bash runs it for "paramcor registro el<TAB>".
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
