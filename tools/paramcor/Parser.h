// Reads a command line against the command table, once: what to run, with which
// options and operands, or a UsageError that says what is wrong.
#pragma once

#include "Arguments.h"
#include "CommandTable.h"

namespace paramcor::tool {

struct ParsedLine {
    const Command* command = nullptr;  // null: --help or --version alone, or a group's help
    QString group;                     // "registro" for "paramcor registro --help"
    Arguments arguments;
    QStringList operands;
    bool help = false;
    bool version = false;
};

// Options start with "--", take their value from the next word or after "=", and
// may stand anywhere; one-letter options may be combined ("-rj"); "--" ends them,
// so that a word starting with "-" can still be given. "-5" is a word.
ParsedLine parseCommandLine(const QStringList& arguments);

}  // namespace paramcor::tool
