// The suite's languages: the number that "Lingua" stores and that picks the text
// database's column Testo_NN, with the names and codes the rest of the world knows
// them by. The language window, the PO files for translators and Qt's own texts
// all take them from here.
//
//     const paramcor::LanguageInfo* german = paramcor::languageInfo(3);
//     german->ownName;  // "Deutsch"
//     german->code;     // "de"
#pragma once

#include <CVLParamcor/Export.h>

#include <QList>
#include <QString>

namespace paramcor {

/// A language column of the text database and what the suite knows of its language.
struct LanguageInfo {
    short number;         ///< 1 Italian (the wording programs pass), 2 English ...
    QString ownName;      ///< as its speakers write it: "Deutsch"; empty when unnamed
    QString englishName;  ///< "German"; empty when unnamed
    QString code;         ///< BCP 47 and gettext's Language: "de"; empty when unnamed
    QString qtLocale;     ///< the locale of Qt's own texts (standard buttons): "de_DE"
};

/// The languages the language window offers, 1 to 12.
constexpr short kOfferedLanguages = 12;
/// The language columns of the text database, 1 to 15. Those above the offered ones
/// have no name: their number is all the suite knows of them.
constexpr short kLanguageColumns = 15;

/// Every language column, 1 to 15, in order.
CVLPARAMCOR_EXPORT const QList<LanguageInfo>& languages();

/// Language `number`, or nullptr outside 1 to 15.
CVLPARAMCOR_EXPORT const LanguageInfo* languageInfo(int number);

/// The number of the named language whose code is the language part of `code`
/// ("de", "de_CH", "pt-BR", "sr@latin" ...), without regard to case; 0 for none.
CVLPARAMCOR_EXPORT short languageOfCode(const QString& code);

}  // namespace paramcor
