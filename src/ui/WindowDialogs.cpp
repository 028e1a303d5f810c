#include "ui/WindowDialogs.h"

#include "texts/ui/FormLingua.h"

namespace paramcor::ui {

bool WindowDialogs::chooseLanguage(Parametri& owner, short& language) {
    FormLingua form(owner, language);
    form.run();
    if (!form.changed())
        return false;
    language = form.chosen();
    return true;
}

}  // namespace paramcor::ui
