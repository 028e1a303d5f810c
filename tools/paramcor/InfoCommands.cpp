// informazioni: what the about window lists for support, as text for the telephone.
#include "Commands.h"
#include "Session.h"
#include "TextFile.h"

namespace paramcor::tool {

int systemInformation(Session& session, const Arguments& arguments, const QStringList&) {
    if (arguments.has(QStringLiteral("lingua")))
        session.overrideLanguage(static_cast<short>(
            parseNumber(arguments.value(QStringLiteral("lingua")), 1, kLanguages, QStringLiteral("--lingua"))));
    Parametri& par = session.parametri();
    const int mark = session.errors();
    QString text = par.InformazioniSistema();
    session.throwIfReportedSince(mark);
    if (text.endsWith(u'\n'))
        text.chop(1);
    printLine(text);
    return 0;
}

}  // namespace paramcor::tool
