// The one table of paramcor's commands and options. The parser, --help, the manual
// page (made from --help) and the bash completion are all read from it; adding a
// command is adding a row.
#pragma once

#include "Arguments.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace paramcor::tool {

class Session;

// What the shell offers for a word: nothing, a file, a folder, or fixed words.
enum class Complete { Nothing, File, Folder, Words };

struct Option {
    const char* name;       // "lingua", given as --lingua
    char letter;            // 'r' for -r; 0: none
    const char* valueName;  // "N"; null: a flag
    const char* help;       // one line, English; the help translates it
    Complete complete = Complete::Nothing;
    const char* words = "";  // for Complete::Words
};

struct Operand {
    const char* name;  // "PROGRAMMA"; "[DEFAULT]" is optional
    Complete complete = Complete::Nothing;
    const char* words = "";
};

using CommandFunction = int (*)(Session& session, const Arguments& arguments, const QStringList& operands);

struct Command {
    QStringList name;         // {"valore", "leggi"}
    QList<Operand> operands;  // optional ones last, in brackets
    QStringList options;      // names from options(); besides those of every command
    const char* summary;      // one line for the overview
    const char* details;      // the rest of its --help, English; may be empty
    CommandFunction run;
    const char* member = nullptr;     // the member of Parametri it runs, whose help string --help shows
    bool reads = false;               // only reads: it writes nothing anywhere
    QString (*moreHelp)() = nullptr;  // help made when it is shown (the languages' names)

    QString operandLine() const;  // "PROGRAMMA NOME [TIPO]"
    int minOperands() const;
    int maxOperands() const;
};

// Every option any command takes.
const QList<Option>& options();
const Option* findOption(const QString& name);
const Option* findLetter(QChar letter);

// The options every command takes (--registro, --installazione, --attesa, --help).
const QStringList& commonOptions();
// The options that stand alone, without a command (--help, --version).
const QStringList& globalOptions();

// Every command, in the order of the overview.
const QList<Command>& commands();

// The first words that group commands ("valore", "registro", "testi").
QStringList groups();

}  // namespace paramcor::tool
