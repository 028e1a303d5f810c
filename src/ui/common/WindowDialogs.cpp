#include "ui/common/WindowDialogs.h"

#include "ui/folders/FormPercorsi.h"
#include "ui/info/FormInformazioni.h"
#include "ui/info/FormVersioni.h"
#include "ui/texts/FormLingua.h"
#include "ui/texts/FormTesto.h"
#include "ui/common/QtTexts.h"

namespace paramcor::ui {

bool WindowDialogs::chooseLanguage(Parametri& owner, short& language) {
    showQtTextsInLanguage();
    FormLingua form(owner, language);
    form.run();
    if (!form.changed())
        return false;
    language = form.chosen();
    return true;
}

void WindowDialogs::correctTexts(Parametri& owner) {
    showQtTextsInLanguage();
    FormTesto form(owner);
    form.run();
}

bool WindowDialogs::editFolders(Parametri& owner, const QString& filter) {
    showQtTextsInLanguage();
    FormPercorsi form(owner, filter);
    form.run();
    return form.changed();
}

void WindowDialogs::languageChanged(short language) {
    followLanguage(language);
}

void WindowDialogs::showInformation(Parametri& owner, const QString& program, const QString& version) {
    FormInformazioni form(owner, program, version);
    form.run();
}

void WindowDialogs::showVersions(Parametri& owner) {
    FormVersioni form(owner);
    form.run();
}

}  // namespace paramcor::ui
