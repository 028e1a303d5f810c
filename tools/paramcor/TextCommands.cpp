// testi esporta, testi importa, testi crea: the text database to and from the PO
// files of translators' tools, and new databases for deliveries.
#include "Commands.h"
#include "Files.h"
#include "PoCatalog.h"
#include "Session.h"
#include "TextFile.h"
#include "Wording.h"

#include <QDate>
#include <QDateTime>

#include <cstdio>

namespace paramcor::tool {
namespace {

// The key of a text as msgctxt: its program, a bar, its key in the program. The
// programs' names have no bar; a key may.
const QChar kKeySeparator = u'|';

// Languages without a code (13 to 15) are named in a header field of our own,
// which every file carries.
const char kLanguageField[] = "X-CVLParamcor-Lingua";

int translationLanguage(const Arguments& arguments) {
    return parseNumber(arguments.value(QStringLiteral("lingua")), 2, kLanguages,
                       tr("--lingua (the language of the translations; 1, Italian, is the wording)"));
}

// The header translators' tools expect, with no field left at gettext's
// placeholder: the last translator is for the translator to fill in. `language` 0
// is the template's, for no language yet.
QString headerFor(int language) {
    const LanguageInfo* info = languageInfo(language);
    const QString now =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd HH:mm")) + QStringLiteral("+0000");
    QString header = QStringLiteral("Project-Id-Version: CVLParamcor texts\n");
    if (language == 0)
        header += QStringLiteral("POT-Creation-Date: %1\n").arg(now);
    header += QStringLiteral("PO-Revision-Date: %1\nLast-Translator: \n").arg(now);
    if (!info)
        header += QStringLiteral("Language-Team: \nLanguage: \n");
    else if (info->code.isEmpty())
        header += QStringLiteral("Language-Team: %1\n").arg(languageColumn(language));
    else
        header += QStringLiteral("Language-Team: %1\nLanguage: %2\n").arg(info->englishName, info->code);
    header += QStringLiteral(
        "MIME-Version: 1.0\n"
        "Content-Type: text/plain; charset=UTF-8\n"
        "Content-Transfer-Encoding: 8bit\n");
    if (info)
        header += QStringLiteral("%1: %2\n").arg(QLatin1String(kLanguageField)).arg(language);
    return header;
}

QString describe(int language) {
    return QStringLiteral("%1 (%2)").arg(languageColumn(language), languageName(language));
}

}  // namespace

int exportTexts(Session& session, const Arguments& arguments, const QStringList& operands) {
    const bool model = arguments.has(QStringLiteral("modello"));
    if (model == arguments.has(QStringLiteral("lingua")))
        throw UsageError(
            tr("paramcor testi esporta needs either --lingua N, the language of the "
               "translations, or --modello for a template"));
    // Italian too: its file is the wordings as they stand, for proofreading.
    const int language =
        model ? 0 : parseNumber(arguments.value(QStringLiteral("lingua")), 1, kLanguages, QStringLiteral("--lingua"));
    TextFile file(textFilePath(session, arguments.value(QStringLiteral("file"))), TextFile::Mode::ReadOnly);
    if (!model)
        file.requireLanguage(language);

    po::Catalog catalog;
    catalog.header = headerFor(language);
    const QByteArray sql = QStringLiteral(
                               "SELECT Programma, Progressivo, TESTO_01, %1, Commento FROM Testi "
                               "WHERE Programma <> 'PARAM' ORDER BY Programma, Progressivo")
                               .arg(model ? QStringLiteral("''") : languageColumn(language))
                               .toUtf8();
    auto select = file.prepare(sql.constData());
    QStringList withoutWording;
    int translated = 0;
    while (select.step()) {
        po::Entry entry;
        entry.context = select.text(0) + kKeySeparator + select.text(1);
        entry.source = select.text(2);
        entry.translation = select.text(3);
        entry.comment = select.text(4).trimmed();
        if (entry.source.isEmpty()) {
            withoutWording << entry.context;  // an empty msgid is the header's: such a row cannot be written
            continue;
        }
        if (!entry.translation.isEmpty())
            ++translated;
        catalog.entries.push_back(std::move(entry));
    }
    writeWhole(operands[0], po::write(catalog));
    if (model)
        printLine(tr("Exported the template of %1 texts from %2 to %3")
                      .arg(catalog.entries.size())
                      .arg(file.path(), operands[0]));
    else
        printLine(tr("Exported %1 texts of %2 from %3 to %4, %5 of them translated")
                      .arg(catalog.entries.size())
                      .arg(describe(language), file.path(), operands[0])
                      .arg(translated));
    for (const QString& key : withoutWording)
        std::fprintf(stderr, "paramcor: %s\n",
                     qUtf8Printable(tr("warning: %1 left out: it has no Italian wording").arg(key)));
    return 0;
}

int importTexts(Session& session, const Arguments& arguments, const QStringList& operands) {
    const int given = arguments.has(QStringLiteral("lingua")) ? translationLanguage(arguments) : 0;
    po::Catalog catalog;
    try {
        catalog = po::read(operands[0]);
    } catch (const UsageError&) {
        throw;
    } catch (const Failure& failure) {
        throw Failure(failure.text() + tr("; nothing was imported"));
    }

    int language = given;
    if (language == 0) {
        const QString ours = po::headerField(catalog.header, kLanguageField);
        const QString code = po::headerField(catalog.header, "Language");
        bool ok = false;
        language = ours.toInt(&ok);
        if (!ok)
            language = paramcor::languageOfCode(code);
        if (language == 1)
            throw Failure(tr("%1 holds the Italian wordings, which are the texts' keys and are changed "
                             "in the delivered texts only; nothing was imported")
                              .arg(operands[0]));
        if (language < 2 || language > kLanguages)
            throw Failure(tr("%1 does not say which language it holds (Language: \"%2\"): give --lingua N; "
                             "nothing was imported")
                              .arg(operands[0], code));
    }
    for (const po::Entry& entry : catalog.entries)
        if (!entry.hasContext || !entry.context.contains(kKeySeparator))
            throw Failure(
                tr("%1: \"%2\" has no key (msgctxt \"Programma|Progressivo\"); nothing was imported")
                    .arg(entry.line > 0 ? QStringLiteral("%1:%2").arg(operands[0]).arg(entry.line) : operands[0],
                         entry.source));

    const QString database = arguments.value(QStringLiteral("file"));
    // In the user's own database an imported translation is the customer's
    // correction, which deliveries must not undo; a file being prepared for
    // delivery stays the maker's.
    const bool customer = database.isEmpty();
    TextFile file(textFilePath(session, database), TextFile::Mode::ReadWrite);
    file.requireLanguage(language);
    const QString column = languageColumn(language);
    auto select = file.prepare(QStringLiteral("SELECT TESTO_01, %1, Tradotti FROM Testi "
                                              "WHERE Programma = ?1 COLLATE NOCASE AND Progressivo = ?2 COLLATE NOCASE")
                                   .arg(column)
                                   .toUtf8()
                                   .constData());
    auto update =
        file.prepare(QStringLiteral("UPDATE Testi SET %1 = ?1, DataModifica = ?2, Tradotti = ?3, "
                                    "ModificatoDalCliente = CASE WHEN ?4 THEN 1 ELSE ModificatoDalCliente END "
                                    "WHERE Programma = ?5 COLLATE NOCASE AND Progressivo = ?6 COLLATE NOCASE")
                         .arg(column)
                         .toUtf8()
                         .constData());
    const QString today = QDate::currentDate().toString(QStringLiteral("yyyyMMdd"));

    int changed = 0;
    int unchanged = 0;
    int untranslated = 0;
    // Entries with a translation that is not taken, and why.
    std::vector<std::pair<const po::Entry*, QString>> leftOut;
    // All or nothing: a failure before the commit leaves the file as it was, the
    // connection rolling back as it closes.
    file.exec("BEGIN IMMEDIATE");
    for (const po::Entry& entry : catalog.entries) {
        const QString program = entry.context.section(kKeySeparator, 0, 0);
        const QString key = entry.context.section(kKeySeparator, 1);
        if (entry.translation.isEmpty()) {
            ++untranslated;
            continue;
        }
        if (entry.fuzzy) {
            leftOut.emplace_back(&entry, tr("marked fuzzy (unsure)"));
            continue;
        }
        select.bind(1, program).bind(2, key);
        if (!select.step()) {
            select.reset();
            leftOut.emplace_back(&entry, tr("the database has no text with this key"));
            continue;
        }
        const QString wording = select.text(0);
        const QString current = select.text(1);
        QString flags = select.text(2).leftJustified(kLanguages, u'F');
        select.reset();
        if (wording != entry.source) {
            leftOut.emplace_back(&entry,
                                 tr("it translates an older Italian wording; the text now reads \"%1\"").arg(wording));
            continue;
        }
        if (current == entry.translation) {
            ++unchanged;
            continue;
        }
        flags[language - 1] = u'T';
        update.bind(1, entry.translation)
            .bind(2, today)
            .bind(3, flags)
            .bind(4, qint64(customer ? 1 : 0))
            .bind(5, program)
            .bind(6, key)
            .run();
        ++changed;
    }
    file.exec("COMMIT");

    printLine(tr("Imported %1 into %2 of %3: %4 texts changed, %5 unchanged, %6 untranslated, %7 left out")
                  .arg(operands[0], describe(language), file.path())
                  .arg(changed)
                  .arg(unchanged)
                  .arg(untranslated)
                  .arg(leftOut.size()));
    for (const auto& [entry, why] : leftOut)
        std::fprintf(stderr, "paramcor: %s\n",
                     qUtf8Printable(tr("warning: %1 \"%2\" left out: %3").arg(entry->context, entry->source, why)));
    return 0;
}

int createTexts(Session&, const Arguments&, const QStringList& operands) {
    TextFile::create(operands[0]);
    printLine(tr("Created the empty text database %1").arg(operands[0]));
    return 0;
}

}  // namespace paramcor::tool
