// informazioni: what the about window lists for support, as text for the telephone.
#include "Commands.h"
#include "Session.h"
#include "TextFile.h"
#include "Wording.h"

#include <QJsonArray>
#include <QJsonObject>

namespace paramcor::tool {
namespace {

constexpr short kEnglish = 2;

// "Operating system" -> "operating_system": a key scripts can rely on.
QString keyOf(const QString& english) {
    QString key;
    for (const QChar c : english.toLower()) {
        if (c.isLetterOrNumber() && c.unicode() < 128)
            key += c;
        else if (!key.isEmpty() && !key.endsWith(u'_'))
            key += u'_';
    }
    while (key.endsWith(u'_'))
        key.chop(1);
    return key;
}

// The text as sections of captions and values, in their order: "[Title]" opens a
// section, "caption: value" is a line of it. The keys come from the English text,
// line by line, so that they are the same whatever the language of the captions.
QJsonArray sectionsOf(const QString& text, const QString& english) {
    const QStringList lines = text.split(u'\n', Qt::SkipEmptyParts);
    const QStringList englishLines = english.split(u'\n', Qt::SkipEmptyParts);
    const auto englishCaption = [&](qsizetype i, const QString& fallback) {
        if (englishLines.size() != lines.size())
            return fallback;  // not the same layout: the captions themselves
        const QString& line = englishLines[i];
        return line.startsWith(u'[') ? line.mid(1, line.size() - 2) : line.left(line.indexOf(QLatin1String(": ")));
    };
    QJsonArray sections;
    QJsonObject section;
    QJsonArray items;
    const auto close = [&] {
        if (section.isEmpty())
            return;
        section.insert(QStringLiteral("items"), items);
        sections.append(section);
        section = {};
        items = {};
    };
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString& line = lines[i];
        if (line.startsWith(u'[') && line.endsWith(u']')) {
            close();
            const QString title = line.mid(1, line.size() - 2);
            section.insert(QStringLiteral("key"), keyOf(englishCaption(i, title)));
            section.insert(QStringLiteral("title"), title);
            continue;
        }
        const qsizetype colon = line.indexOf(QLatin1String(": "));
        const QString caption = line.left(colon);
        items.append(QJsonObject{{QStringLiteral("key"), keyOf(englishCaption(i, caption))},
                                 {QStringLiteral("caption"), caption},
                                 {QStringLiteral("value"), colon < 0 ? QString() : line.mid(colon + 2)}});
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
    // The library's report, and where the machine settings are: this station's own
    // file, or the shop's server.
    const auto report = [&] {
        QString text = par.InformazioniSistema();
        if (!text.isEmpty() && !text.endsWith(u'\n'))
            text += u'\n';
        return text + QStringLiteral("[%1]\n%2: %3\n")
                          .arg(tr(QStringLiteral("Registry")), tr(QStringLiteral("Machine settings")),
                               QString::fromStdString(session.baseStore().location(Hive::LocalMachine)));
    };
    QString text = report();
    session.throwIfReportedSince(mark);
    if (arguments.has(QStringLiteral("json"))) {
        const short language = par.Lingua();
        session.overrideLanguage(kEnglish);
        const QString english = report();
        session.overrideLanguage(language);
        printJson(sectionsOf(text, english));
        return 0;
    }
    if (text.endsWith(u'\n'))
        text.chop(1);
    printLine(text);
    return 0;
}

}  // namespace paramcor::tool
