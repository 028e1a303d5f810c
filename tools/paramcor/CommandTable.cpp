#include "CommandTable.h"

#include "Commands.h"
#include "Wording.h"

#include <CVLParamcor/Languages.h>

namespace paramcor::tool {
namespace {

constexpr const char* kLanguageNumbers = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15";
constexpr const char* kTypes = "Integer Long Single Double String Boolean";
constexpr const char* kHives = "HKEY_CURRENT_USER HKEY_LOCAL_MACHINE HKEY_CLASSES_ROOT";

const Operand kKey{"CHIAVE", Complete::Words, kHives};
const Operand kFile{"FILE", Complete::File};

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

}  // namespace

const QList<Option>& options() {
    static const QList<Option> table = {
        {"registro", 0, "DIR",
         "the registry store in DIR, one file per hive (default: the library's, ~/.config/CVLParamcor and "
         "/var/lib/CVLParamcor)",
         Complete::Folder},
        {"installazione", 0, "DIR",
         "the installation whose ParamCor.txt lies in DIR (default: the folder of the library)", Complete::Folder},
        {"attesa", 0, "SECONDI", "how long a write waits for another program that holds the store (default: 15)"},
        {"help", 'h', nullptr, "this help"},
        {"version", 0, nullptr, "the version and the store's files"},
        {"json", 'j', nullptr, "what a reading command prints, as one JSON document"},
        {"lingua", 0, "N", "the language N (1 to 15) instead of the user's, for this command only", Complete::Words,
         kLanguageNumbers},
        {"file", 0, "DB", "the text database DB instead of the user's CvlTradU.mdb", Complete::File},
        {"macchina", 0, nullptr, "the local machine's store instead of the current user's"},
        {"sezione", 0, "SEZIONE", "the section of the program"},
        {"predefinito", 0, "VALORE", "print VALORE when the value is missing"},
        {"grezzo", 0, nullptr, "the stored registry type and bytes, whatever TIPO says"},
        {"tutti", 0, nullptr, "also the custom slots that the installation leaves empty"},
        {"ricorsivo", 'r', nullptr, "the keys below CHIAVE too"},
        {"si", 0, nullptr, "delete without asking"},
        {"regedit4", 0, nullptr, "REGEDIT4 instead, in the Windows-1252 code page"},
        {"modello", 0, nullptr,
         "instead, the template (.pot) with every msgstr empty, from which translators start a new language"},
        {"per-alveare", 0, nullptr, "imports each hive whole on its own"},
        {"dipendenti", 0, nullptr, "the folders whose default is built on it move along"},
    };
    return table;
}

const QStringList& commonOptions() {
    static const QStringList names = {"registro", "installazione", "attesa", "help"};
    return names;
}

const QStringList& globalOptions() {
    static const QStringList names = {"help", "version"};
    return names;
}

const QList<Command>& commands() {
    static const QList<Command> table = {
        {{"valore", "leggi"},
         {{"PROGRAMMA"}, {"NOME"}, {"[TIPO]", Complete::Words, kTypes}},
         {"macchina", "sezione", "predefinito", "grezzo", "json"},
         "Reads a typed parameter of a program and prints it; never writes.",
         "TIPO is Integer, Long, Single, Double, String or Boolean, and the value must be stored\n"
         "as that type (a Double in full); otherwise the read fails. A missing value is an error\n"
         "with exit code 3, unless --predefinito gives the value to print; nothing is stored.",
         readValue,
         "LeggiParametro",
         true},
        {{"valore", "scrivi"},
         {{"PROGRAMMA"}, {"NOME"}, {"TIPO", Complete::Words, kTypes}, {"VALORE"}},
         {"macchina", "sezione"},
         "Writes a typed parameter of a program (ScriviParametro).",
         "TIPO is Integer, Long, Single, Double, String or Boolean; VALORE must be one: a\n"
         "number with a point for decimals, True or False, a text of at most 255 characters.",
         writeValue,
         "ScriviParametro"},
        {{"percorso", "scrivi"},
         {{"NOME"}, {"PERCORSO", Complete::Folder}},
         {"macchina", "dipendenti"},
         "Moves one of the suite's folders to PERCORSO, an existing folder, as the folder editor does.",
         "The folders of the machine (Wincor, Immagini, Utensili, ...) are every user's and need\n"
         "--macchina, which only an operator of the suite may give; the others are the user's own.",
         writeFolder},
        {{"percorso"},
         {{"NOME"}},
         {"json"},
         "Prints the current location of one of the suite's folders (Percorso).",
         "NOME as the programs give it: \"DXF\", \"PercorsoDxf\" and \" dxf \" are one folder.",
         showFolder,
         nullptr,
         true},
        {{"percorsi"},
         {},
         {"tutti", "json"},
         "Lists the folders: name, default as declared, location, reference, source of the location.",
         "",
         listFolders,
         nullptr,
         true},
        {{"traduci"},
         {{"TESTO"}},
         {"lingua", "json"},
         "Translates an Italian wording into the current language (Traduci).",
         "",
         translate,
         nullptr,
         true},
        {{"chiave"},
         {{"PROGRAMMA"}, {"PROGRESSIVO"}},
         {"lingua", "json"},
         "Prints the text with this key in the current language (TraduciChiave).",
         "",
         translateKey,
         nullptr,
         true},
        {{"lingua"},
         {{"[N|CODICE]", Complete::Words, kLanguageNumbers}},
         {"json"},
         "Prints the current language, or makes N or CODICE (\"de\", \"pt-BR\") the user's language.",
         "",
         language,
         "Lingua",
         false,
         languageList},
        {{"misure"},
         {},
         {"lingua", "file", "json"},
         "Prints the units of measure and the currency of the current language, decoded.",
         "",
         units,
         nullptr,
         true},
        {{"informazioni"},
         {},
         {"lingua", "json"},
         "Prints what support asks for: versions, machine, store, installation, texts, folders.",
         "The system information of the about window (InformazioniSistema), as text to read\n"
         "out on the telephone or to paste into a mail.",
         systemInformation,
         "InformazioniSistema",
         true},
        {{"registro", "elenca"},
         {kKey},
         {"ricorsivo", "json"},
         "Lists the values and subkeys of a registry key, one per line.",
         "CHIAVE starts with its hive: HKEY_CURRENT_USER (HKCU), HKEY_LOCAL_MACHINE (HKLM) or\n"
         "HKEY_CLASSES_ROOT (HKCR). Each line is a name (\"@\" the unnamed value), a tab, the\n"
         "registry type, a tab and the contents decoded; a subkey is its name with a trailing\n"
         "backslash. Values come first, then subkeys, each ordered by name without regard to case.",
         listKey,
         nullptr,
         true},
        {{"registro", "elimina"},
         {kKey, {"[NOME]"}},
         {"si"},
         "Deletes a registry value, or a key with all its subkeys and values.",
         "Asks for confirmation on the terminal; a deleted key is gone as a whole or not at all.",
         deleteFromRegistry},
        {{"registro", "osserva"},
         {kKey},
         {"ricorsivo"},
         "Prints each key below which a value or key changes, as it happens, until interrupted.",
         "One line per changed key, whichever program made the change. Nothing runs while\n"
         "nothing changes: the store wakes the command.",
         watchRegistry,
         nullptr,
         true},
        {{"registro", "esporta"},
         {kKey, {"FILE.reg", Complete::File}},
         {"regedit4"},
         "Writes a registry key, its values and all its subkeys to a file for regedit.",
         "CHIAVE starts with its hive: HKEY_CURRENT_USER (HKCU), HKEY_LOCAL_MACHINE (HKLM) or\n"
         "HKEY_CLASSES_ROOT (HKCR), e.g. HKEY_CURRENT_USER\\SOFTWARE\\Corvel. The file is\n"
         "\"Windows Registry Editor Version 5.00\", UTF-16LE with CR LF, as regedit writes it;\n"
         "\"-\" writes it to standard output.",
         exportRegistry},
        {{"registro", "importa"},
         {{"FILE.reg", Complete::File}},
         {"per-alveare"},
         "Reads a regedit file (version 5.00 or REGEDIT4) into the registry store.",
         "Strings, dword, hex and hex(N) values; \"NAME\"=- removes a value and [-KEY] a key with\n"
         "all below it. A file with a fault is refused with its line number and nothing of it\n"
         "is imported. \"-\" reads the file from standard input. A file that writes several hives\n"
         "is refused, as they cannot be imported all or nothing together, unless --per-alveare.",
         importRegistry},
        {{"negozio", "crea"},
         {{"CONNESSIONE"}},
         {},
         "Prepares the shop's database on its PostgreSQL server: the tables and the roles.",
         "CONNESSIONE is a service of pg_service.conf or a libpq connection string, such as\n"
         "\"host=server dbname=paramcor\"; its role must be able to create tables and roles.\n"
         "Operators' roles then need paramcor_operators, which may write; everyone else's\n"
         "paramcor_readers.",
         createShop},
        {{"negozio", "collega"},
         {{"CONNESSIONE"}},
         {},
         "Makes this station one of the shop's: its machine settings are the server's from now on.",
         "Checks the server and writes negozio.conf beside the installation file, never over\n"
         "one that is there. The first station of a shop whose server holds no machine\n"
         "settings uploads its own, all or nothing.",
         joinShop},
        {{"negozio", "stato"},
         {},
         {},
         "Prints the shop's server, whether it answers, and this station's copy of its settings.",
         "Exit code 3 when the station belongs to no shop, 1 when the server does not answer.",
         shopStatus,
         nullptr,
         true},
        {{"testi", "esporta"},
         {{"FILE.po", Complete::File}},
         {"lingua", "modello", "file"},
         "Writes the texts of one language as a gettext PO file for translators' tools.",
         "msgctxt is the key \"Programma|Progressivo\", msgid the Italian wording, msgstr the\n"
         "translation (empty when there is none). The unit rows (PARAM) are left out.",
         exportTexts},
        {{"testi", "importa"},
         {{"FILE.po", Complete::File}},
         {"lingua", "file"},
         "Reads the translations of a PO file into the text database, all or nothing.",
         "Each translated, not fuzzy entry replaces the language column of the row with its\n"
         "key, when the row still has the entry's Italian wording; the number of rows changed\n"
         "is printed. In the user's database the rows are marked as corrected by the customer,\n"
         "so that later deliveries keep them.",
         importTexts},
        {{"testi", "crea"},
         {kFile},
         {},
         "Creates a new, empty text database, for preparing delivered files.",
         "",
         createTexts},
    };
    return table;
}

const Option* findOption(const QString& name) {
    for (const Option& option : options())
        if (name == QLatin1String(option.name))
            return &option;
    return nullptr;
}

const Option* findLetter(QChar letter) {
    for (const Option& option : options())
        if (option.letter != 0 && letter == QLatin1Char(option.letter))
            return &option;
    return nullptr;
}

QStringList groups() {
    QStringList names;
    // "percorso scrivi" stands beside "percorso NOME" without making "percorso" a group.
    QStringList single;
    for (const Command& command : commands())
        if (command.name.size() == 1)
            single << command.name.first();
    for (const Command& command : commands())
        if (command.name.size() > 1 && !names.contains(command.name.first()) && !single.contains(command.name.first()))
            names << command.name.first();
    return names;
}

QString Command::operandLine() const {
    QStringList names;
    for (const Operand& operand : operands)
        names << QLatin1String(operand.name);
    return names.join(u' ');
}

int Command::minOperands() const {
    int count = 0;
    for (const Operand& operand : operands)
        if (operand.name[0] != '[')
            ++count;
    return count;
}

int Command::maxOperands() const {
    return static_cast<int>(operands.size());
}

}  // namespace paramcor::tool
