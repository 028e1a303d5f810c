#include "CommandLine.h"

#include "Commands.h"
#include "RegFile.h"
#include "Session.h"
#include "Wording.h"

#include <CVLParamcor/Languages.h>
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>

namespace paramcor::tool {
namespace {

struct KnownOption {
    const char* name;
    bool takesValue;
};

// Every option of every command: the words after an option taking a value are
// that value, whatever the command.
constexpr KnownOption kOptions[] = {
    {"registro", true},  {"installazione", true}, {"lingua", true},  {"file", true},        {"sezione", true},
    {"macchina", false}, {"regedit4", false},     {"tutti", false},  {"help", false},        {"modello", false},
    {"version", false},  {"json", false},         {"si", false},     {"grezzo", false},      {"predefinito", true},
    {"ricorsivo", false}, {"attesa", true},       {"dipendenti", false},
};

// The one-letter forms, as other tools have them.
const QMap<QString, QString> kShortOptions = {{"-h", "help"}, {"-r", "ricorsivo"}};

QString& currentCommand() {
    static QString name;
    return name;
}

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
    "                        /etc/CVLParamcor, or the library's folder in a build)\n"
    "  --attesa SECONDI      how long a write waits for another program that holds the\n"
    "                        store (default: 15)\n"
    "  --json                what a reading command prints, as one JSON document\n"
    "  -h, --help            this help\n"
    "  --version             the version and the store's files");

QString usageLine(const Command& command) {
    QString line = QStringLiteral("paramcor ") + command.name.join(u' ');
    for (const QString& option : command.options)
        line += QStringLiteral(" [--") + option + u']';
    if (!command.operands.isEmpty())
        line += u' ' + command.operands;
    return line;
}

void printHelp(const Command& command) {
    printLine(tr("Usage: %1").arg(usageLine(command)));
    printLine();
    printLine(tr(command.summary));
    if (command.member) {
        const QString help = helpString(QLatin1String(command.member));
        if (!help.isEmpty())
            printLine(QStringLiteral("Parametri::%1: \"%2\"").arg(QLatin1String(command.member), help));
    }
    if (!command.details.isEmpty()) {
        printLine();
        printLine(tr(command.details));
    }
    printLine();
    printLine(tr(kCommonOptions));
}

void printOverview(const QString& group = QString()) {
    printLine(tr("Usage: paramcor COMMAND [OPTIONS] [ARGUMENTS]"));
    printLine();
    printLine(tr("Looks inside and changes what the CVLParamcor library keeps: parameters, folders, texts, units."));
    printLine();
    printLine(tr("Commands:"));
    for (const Command& command : commands()) {
        if (!group.isEmpty() && command.name.first() != group)
            continue;
        printLine(QStringLiteral("  %1\n      %2").arg(usageLine(command).mid(9), tr(command.summary)));
    }
    printLine();
    printLine(
        tr("\"paramcor COMMAND --help\" tells more about each. The exit code is 0 when the command "
           "did its work, 1 when it failed, 2 when the command line is wrong."));
    printLine(tr(kCommonOptions));
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
    lines.last() +=
        tr("%1 to %2 further columns of the text database, unnamed.").arg(kOfferedLanguages + 1).arg(kLanguageColumns);
    for (QString& line : lines)
        line = line.trimmed();
    return lines.join(u'\n');
}

// --registro, --installazione and --lingua as parseArguments finds them, from a
// command line that may yet prove wrong: the tool's texts come from there.
Arguments sessionOptions(const QStringList& arguments) {
    Arguments found;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& word = arguments[i];
        if (word == QLatin1String("--"))
            break;
        if (!word.startsWith(QLatin1String("--")))
            continue;
        const qsizetype equals = word.indexOf(u'=');
        const QString name = word.mid(2, equals < 0 ? -1 : equals - 2);
        const KnownOption* known = findOption(name);
        if (!known || !known->takesValue)
            continue;
        QString value = equals >= 0 ? word.mid(equals + 1) : i + 1 < arguments.size() ? arguments[++i] : QString();
        if ((name == QLatin1String("registro") || name == QLatin1String("installazione") ||
             name == QLatin1String("lingua")) &&
            !found.has(name))
            found.options.insert(name, value);
    }
    return found;
}

// The tool's texts come from the run's library while it lasts.
class TextSource {
public:
    explicit TextSource(Session* session) { setTextSource(session); }
    ~TextSource() { setTextSource(nullptr); }
    TextSource(const TextSource&) = delete;
    TextSource& operator=(const TextSource&) = delete;
};

QString nameOf(const QStringList& words, int count) {
    return QStringLiteral("paramcor ") + words.mid(0, count).join(u' ');
}

void printVersion(Session& session) {
    printLine(QStringLiteral("paramcor " PARAMCOR_VERSION " (CVLParamcor " PARAMCOR_VERSION ")"));
    const auto* store = dynamic_cast<const SqliteRegistryStore*>(&session.baseStore());
    if (!store)
        return;
    for (const Hive hive : {Hive::CurrentUser, Hive::LocalMachine, Hive::ClassesRoot})
        printLine(QStringLiteral("%1: %2").arg(regfile::hiveName(hive), QString::fromStdString(store->hiveFile(hive))));
}

}  // namespace

QString errorPrefix() {
    return currentCommand().isEmpty() ? QStringLiteral("paramcor: ")
                                      : QStringLiteral("paramcor: %1: ").arg(currentCommand());
}

void printJson(const QJsonValue& value) {
    QJsonDocument document;
    if (value.isArray())
        document.setArray(value.toArray());
    else if (value.isObject())
        document.setObject(value.toObject());
    else
        document.setArray(QJsonArray{value});  // a bare value is no JSON document for Qt
    QByteArray bytes = document.toJson(QJsonDocument::Compact);
    if (!value.isArray() && !value.isObject())
        bytes = bytes.mid(1, bytes.size() - 2);
    printLine(QString::fromUtf8(bytes));
}

void printLine(const QString& line) {
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
}

int parseNumber(const QString& text, int low, int high, const QString& what) {
    bool ok = false;
    const int number = text.trimmed().toInt(&ok);
    if (!ok || number < low || number > high)
        throw UsageError(
            tr("%1 must be a whole number from %2 to %3, not \"%4\"").arg(what).arg(low).arg(high).arg(text));
    return number;
}

Arguments parseArguments(const QStringList& arguments) {
    Arguments parsed;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& word = arguments[i];
        if (!optionsEnded && kShortOptions.contains(word)) {
            const QString name = kShortOptions.value(word);
            if (parsed.options.contains(name))
                throw UsageError(QStringLiteral("--%1 is given twice").arg(name));
            parsed.options.insert(name, QString());
            continue;
        }
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
         "PROGRAMMA NOME [TIPO]",
         "Reads a typed parameter of a program and prints it; never writes.",
         "TIPO is Integer, Long, Single, Double, String or Boolean, and the value must be stored\n"
         "as that type (a Double in full); otherwise the read fails. A missing value is an error\n"
         "with exit code 3, unless --predefinito gives the value to print; nothing is stored.\n"
         "  --predefinito VALORE  print VALORE when the value is missing\n"
         "  --grezzo              the stored registry type and bytes, whatever TIPO says\n"
         "  --macchina            the local machine's store instead of the current user's\n"
         "  --sezione SEZIONE     the section of the program",
         {"macchina", "sezione SEZIONE", "predefinito VALORE", "grezzo", "json"},
         2,
         3,
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
         {"json"},
         1,
         1,
         showFolder},
        {{"percorso", "scrivi"},
         "NOME PERCORSO",
         "Moves one of the suite's folders to PERCORSO, an existing folder, as the folder editor does.",
         "The folders of the machine (Wincor, Immagini, Utensili, ...) are every user's and need\n"
         "--macchina, which only an operator of the suite may give; the others are the user's own.\n"
         "  --macchina            the folder is one of the machine's\n"
         "  --dipendenti          the folders whose default is built on it move along",
         {"macchina", "dipendenti"},
         2,
         2,
         writeFolder},
        {{"percorsi"},
         "",
         "Lists the folders: name, default as declared, location, reference, source of the location.",
         "  --tutti               also the custom slots that the installation leaves empty",
         {"tutti", "json"},
         0,
         0,
         listFolders},
        {{"traduci"},
         "TESTO",
         "Translates an Italian wording into the current language (Traduci).",
         "  --lingua N            into language N instead, for this command only",
         {"lingua N", "json"},
         1,
         1,
         translate},
        {{"chiave"},
         "PROGRAMMA PROGRESSIVO",
         "Prints the text with this key in the current language (TraduciChiave).",
         "  --lingua N            in language N instead, for this command only",
         {"lingua N", "json"},
         2,
         2,
         translateKey},
        {{"lingua"},
         "[N|CODICE]",
         "Prints the current language, or makes N or CODICE (\"de\", \"pt-BR\") the user's language.",
         languageList(),
         {"json"},
         0,
         1,
         language,
         "Lingua"},
        {{"misure"},
         "",
         "Prints the units of measure and the currency of the current language, decoded.",
         "  --lingua N            those of language N instead\n"
         "  --file DB             read them from the text database DB instead of the user's",
         {"lingua N", "file DB", "json"},
         0,
         0,
         units},
        {{"informazioni"},
         "",
         "Prints what support asks for: versions, machine, store, installation, texts, folders.",
         "The system information of the about window (InformazioniSistema), as text to read\n"
         "out on the telephone or to paste into a mail.\n"
         "  --lingua N            with the captions of language N instead",
         {"lingua N", "json"},
         0,
         0,
         systemInformation,
         "InformazioniSistema"},
        {{"registro", "elenca"},
         "CHIAVE",
         "Lists the values and subkeys of a registry key, one per line.",
         "CHIAVE starts with its hive: HKEY_CURRENT_USER (HKCU), HKEY_LOCAL_MACHINE (HKLM) or\n"
         "HKEY_CLASSES_ROOT (HKCR). Each line is a name (\"@\" the unnamed value), a tab, the\n"
         "registry type, a tab and the contents decoded; a subkey is its name with a trailing\n"
         "backslash. Values come first, then subkeys, each ordered by name without regard to case.\n"
         "  -r, --ricorsivo       every key below too, each line naming its path below CHIAVE",
         {"ricorsivo", "json"},
         1,
         1,
         listKey},
        {{"registro", "elimina"},
         "CHIAVE [NOME]",
         "Deletes a registry value, or a key with all its subkeys and values.",
         "Asks for confirmation on the terminal; a deleted key is gone as a whole or not at all.\n"
         "  --si                  delete without asking",
         {"si"},
         1,
         2,
         deleteFromRegistry},
        {{"registro", "osserva"},
         "CHIAVE",
         "Prints each key below which a value or key changes, as it happens, until interrupted.",
         "One line per changed key, whichever program made the change. Nothing runs while\n"
         "nothing changes: the store wakes the command.\n"
         "  -r, --ricorsivo       the keys below CHIAVE too",
         {"ricorsivo"},
         1,
         1,
         watchRegistry},
        {{"registro", "esporta"},
         "CHIAVE FILE.reg",
         "Writes a registry key, its values and all its subkeys to a file for regedit.",
         "CHIAVE starts with its hive: HKEY_CURRENT_USER (HKCU), HKEY_LOCAL_MACHINE (HKLM) or\n"
         "HKEY_CLASSES_ROOT (HKCR), e.g. HKEY_CURRENT_USER\\SOFTWARE\\Corvel. The file is\n"
         "\"Windows Registry Editor Version 5.00\", UTF-16LE with CR LF, as regedit writes it;\n"
         "\"-\" writes it to standard output.\n"
         "  --regedit4            REGEDIT4 instead, in the Windows-1252 code page",
         {"regedit4"},
         2,
         2,
         exportRegistry},
        {{"registro", "importa"},
         "FILE.reg",
         "Reads a regedit file (version 5.00 or REGEDIT4) into the registry store.",
         "Strings, dword, hex and hex(N) values; \"NAME\"=- removes a value and [-KEY] a key with\n"
         "all below it. A file with a fault is refused with its line number and nothing of it\n"
         "is imported. \"-\" reads the file from standard input.",
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
    // Made before anything is said, for the texts; a store or installation that
    // cannot be used is reported once the command line has proved right.
    std::unique_ptr<Session> session;
    std::exception_ptr sessionFailure;
    const Arguments options = sessionOptions(arguments);
    try {
        session = std::make_unique<Session>(options);
        bool ok = false;
        const int language = options.value(QStringLiteral("lingua")).trimmed().toInt(&ok);
        if (ok && language >= 1 && language <= kLanguageColumns)
            session->overrideLanguage(static_cast<short>(language));
    } catch (const Failure&) {
        sessionFailure = std::current_exception();
    }
    const TextSource texts(session.get());

    const Arguments parsed = parseArguments(arguments);
    const QStringList& words = parsed.words;
    const bool help = parsed.has(QStringLiteral("help"));
    if (parsed.has(QStringLiteral("version")) && !help) {
        if (sessionFailure)
            std::rethrow_exception(sessionFailure);
        printVersion(*session);
        return 0;
    }
    // Help is said in the user's language, for which the library starts; a wrong
    // command line is not, as it must touch nothing.
    if (help && session)
        session->startForTexts();
    if (words.isEmpty()) {
        if (help) {
            printOverview();
            return 0;
        }
        throw UsageError(QStringLiteral("no command given (paramcor --help lists them)"));
    }

    // "percorso scrivi" stands beside "percorso NOME" without making a group.
    const bool grouped = kGroups.contains(words.first()) ||
                         std::any_of(commands().begin(), commands().end(),
                                     [&](const Command& c) { return c.name.size() == 2 && words.mid(0, 2) == c.name; });
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
        throw UsageError(
            tr("unknown command \"%1\" (paramcor --help lists them)").arg(words.mid(0, nameLength).join(u' ')));
    }
    if (help) {
        printHelp(*command);
        return 0;
    }

    currentCommand() = command->name.join(u' ');
    for (auto it = parsed.options.begin(); it != parsed.options.end(); ++it) {
        const QString& option = it.key();
        if (option == QLatin1String("registro") || option == QLatin1String("installazione") ||
            option == QLatin1String("attesa"))
            continue;
        const bool allowed = std::any_of(command->options.begin(), command->options.end(),
                                         [&](const QString& o) { return o.section(u' ', 0, 0) == option; });
        if (!allowed)
            throw UsageError(QStringLiteral("there is no option --%1 here").arg(option));
    }
    const QStringList operands = words.mid(nameLength);
    if (operands.size() < command->minOperands)
        throw UsageError(
            QStringLiteral("missing %1 (usage: %2)")
                .arg(command->operands.section(u' ', static_cast<int>(operands.size()), command->minOperands - 1),
                     usageLine(*command)));
    if (operands.size() > command->maxOperands)
        throw UsageError(QStringLiteral("too many arguments from \"%1\" on (usage: %2)")
                             .arg(operands.at(command->maxOperands), usageLine(*command)));

    if (sessionFailure)
        std::rethrow_exception(sessionFailure);
    const int code = command->run(*session, parsed, operands);
    return session->failed() ? 1 : code;
}

}  // namespace paramcor::tool
