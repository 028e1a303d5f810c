// --help, made from the command table in the user's language. help2man makes the
// manual page from it, so the overview also carries the exit codes.
#pragma once

#include "CommandTable.h"

namespace paramcor::tool {

// The overview of every command, or of those of one group ("registro").
void printOverview(const QString& group = QString());
void printCommandHelp(const Command& command);

}  // namespace paramcor::tool
