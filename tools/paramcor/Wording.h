// The tool speaks the user's language, as the windows of the suite do: each of
// its texts is a row of the text database (program "PARAMCOR") whose English
// column is the text as the code writes it. The row's Italian wording goes through
// Traduci in the language of --lingua or the stored one; a text the database
// lacks, or has not translated into that language, is said in English.
//
// The texts are the running library's: the tool never starts it for them alone,
// except for its help. What is said before a command has started it (a command
// line that is wrong, which must touch nothing) or by a command that leaves it
// alone (the registry files, a named text database) is English.
#pragma once

#include <QString>

namespace paramcor::tool {

class Session;

// The text `english` in the user's language.
QString tr(const QString& english);

// The run whose library and text database the texts come from; null: English.
void setTextSource(Session* session);

}  // namespace paramcor::tool
