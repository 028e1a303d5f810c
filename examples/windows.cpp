// windows [--close [STORE_FOLDER]]: the library's windows in a program with a user
// interface. The program calls nothing of CVLParamcorUi: linking it installs the
// message boxes and windows, which Parametri then opens. With --close each window
// closes by itself after a moment, as in CI (QT_QPA_PLATFORM=offscreen).
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const bool close = argc >= 2 && std::strcmp(argv[1], "--close") == 0;
    if (close && argc == 3) {
        paramcor::Platform platform;
        platform.registry = std::make_shared<paramcor::SqliteRegistryStore>(argv[2]);
        paramcor::installPlatform(platform);
    }
    QTimer closer;
    if (close) {
        QObject::connect(&closer, &QTimer::timeout, [] {
            if (QWidget* window = QApplication::activeModalWidget())
                window->close();
        });
        closer.start(300);
    }

    paramcor::Parametri par;
    par.CurrentUser();
    par.Programma("Esempio");
    par.Versioni();                                     // the suite's and the library's versions
    par.Informazioni("Esempio", "1.0");                 // about, with the supplier and support
    const bool changed = par.CambiaPercorsi("DXF");     // the folder editor on one folder
    std::printf("folders changed: %s\n", changed ? "yes" : "no");
    return 0;
}
