#include "texts/LanguageChoice.h"

#include <QDir>

namespace paramcor::texts {

LanguageChoice::LanguageChoice(short current, const QString& textsFolder)
    : current_(current), chosen_(current == 0 ? short(1) : current), folder_(textsFolder) {}

bool LanguageChoice::installed(int language) const {
    return !QDir(folder_ + QString::number(language)).entryList(QDir::Files).isEmpty();
}

}  // namespace paramcor::texts
