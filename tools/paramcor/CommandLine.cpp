#include "CommandLine.h"

#include "Commands.h"
#include "Session.h"

#include <CVLParamcor/Languages.h>
#include <CVLParamcor/Parametri.h>

#include <algorithm>
#include <cstdio>

namespace paramcor::tool {
namespace {

struct KnownOption {
    const char* name;
    bool takesValue;
};

// Every option of every command: the words after an option taking a value are
// that value, whatever the command.
constexpr KnownOption kOptions[] = {
    {"registro", true},  {"installazione", true}, {"lingua", true}, {"file", true},  {"sezione", true},
    {"macchina", false}, {"regedit4", false},     {"tutti", false}, {"help", false},  {"modello", false},
};

const KnownOption* findOption(const QString& name) {
    for (const KnownOption& known : kOptions)
        if (name == QLatin1String(known.name))
            return &known;
    return nullptr;
}

const QStringList kGroups = {"valore", "registro", "testi"};

const QString kCommonOptions = QStringLiteral(
    "Options of every command:\n"
    "  --registro DIR        the registry store in DIR, one file per hive (default: the\n"
    "                        library's, ~/.config/CVLParamcor and /var/lib/CVLParamcor)\n"
    "  --installazione DIR   the installation whose ParamCor.txt lies in DIR (default:\n"
    "                        the folder of the library)\n"
    "  --help                this help");

QString usageLine(const Command& command) {
    QString line = QStringLiteral("paramcor ") + command.name.join(u' ');
    for (const QString& option : command.options)
        line += QStringLiteral(" [--") + option + u']';
    if (!command.operands.isEmpty())
        line += u' ' + command.operands;
    return line;
}

void printHelp(const Command& command) {
    printLine(QStringLiteral("Usage: ") + usageLine(command));
    printLine();
    printLine(command.summary);
    if (command.member) {
        const QString help = helpString(QLatin1String(command.member));
        if (!help.isEmpty())
            printLine(QStringLiteral("Parametri::%1: \"%2\"").arg(QLatin1String(command.member), help));
    }
    if (!command.details.isEmpty()) {
        printLine();
        printLine(command.details);
    }
    printLine();
    printLine(kCommonOptions);
}

void printOverview(const QString& group = QString()) {
    printLine(QStringLiteral("Usage: paramcor COMMAND [OPTIONS] [ARGUMENTS]"));
    printLine();
    printLine(
        QStringLiteral("Looks inside and changes what the CVLParamcor library keeps: parameters, "
                       "folders, texts, units."));
    printLine();
    printLine(QStringLiteral("Commands:"));
    for (const Command& command : commands()) {
        if (!group.isEmpty() && command.name.first() != group)
            continue;
        printLine(QStringLiteral("  %1\n      %2").arg(usageLine(command).mid(9), command.summary));
    }
    printLine();
    printLine(
        QStringLiteral("\"paramcor COMMAND --help\" tells more about each. The exit code is 0 when the command "
                       "did its work, 1 when it failed, 2 when the command line is wrong."));
    printLine(kCommonOptions);
}

// "1 Italiano, 2 English, ...", as many to a line as fit.
QString languageList() {
    QStringList lines{QString()};
    for (const LanguageInfo& info : languages()) {
        if (info.ownName.isEmpty())
            break;
        const QString item = QStringLiteral("%1 %2, ").arg(info.number).arg(info.ownName);
        if (lines.last().size() + item.size() > 84)
            lines << QString();
        lines.last() += item;
    }
    lines.last() += QStringLiteral("%1 to %2 further columns of the text database, unnamed.")
                        .arg(kOfferedLanguages + 1)
                        .arg(kLanguageColumns);
    for (QString& line : lines)
        line = line.trimmed();
    return lines.join(u'\n');
}

QString nameOf(const QStringList& words, int count) {
    return QStringLiteral("paramcor ") + words.mid(0, count).join(u' ');
}

}  // namespace

void printLine(const QString& line) {
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
}

int parseNumber(const QString& text, int low, int high, const QString& what) {
    bool ok = false;
    const int number = text.trimmed().toInt(&ok);
    if (!ok || number < low || number > high)
        throw UsageError(QStringLiteral("%1 must be a whole number from %2 to %3, not \"%4\"")
                             .arg(what)
                             .arg(low)
                             .arg(high)
                             .arg(text));
    return number;
}

Arguments parseArguments(const QStringList& arguments) {
    Arguments parsed;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& word = arguments[i];
        if (optionsEnded || !word.startsWith(QLatin1String("--"))) {
            parsed.words << word;
            continue;
        }
        if (word == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        const qsizetype equals = word.indexOf(u'=');
        const QString name = word.mid(2, equals < 0 ? -1 : equals - 2);
        const KnownOption* known = findOption(name);
        if (!known)
            throw UsageError(QStringLiteral("unknown option --%1").arg(name));
        if (parsed.options.contains(name))
            throw UsageError(QStringLiteral("--%1 is given twice").arg(name));
        QString value;
        if (known->takesValue) {
            if (equals >= 0)
                value = word.mid(equals + 1);
            else if (i + 1 < arguments.size())
                value = arguments[++i];
            else
                throw UsageError(QStringLiteral("--%1 needs a value").arg(name));
        } else if (equals >= 0) {
            throw UsageError(QStringLiteral("--%1 takes no value").arg(name));
        }
        parsed.options.insert(name, value);
    }
    return parsed;
}

const QList<Command>& commands() {
    static const QList<Command> list = {
        {{"valore", "leggi"},
         "PROGRAMMA NOME TIPO [DEFAULT]",
         "Reads a typed parameter of a program (LeggiParametro) and prints it.",
         "TIPO is Integer, Long, Single, Double, String or Boolean. As in every program of the\n"
         "suite, a missing value is stored with DEFAULT and DEFAULT printed; without DEFAULT\n"
         "the type's zero is printed and nothing stored. A Double comes back as a Single made\n"
         "from its low four bytes, as the suite has always read it.\n"
         "  --macchina            the local machine's store instead of the current user's\n"
         "  --sezione SEZIONE     the section of the program",
         {"macchina", "sezione SEZIONE"},
         3,
         4,
         readValue,
         "LeggiParametro"},
        {{"valore", "scrivi"},
         "PROGRAMMA NOME TIPO VALORE",
         "Writes a typed parameter of a program (ScriviParametro).",
         "TIPO is Integer, Long, Single, Double, String or Boolean; VALORE must be one: a\n"
         "number with a point for decimals, True or False, a text of at most 255 characters.\n"
         "  --macchina            the local machine's store instead of the current user's\n"
         "  --sezione SEZIONE     the section of the program",
         {"macchina", "sezione SEZIONE"},
         4,
         4,
         writeValue,
         "ScriviParametro"},
        {{"percorso"},
         "NOME",
         "Prints the current location of one of the suite's folders (Percorso).",
         "NOME as the programs give it: \"DXF\", \"PercorsoDxf\" and \" dxf \" are one folder.",
         {},
         1,
         1,
         showFolder},
        {{"percorsi"},
         "",
         "Lists the folder table: name, default as declared, current location, reference.",
         "  --tutti               also the custom slots that the installation leaves empty",
         {"tutti"},
         0,
         0,
         listFolders},
        {{"traduci"},
         "TESTO",
         "Translates an Italian wording into the current language (Traduci).",
         "  --lingua N            into language N instead, for this command only",
         {"lingua N"},
         1,
         1,
         translate},
        {{"chiave"},
         "PROGRAMMA PROGRESSIVO",
         "Prints the text with this key in the current language (TraduciChiave).",
         "  --lingua N            in language N instead, for this command only",
         {"lingua N"},
         2,
         2,
         translateKey},
        {{"lingua"},
         "[N]",
         "Prints the current language, or makes N the language of every program of the user.",
         languageList(),
         {},
         0,
         1,
         language,
         "Lingua"},
        {{"misure"},
         "",
         "Prints the units of measure and the currency of the current language, decoded.",
         "  --lingua N            those of language N instead\n"
         "  --file DB             read them from the text database DB instead of the user's",
         {"lingua N", "file DB"},
         0,
         0,
         units},
        {{"registro", "esporta"},
         "CHIAVE FILE.reg",
         "Writes a registry key, its values and all its subkeys to a file for regedit.",
         "CHIAVE starts with its hive: HKEY_CURRENT_USER (HKCU), HKEY_LOCAL_MACHINE (HKLM) or\n"
         "HKEY_CLASSES_ROOT (HKCR), e.g. HKEY_CURRENT_USER\\SOFTWARE\\Corvel. The file is\n"
         "\"Windows Registry Editor Version 5.00\", UTF-16LE with CR LF, as regedit writes it.\n"
         "  --regedit4            REGEDIT4 instead, in the Windows-1252 code page",
         {"regedit4"},
         2,
         2,
         exportRegistry},
        {{"registro", "importa"},
         "FILE.reg",
         "Reads a regedit file (version 5.00 or REGEDIT4) into the registry store.",
         "Strings, dword, hex and hex(N) values. A file with a fault is refused with its line\n"
         "number and nothing of it is imported.",
         {},
         1,
         1,
         importRegistry},
        {{"testi", "esporta"},
         "FILE.po",
         "Writes the texts of one language as a gettext PO file for translators' tools.",
         "msgctxt is the key \"Programma|Progressivo\", msgid the Italian wording, msgstr the\n"
         "translation (empty when there is none). The unit rows (PARAM) are left out.\n"
         "  --lingua N            the language, 1 to 15\n"
         "  --modello             instead, the template (.pot) with every msgstr empty, from\n"
         "                        which translators start a new language\n"
         "  --file DB             the text database DB instead of the user's CvlTradU.mdb",
         {"lingua N", "modello", "file DB"},
         1,
         1,
         exportTexts},
        {{"testi", "importa"},
         "FILE.po",
         "Reads the translations of a PO file into the text database, all or nothing.",
         "Each translated, not fuzzy entry replaces the language column of the row with its\n"
         "key, when the row still has the entry's Italian wording; the number of rows changed\n"
         "is printed. In the user's database the rows are marked as corrected by the customer,\n"
         "so that later deliveries keep them.\n"
         "  --lingua N            the language (default: the one the file names)\n"
         "  --file DB             the text database DB instead of the user's CvlTradU.mdb",
         {"lingua N", "file DB"},
         1,
         1,
         importTexts},
        {{"testi", "crea"},
         "FILE",
         "Creates a new, empty text database, for preparing delivered files.",
         "",
         {},
         1,
         1,
         createTexts},
    };
    return list;
}

int run(const QStringList& arguments) {
    const Arguments parsed = parseArguments(arguments);
    const QStringList& words = parsed.words;
    const bool help = parsed.has(QStringLiteral("help"));
    if (words.isEmpty()) {
        if (help) {
            printOverview();
            return 0;
        }
        throw UsageError(QStringLiteral("no command given (paramcor --help lists them)"));
    }

    const bool grouped = kGroups.contains(words.first());
    const qsizetype nameLength = grouped ? 2 : 1;
    const Command* command = nullptr;
    for (const Command& candidate : commands())
        if (words.mid(0, nameLength) == candidate.name)
            command = &candidate;
    if (!command) {
        if (grouped && help && words.size() == 1) {
            printOverview(words.first());
            return 0;
        }
        if (grouped && words.size() == 1)
            throw UsageError(QStringLiteral("%1 needs a subcommand (paramcor %2 --help lists them)")
                                 .arg(nameOf(words, 1), words.first()));
        throw UsageError(QStringLiteral("unknown command \"%1\" (paramcor --help lists them)")
                             .arg(words.mid(0, nameLength).join(u' ')));
    }
    if (help) {
        printHelp(*command);
        return 0;
    }

    const QString name = nameOf(words, static_cast<int>(nameLength));
    for (auto it = parsed.options.begin(); it != parsed.options.end(); ++it) {
        const QString& option = it.key();
        if (option == QLatin1String("registro") || option == QLatin1String("installazione"))
            continue;
        const bool allowed = std::any_of(command->options.begin(), command->options.end(),
                                         [&](const QString& o) { return o.section(u' ', 0, 0) == option; });
        if (!allowed)
            throw UsageError(QStringLiteral("%1 has no option --%2").arg(name, option));
    }
    const QStringList operands = words.mid(nameLength);
    if (operands.size() < command->minOperands)
        throw UsageError(
            QStringLiteral("%1: missing %2 (usage: %3)")
                .arg(name, command->operands.section(u' ', static_cast<int>(operands.size()), command->minOperands - 1),
                     usageLine(*command)));
    if (operands.size() > command->maxOperands)
        throw UsageError(QStringLiteral("%1: too many arguments from \"%2\" on (usage: %3)")
                             .arg(name, operands.at(command->maxOperands), usageLine(*command)));

    Session session(parsed);
    const int code = command->run(session, parsed, operands);
    return session.failed() ? 1 : code;
}

}  // namespace paramcor::tool
