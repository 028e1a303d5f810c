// informazioni: what the about window lists for support, as text for the telephone.
#include "Commands.h"
#include "Session.h"
#include "TextFile.h"
#include "Wording.h"

#include <QJsonArray>
#include <QJsonObject>

namespace paramcor::tool {
namespace {

// The text as sections of captions and values, in their order: "[Title]" opens a
// section, "caption: value" is a line of it.
QJsonArray sectionsOf(const QString& text) {
    QJsonArray sections;
    QJsonObject section;
    QJsonArray lines;
    const auto close = [&] {
        if (section.isEmpty())
            return;
        section.insert(QStringLiteral("voci"), lines);
        sections.append(section);
        section = {};
        lines = {};
    };
    for (const QString& line : text.split(u'\n', Qt::SkipEmptyParts)) {
        if (line.startsWith(u'[') && line.endsWith(u']')) {
            close();
            section.insert(QStringLiteral("titolo"), line.mid(1, line.size() - 2));
            continue;
        }
        const qsizetype colon = line.indexOf(QLatin1String(": "));
        lines.append(QJsonObject{{QStringLiteral("voce"), line.left(colon)},
                                 {QStringLiteral("valore"), colon < 0 ? QString() : line.mid(colon + 2)}});
    }
    close();
    return sections;
}

}  // namespace

int systemInformation(Session& session, const Arguments& arguments, const QStringList&) {
    if (arguments.has(QStringLiteral("lingua")))
        session.overrideLanguage(static_cast<short>(
            parseNumber(arguments.value(QStringLiteral("lingua")), 1, kLanguages, QStringLiteral("--lingua"))));
    Parametri& par = session.parametri();
    const int mark = session.errors();
    QString text = par.InformazioniSistema();
    session.throwIfReportedSince(mark);
    // Where the machine settings are: this station's own file, or the shop's server.
    if (!text.isEmpty() && !text.endsWith(u'\n'))
        text += u'\n';
    text += QStringLiteral("[%1]\n%2: %3\n")
                .arg(tr(QStringLiteral("Registry")), tr(QStringLiteral("Machine settings")),
                     QString::fromStdString(session.baseStore().location(Hive::LocalMachine)));
    if (arguments.has(QStringLiteral("json"))) {
        printJson(sectionsOf(text));
        return 0;
    }
    if (text.endsWith(u'\n'))
        text.chop(1);
    printLine(text);
    return 0;
}

}  // namespace paramcor::tool
