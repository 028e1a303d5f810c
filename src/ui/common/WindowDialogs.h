// The library's windows, for programs that have a QApplication.
#pragma once

#include <CVLParamcor/Platform.h>

namespace paramcor::ui {

class WindowDialogs final : public Dialogs {
public:
    // The language window. A failure of the units window opened from it reaches
    // the caller.
    bool chooseLanguage(Parametri& owner, short& language) override;
    // The text correction window. Its database errors reach the caller.
    void correctTexts(Parametri& owner) override;
    // The folder editor; true when confirming it wrote at least one folder.
    bool editFolders(Parametri& owner, const QString& filter) override;
    // Qt's own texts follow the language.
    void languageChanged(short language) override;
    void showInformation(Parametri& owner, const QString& program, const QString& version) override;
    void showVersions(Parametri& owner) override;
};

}  // namespace paramcor::ui
