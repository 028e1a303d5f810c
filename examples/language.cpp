// language [STORE_FOLDER]: the suite's wordings in the user's language, and the
// program following the language when another program changes it.
#include <CVLParamcor/Languages.h>
#include <CVLParamcor/OsservatoreRegistro.h>
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc == 2) {
        paramcor::Platform platform;
        platform.registry = std::make_shared<paramcor::SqliteRegistryStore>(argv[1]);
        paramcor::installPlatform(platform);
    }
    paramcor::Parametri par;
    par.CurrentUser();
    par.Programma("Esempio");

    // Programs pass the Italian wording and show what comes back.
    for (short language = 1; language <= 3; ++language) {
        par.Lingua(language);
        std::printf("%s: %s\n", qPrintable(paramcor::languageInfo(language)->ownName),
                    qPrintable(par.Traduci("Annulla")));
    }

    // The language is the user's, shared by every program: when it changes, the
    // program shows its texts again.
    paramcor::OsservatoreRegistro watcher;
    watcher.Osserva(paramcor::Hive::CurrentUser, par.RadReg(), true);
    QObject::connect(&watcher, &paramcor::OsservatoreRegistro::Cambiata, [&] {
        const short language = par.Lingua();  // read again: the texts follow it
        std::printf("now in %s: %s\n", qPrintable(paramcor::languageInfo(language)->ownName),
                    qPrintable(par.Traduci("Annulla")));
        app.quit();
    });
    // Here this program plays the other one.
    QTimer::singleShot(0, [] {
        paramcor::Parametri other;
        other.Lingua(2);
    });
    QTimer::singleShot(10000, [&] { app.exit(1); });
    return app.exec();
}
