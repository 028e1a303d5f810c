#include "ui/common/QtTexts.h"

#include <CVLParamcor/Languages.h>

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QThread>
#include <QTranslator>

#include <atomic>
#include <memory>

namespace paramcor::ui {
namespace {

std::atomic<short> wanted{0};

bool onApplicationThread() {
    const QCoreApplication* application = QCoreApplication::instance();
    return application != nullptr && application->thread() == QThread::currentThread();
}

}  // namespace

void followLanguage(short language) {
    wanted = language;
    if (onApplicationThread())
        showQtTextsInLanguage();
}

void showQtTextsInLanguage() {
    // Touched on the application's thread only.
    static short installed = 0;
    static std::unique_ptr<QTranslator> translator;
    const short language = wanted;
    if (language == installed || !onApplicationThread())
        return;
    installed = language;
    if (translator) {
        QCoreApplication::removeTranslator(translator.get());
        translator.reset();
    }
    // A language Qt has no translation for (or none installed) keeps Qt's English.
    const LanguageInfo* info = languageInfo(language);
    if (!info || info->qtLocale.isEmpty())
        return;
    auto loaded = std::make_unique<QTranslator>();
    if (loaded->load(QLocale(info->qtLocale), QStringLiteral("qtbase"), QStringLiteral("_"),
                     QLibraryInfo::path(QLibraryInfo::TranslationsPath)) &&
        QCoreApplication::installTranslator(loaded.get()))
        translator = std::move(loaded);
}

}  // namespace paramcor::ui
