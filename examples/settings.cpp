// settings [STORE_FOLDER]: a program's settings, read with a default on the first
// run and written back. Without a folder it uses the workstation's own store.
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc == 2) {
        // Tests and tools keep their hives elsewhere by replacing the store.
        paramcor::Platform platform;
        platform.registry = std::make_shared<paramcor::SqliteRegistryStore>(argv[1]);
        paramcor::installPlatform(platform);
    }
    paramcor::Parametri par;
    par.CurrentUser();
    par.Programma("Esempio");
    par.Sezione("Taglio");

    // The default's type is the value's type: Long, not a bare int.
    const int runs = par.LeggiParametro("Avvii", paramcor::Long(0)).toInt() + 1;
    par.ScriviParametro("Avvii", paramcor::Long(runs));
    const QString last = par.LeggiParametroStringa("UltimoFile", "nessuno");
    par.ScriviParametroStringa("UltimoFile", "lastra.dxf");

    // Another program's settings, looked at without losing this selection.
    par.Push();
    par.Programma("Altro");
    const float thickness = par.LeggiParametro("Spessore", paramcor::Single(20.0f)).toFloat();
    par.Pop();

    std::printf("run %d, last file %s, other program's thickness %g, back in %s\n", runs,
                qPrintable(last), thickness, qPrintable(par.Programma()));
    return 0;
}
