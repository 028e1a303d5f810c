#include <CVLParamcor/Platform.h>

namespace paramcor {

bool Dialogs::chooseLanguage(Parametri&, short&) {
    reportNoWindow(QStringLiteral("language"));
    return false;
}

void Dialogs::correctTexts(Parametri&) {
    reportNoWindow(QStringLiteral("text correction"));
}

bool Dialogs::editFolders(Parametri&, const QString&) {
    reportNoWindow(QStringLiteral("folder editor"));
    return false;
}

void Dialogs::reportNoWindow(const QString& what) {
    platform().messages->show(QStringLiteral("No dialog is available: the %1 window cannot be shown "
                                             "by a program without windows.")
                                  .arg(what),
                              mb::Information, QString());
}

std::shared_ptr<Dialogs> headlessDialogs() {
    return std::make_shared<Dialogs>();
}

}  // namespace paramcor
