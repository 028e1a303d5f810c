#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <cstdio>

// client [STORE_FOLDER]: writes a value and prints what it reads back. Without a
// folder it runs as a program of an installed workstation does, on the default
// store, and registers its document type with the desktop.
int main(int argc, char** argv) {
    if (argc > 2)
        return 2;
    if (argc == 2) {
        paramcor::Platform platform;
        platform.registry = std::make_shared<paramcor::SqliteRegistryStore>(argv[1]);
        paramcor::installPlatform(platform);
    }
    paramcor::Parametri par;
    if (argc == 1)
        par.RegistraDocumento(".cvlprova", "CVLParamcor.Prova", "/usr/bin/paramcor", 0);
    par.CurrentUser();
    par.Programma("Client");
    par.ScriviParametro("Valore", paramcor::Long(42));
    std::printf("%d\n", par.LeggiParametro("Valore", paramcor::Long(0)).toInt());
    return 0;
}
