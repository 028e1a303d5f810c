// traduci, chiave, lingua, misure: the texts and units as a program of the suite
// sees them in its language.
#include "Commands.h"
#include "Session.h"
#include "TextFile.h"
#include "Wording.h"
#include "units/UnitSystems.h"

#include <QJsonObject>

namespace paramcor::tool {
namespace {

void applyLanguageOption(Session& session, const Arguments& arguments) {
    if (arguments.has(QStringLiteral("lingua")))
        session.overrideLanguage(static_cast<short>(
            parseNumber(arguments.value(QStringLiteral("lingua")), 1, kLanguages, QStringLiteral("--lingua"))));
}

// The labels of the unit rows, in row order.
constexpr const char* kUnitLabels[units::kRows] = {"System", "Currency", "Length", "Area", "Weight"};

QString systemName(const QString& code) {
    // The programs take the code's numeric value.
    bool ok = false;
    const int number = code.trimmed().toInt(&ok);
    if (!ok)
        return tr("unknown (\"%1\")").arg(code);
    switch (number) {
        case 0:
            return tr("0, metric decimal (mm, mm², mm³ inside)");
        case 1:
            return tr("1, Anglo-Saxon (inches inside, pound sterling)");
        case 2:
            return tr("2, United States (inches inside, US dollar)");
        default:
            return tr("%1, unknown").arg(number);
    }
}

}  // namespace

int translate(Session& session, const Arguments& arguments, const QStringList& operands) {
    applyLanguageOption(session, arguments);
    Parametri& par = session.parametri();
    const int mark = session.errors();
    const QString text = par.Traduci(operands[0]);
    session.throwIfReportedSince(mark);
    if (arguments.has(QStringLiteral("json")))
        printJson(QJsonObject{{"testo", operands[0]}, {"lingua", par.Lingua()}, {"traduzione", text}});
    else
        printLine(text);
    return 0;
}

int translateKey(Session& session, const Arguments& arguments, const QStringList& operands) {
    applyLanguageOption(session, arguments);
    Parametri& par = session.parametri();
    const int mark = session.errors();
    const QString text = par.TraduciChiave(operands[0], operands[1]);
    session.throwIfReportedSince(mark);
    if (text == QLatin1String("???"))  // the library's answer for a key it does not have
        throw Failure(tr("no text has the key %1 %2").arg(operands[0], operands[1]), kNotFound);
    if (arguments.has(QStringLiteral("json")))
        printJson(QJsonObject{
            {"programma", operands[0]}, {"progressivo", operands[1]}, {"lingua", par.Lingua()}, {"testo", text}});
    else
        printLine(text);
    return 0;
}

// A language given by its number or by its code ("de", "pt-BR").
static short languageGiven(const QString& text) {
    bool number = false;
    text.trimmed().toInt(&number);
    if (number)
        return static_cast<short>(parseNumber(text, 1, kLanguages, tr("the language")));
    const short byCode = languageOfCode(text.trimmed());
    if (byCode == 0)
        throw UsageError(tr("the language must be a number from 1 to %1 or the code of a named language, not \"%2\"")
                             .arg(kLanguages)
                             .arg(text));
    return byCode;
}

int language(Session& session, const Arguments& arguments, const QStringList& operands) {
    const short wanted = operands.isEmpty() ? 0 : languageGiven(operands[0]);
    if (wanted == 0)
        session.forbidWrites();  // a read writes nothing
    Parametri& par = session.parametri();
    const int mark = session.errors();
    const int refused = session.failedWrites();
    if (wanted != 0)
        par.Lingua(wanted);
    session.throwIfReportedSince(mark);
    // The library drops a write the store refuses (a hive that may not be written).
    if (session.failedWrites() > refused)
        throw Failure(tr("the language cannot be written: %1")
                          .arg(session.storeError(Hive::CurrentUser, session.lastFailedWrite())));
    const short current = par.Lingua();
    if (arguments.has(QStringLiteral("json")))
        printJson(QJsonObject{{"lingua", current}, {"nome", languageName(current)}});
    else
        printLine(QStringLiteral("%1 %2").arg(current).arg(languageName(current)));
    return 0;
}

int units(Session& session, const Arguments& arguments, const QStringList&) {
    const QString given = arguments.value(QStringLiteral("file"));
    int lingua = 0;
    if (arguments.has(QStringLiteral("lingua")))
        lingua = parseNumber(arguments.value(QStringLiteral("lingua")), 1, kLanguages, QStringLiteral("--lingua"));
    if (given.isEmpty() || lingua == 0) {
        // Only the library knows the user's language and texts.
        applyLanguageOption(session, arguments);
        lingua = session.parametri().Lingua();
    }
    TextFile file(textFilePath(session, given), TextFile::Mode::ReadOnly);
    file.requireLanguage(lingua);
    const QByteArray sql =
        QStringLiteral("SELECT Progressivo, %1 FROM Testi WHERE Programma = 'PARAM' ORDER BY Progressivo")
            .arg(languageColumn(lingua))
            .toUtf8();
    auto select = file.prepare(sql.constData());
    QMap<QString, QString> values;
    while (select.step())
        values.insert(select.text(0).toUpper(), select.text(1));

    QJsonObject rows;
    QStringList lines;
    QStringList missing;
    for (int row = 0; row < units::kRows; ++row) {
        const QString key = QString::fromUtf16(units::kRowKeys[row]);
        if (!values.contains(key)) {
            missing << key;
            continue;
        }
        const QString value = values.value(key);
        const QString symbol = units::valueSymbol(value);
        const QString rest = units::valueRest(value);
        QString shown;
        if (row == units::System)
            shown = systemName(value);
        else if (row == units::Currency)
            shown = tr("%1, symbol %2").arg(rest, symbol);
        else
            shown = tr("%1, factor %2").arg(symbol, rest.isEmpty() ? tr("(none)") : rest);
        rows.insert(key, QJsonObject{{"simbolo", symbol}, {"resto", rest}, {"testo", value}});
        // The suite's wording of the label may be the lower-case one of its example lines.
        QString label = tr(QString::fromLatin1(kUnitLabels[row]));
        label[0] = label[0].toUpper();
        lines << QStringLiteral("  %1 %2  (%3 \"%4\")").arg(label.leftJustified(9), shown, key, value);
    }
    // Nothing is printed for a file that fails: a half table would read as the whole.
    if (!missing.isEmpty())
        throw Failure(tr("%1 has no unit row %2").arg(file.path(), missing.join(QStringLiteral(", "))));
    if (arguments.has(QStringLiteral("json"))) {
        printJson(QJsonObject{{"lingua", lingua}, {"file", file.path()}, {"righe", rows}});
        return 0;
    }
    printLine(tr("Units of language %1 (%2) in %3").arg(lingua).arg(languageName(lingua), file.path()));
    for (const QString& line : lines)
        printLine(line);
    return 0;
}

}  // namespace paramcor::tool
