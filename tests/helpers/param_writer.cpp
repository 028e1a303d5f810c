// A client program of the suite, started several times at once by the tests:
// param_writer STORE_FOLDER INSTALLATION_FOLDER WRITER_NUMBER. Exits 0 when every value it wrote
// reads back as written and no message was shown.
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
    int wrong = 0;
    for (int i = 0; i < paramcor::test::kValuesPerWriter; ++i) {
        const auto v = paramcor::test::plannedValue(writer, i);
        par.Programma(v.program);
        par.Sezione(v.section);
        const QVariant read = par.LeggiParametro(v.name, paramcor::test::plannedValue(writer + 1, i).value);
        const QVariant expected = paramcor::test::expectedRead(v.value);
        if (read.metaType() != expected.metaType() || read != expected) {
            if (++wrong <= 5)
                std::fprintf(stderr, "writer %d: %s read %s\n", writer, qUtf8Printable(v.name),
                             qUtf8Printable(read.toString()));
        }
    }
    return wrong == 0 && paramcor::test::messagesShown(*messages, true) == 0 ? 0 : 1;
}
