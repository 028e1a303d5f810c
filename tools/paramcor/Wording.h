// The tool speaks the user's language, as the windows of the suite do: each of
// its texts is a row of the text database (program "PARAMCOR") whose English
// column is the text as the code writes it. The row's Italian wording goes through
// Traduci in the language of --lingua or the stored one; a text the database
// lacks, or has not translated into that language, is said in English.
//
// What is said before a command has started the library (a command line that is
// wrong, which must touch nothing) or by a command that leaves it alone (the
// registry files, a named text database) is English.
#pragma once

#include <QString>

namespace paramcor::tool {

// Where the texts come from: the English text in the user's language, or an
// empty string when there is no translation (yet).
class TextSource {
public:
    virtual ~TextSource() = default;
    virtual QString translate(const QString& english) = 0;
};

// The text `english` in the user's language.
QString tr(const QString& english);

// The source of the texts while it lasts; null: English.
void setTextSource(TextSource* source);

}  // namespace paramcor::tool
