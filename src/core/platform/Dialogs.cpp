#include <CVLParamcor/Platform.h>

#include "platform/RegisteredWindows.h"

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

void Dialogs::languageChanged(short) {}

void Dialogs::showInformation(Parametri&, const QString&, const QString&) {
    reportNoWindow(QStringLiteral("information"));
}

void Dialogs::showVersions(Parametri&) {
    reportNoWindow(QStringLiteral("versions"));
}

void Dialogs::reportNoWindow(const QString& what) {
    platform().messages->show(QStringLiteral("No dialog is available: the %1 window cannot be shown "
                                             "by a program without windows.")
                                  .arg(what),
                              mb::Information, QString());
}

namespace {

// The registered windows when the program can show them, the headless answers
// otherwise; chosen at each call like the message boxes.
class FollowingDialogs final : public Dialogs {
public:
    bool chooseLanguage(Parametri& owner, short& language) override {
        if (const auto windows = usableWindows().dialogs)
            return windows->chooseLanguage(owner, language);
        return Dialogs::chooseLanguage(owner, language);
    }
    void correctTexts(Parametri& owner) override {
        if (const auto windows = usableWindows().dialogs)
            return windows->correctTexts(owner);
        Dialogs::correctTexts(owner);
    }
    bool editFolders(Parametri& owner, const QString& filter) override {
        if (const auto windows = usableWindows().dialogs)
            return windows->editFolders(owner, filter);
        return Dialogs::editFolders(owner, filter);
    }
    // Told even while no window can be shown, so that the first one is in the language.
    void languageChanged(short language) override {
        if (const auto windows = registeredDialogs())
            windows->languageChanged(language);
    }
    void showInformation(Parametri& owner, const QString& program, const QString& version) override {
        if (const auto windows = usableWindows().dialogs)
            return windows->showInformation(owner, program, version);
        Dialogs::showInformation(owner, program, version);
    }
    void showVersions(Parametri& owner) override {
        if (const auto windows = usableWindows().dialogs)
            return windows->showVersions(owner);
        Dialogs::showVersions(owner);
    }
};

}  // namespace

std::shared_ptr<Dialogs> followingDialogs() {
    return std::make_shared<FollowingDialogs>();
}

std::shared_ptr<Dialogs> headlessDialogs() {
    return std::make_shared<Dialogs>();
}

}  // namespace paramcor
