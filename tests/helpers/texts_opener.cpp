// A program of the suite starting up:
//
//     texts_opener INSTALLATION_FOLDER STORE_FOLDER [lingua N | correggi PROGRESSIVO LINGUA TESTO]
//
// Creates a Parametri object, which consumes a delivered text database, then
// chooses a language or corrects one text (program TAGLIO) as a user would, and
// exits 0 when no message but a notice (such as waiting for another program's
// delivery) was shown.
#include "HelperPlatform.h"

#include <CVLParamcor/Parametri.h>

#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: texts_opener INSTALLATION_FOLDER STORE_FOLDER [lingua N | correggi ...]\n");
        return 2;
    }
    const auto messages = paramcor::test::installHelperPlatform(argv[2], argv[1]);
    const QString library = QString::fromLocal8Bit(argv[1]);
    paramcor::Parametri par;
    const QString action = argc > 3 ? QString::fromLocal8Bit(argv[3]) : QString();
    if (action == "lingua" && argc == 5) {
        par.Lingua(static_cast<short>(std::atoi(argv[4])));
    } else if (action == "correggi" && argc == 7) {
        paramcor::SqlDatabase db(library + "/CvlTradU.mdb", paramcor::SqlDatabase::Mode::ReadWrite);
        const QString column = paramcor::texts::languageColumn(std::atoi(argv[5]));
        db.prepare(("UPDATE Testi SET " + column +
                    " = ?1, ModificatoDalCliente = 1 WHERE Programma = 'TAGLIO' AND "
                    "Progressivo = ?2")
                       .toUtf8())
            .bind(1, QString::fromUtf8(argv[6]))
            .bind(2, QString::fromLocal8Bit(argv[4]))
            .run();
    } else if (!action.isEmpty()) {
        std::fprintf(stderr, "texts_opener: unknown action\n");
        return 2;
    }
    return paramcor::test::messagesShown(*messages, false) == 0 ? 0 : 1;
}
