// A client program of the suite, started several times at once by the tests:
// param_writer STORE_FOLDER INSTALLATION_FOLDER WRITER_NUMBER. Exits 0 when no message was
// shown; the test reads the values back.
#include "HelperPlatform.h"
#include "WritePlan.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: param_writer STORE_FOLDER INSTALLATION_FOLDER WRITER_NUMBER\n");
        return 2;
    }
    const int writer = std::atoi(argv[3]);
    const auto messages = paramcor::test::installHelperPlatform(argv[1], argv[2]);

    paramcor::Parametri par;
    par.CurrentUser();
    for (int i = 0; i < paramcor::test::kValuesPerWriter; ++i) {
        const auto v = paramcor::test::plannedValue(writer, i);
        par.Programma(v.program);
        par.Sezione(v.section);
        par.ScriviParametro(v.name, v.value);
    }
    return paramcor::test::messagesShown(*messages, true) == 0 ? 0 : 1;
}
