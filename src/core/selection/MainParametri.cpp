#include "selection/MainParametri.h"

#include "platform/PlatformReplaced.h"

#include <CVLParamcor/Platform.h>

#include <stdexcept>
#include <string>

namespace paramcor {

MainParametri& MainParametri::instance() {
    static MainParametri& state = []() -> MainParametri& {
        static MainParametri selection;
        // A new platform starts from a fresh selection; a key left open is closed on
        // the store it was opened on.
        whenPlatformReplaced([] { selection.reset(); });
        return selection;
    }();
    return state;
}

void MainParametri::reset() {
    closeSelectedKey();
    *this = MainParametri();
}

void MainParametri::setProgram(const QString& program) {
    program_ = program;
    section_.clear();
    noMakerRoot_ = false;
}

void MainParametri::selectHive(Hive hive, bool noMakerRoot) {
    hive_ = hive;
    program_.clear();
    section_.clear();
    noMakerRoot_ = noMakerRoot;
}

void MainParametri::restore(Hive hive, const QString& program, const QString& section) {
    hive_ = hive;
    program_ = program;
    section_ = section;
}

void MainParametri::Push() {
    ++depth_;
    if (depth_ >= kStackLimit) {
        platform().messages->show(QStringLiteral("ERROR! Push without Pop somewhere"), mb::Critical,
                                  QStringLiteral("CvlParamcor"));
        return;
    }
    savedHives_[depth_] = hive_;
    savedPrograms_[depth_] = program_;
    savedSections_[depth_] = section_;
}

void MainParametri::Pop() {
    if (depth_ <= 0)
        return;
    if (depth_ >= kStackSlots)
        throw std::out_of_range("Pop: stack depth " + std::to_string(depth_) + " is beyond the last slot");
    hive_ = savedHives_[depth_];
    program_ = savedPrograms_[depth_];
    section_ = savedSections_[depth_];
    --depth_;
}

void MainParametri::unwind() {
    if (depth_ >= kStackSlots)
        depth_ = kStackSlots - 1;
    while (depth_ >= 1)
        Pop();
}

QString MainParametri::ComposeKeyPath() const {
    const QString base = noMakerRoot_ ? QString() : QStringLiteral("SOFTWARE") + registryRoot_;
    QString path;
    if (!program_.isEmpty())
        path = base + u'\\' + program_;
    else if (!base.isEmpty())
        path = base;
    else
        return section_;
    if (!section_.isEmpty())
        path += u'\\' + section_;
    return path;
}

const std::string& MainParametri::nativeKeyPath() const {
    ComposedPath& c = composed_;
    if (!c.valid || c.noMakerRoot != noMakerRoot_ || c.program != program_ || c.section != section_ ||
        c.registryRoot != registryRoot_) {
        c = {registryRoot_, program_, section_, noMakerRoot_, true, ComposeKeyPath().toStdString()};
    }
    return c.path;
}

std::string nativeName(const QString& name) {
    std::string native(static_cast<std::size_t>(name.size()), '\0');
    for (qsizetype i = 0; i < name.size(); ++i) {
        const char16_t unit = name[i].unicode();
        if (unit >= 0x80)
            return name.toStdString();
        native[static_cast<std::size_t>(i)] = static_cast<char>(unit);
    }
    return native;
}

void MainParametri::openSelectedKey() {
    closeSelectedKey();
    const std::string& nativePath = nativeKeyPath();
    RegistryStore& store = *platform().registry;
    const long created = store.createKey(hive_, nativePath, &openKey_);
    if (created != regerr::Success) {
        // A store we may not write (the machine's, for a user) can still be read.
        openKey_ = 0;
        const long result = store.openKey(hive_, nativePath, &openKey_);
        if (result != regerr::Success)
            openKey_ = 0;
        ReportApiError(result, QStringLiteral("RegOpenKeyEx"));
        // A key that is not there where we may not make it (the machine's, for a
        // user outside the operators) is told like any other, but the store works.
        if (openKey_ == 0 && !(created == regerr::AccessDenied && result == regerr::FileNotFound))
            ++storeFailures_;
    } else if (openKey_ == 0) {
        ++storeFailures_;
    }
    if (openKey_ == 0) {
        message(QStringLiteral("Error opening key ") + ComposeKeyPath(), mb::OkOnly);
        reportStoreProblem(store);
    }
}

// The system's message names no file and no cause. Where the store can say which
// file failed and why, the user hears it once per process, not at every access.
void MainParametri::reportStoreProblem(RegistryStore& store) {
    const std::string problem = store.diagnostic(hive_);
    if (problem.empty() || !storeProblemsTold_.insert(problem).second)
        return;
    message(QStringLiteral("ERROR! ") + QString::fromStdString(problem), mb::Critical);
}

void MainParametri::closeSelectedKey() {
    if (openKey_ == 0)
        return;
    const long result = platform().registry->closeKey(openKey_);
    ReportApiError(result, QStringLiteral("RegCloseKey"));
    openKey_ = 0;
}

bool MainParametri::ReportApiError(long code, const QString& call) const {
    if (reportErrors_ && code != regerr::Success)
        message(
            QStringLiteral("ERROR ") + QString::number(code) + QStringLiteral(" in ") + call + u'\n' + ComposeKeyPath(),
            mb::Critical);
    return false;
}

void MainParametri::message(const QString& text, int flags) {
    platform().messages->show(text, flags, QString());
}

}  // namespace paramcor
