// testi esporta, testi importa, testi crea: the text database to and from the PO
// files of translators' tools, and new databases for deliveries.
#include "Commands.h"
#include "Files.h"
#include "PoCatalog.h"
#include "Session.h"
#include "TextFile.h"

#include <QDate>

#include <cstdio>

namespace paramcor::tool {
namespace {

// The key of a text as msgctxt: its program, a bar, its key in the program. The
// programs' names have no bar; a key may.
const QChar kKeySeparator = u'|';

// gettext's codes of the languages the suite names; languages 7 to 15 have none,
// and a header field of our own says which language a file holds.
const char* const kLanguageCodes[] = {"it", "en", "de", "fr", "es", "pt"};
const char kLanguageField[] = "X-CVLParamcor-Lingua";

int languageOfCode(const QString& code) {
    const QString language = code.section(u'_', 0, 0).section(u'-', 0, 0).section(u'@', 0, 0).toLower();
    for (int n = 0; n < 6; ++n)
        if (language == QLatin1String(kLanguageCodes[n]))
            return n + 1;
    return 0;
}

int translationLanguage(const Arguments& arguments) {
    return parseNumber(arguments.value(QStringLiteral("lingua")), 2, kLanguages,
                       QStringLiteral("--lingua (the language of the translations; 1, Italian, is the wording)"));
}

QString headerFor(int language) {
    QString header = QStringLiteral("Project-Id-Version: CVLParamcor texts\n");
    if (language <= 6)
        header += QStringLiteral("Language: %1\n").arg(QLatin1String(kLanguageCodes[language - 1]));
    header += QStringLiteral(
                  "MIME-Version: 1.0\n"
                  "Content-Type: text/plain; charset=UTF-8\n"
                  "Content-Transfer-Encoding: 8bit\n"
                  "%1: %2\n")
                  .arg(QLatin1String(kLanguageField))
                  .arg(language);
    return header;
}

QString describe(int language) {
    return QStringLiteral("%1 (%2)").arg(languageColumn(language), languageName(language));
}

}  // namespace

int exportTexts(Session& session, const Arguments& arguments, const QStringList& operands) {
    if (!arguments.has(QStringLiteral("lingua")))
        throw UsageError(QStringLiteral("paramcor testi esporta needs --lingua N, the language of the translations"));
    const int language = translationLanguage(arguments);
    TextFile file(textFilePath(session, arguments.value(QStringLiteral("file"))), TextFile::Mode::ReadOnly);
    file.requireLanguage(language);

    po::Catalog catalog;
    catalog.header = headerFor(language);
    const QByteArray sql = QStringLiteral(
                               "SELECT Programma, Progressivo, TESTO_01, %1, Commento FROM Testi "
                               "WHERE Programma <> 'PARAM' ORDER BY Programma, Progressivo")
                               .arg(languageColumn(language))
                               .toUtf8();
    auto select = file.prepare(sql.constData());
    int withoutWording = 0;
    int translated = 0;
    while (select->step()) {
        po::Entry entry;
        entry.context = select->text(0) + kKeySeparator + select->text(1);
        entry.source = select->text(2);
        entry.translation = select->text(3);
        entry.comment = select->text(4).trimmed();
        if (entry.source.isEmpty()) {
            ++withoutWording;  // an empty msgid is the header's: such a row cannot be written
            continue;
        }
        if (!entry.translation.isEmpty())
            ++translated;
        catalog.entries.push_back(std::move(entry));
    }
    writeWhole(operands[0], po::write(catalog));
    printLine(QStringLiteral("Exported %1 texts of %2 from %3 to %4, %5 of them translated")
                  .arg(catalog.entries.size())
                  .arg(describe(language), file.path(), operands[0])
                  .arg(translated));
    if (withoutWording > 0)
        std::fprintf(stderr, "paramcor: warning: %d texts without an Italian wording were left out\n", withoutWording);
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
        throw Failure(failure.text() + QStringLiteral("; nothing was imported"));
    }

    int language = given;
    if (language == 0) {
        const QString ours = po::headerField(catalog.header, kLanguageField);
        const QString code = po::headerField(catalog.header, "Language");
        bool ok = false;
        language = ours.toInt(&ok);
        if (!ok)
            language = languageOfCode(code);
        if (language < 2 || language > kLanguages)
            throw Failure(QStringLiteral("%1 does not say which language it holds (Language: \"%2\"): give --lingua N; "
                                         "nothing was imported")
                              .arg(operands[0], code));
    }
    for (const po::Entry& entry : catalog.entries)
        if (!entry.hasContext || !entry.context.contains(kKeySeparator))
            throw Failure(
                QStringLiteral("%1: \"%2\" has no key (msgctxt \"Programma|Progressivo\"); nothing was imported")
                    .arg(operands[0], entry.source));

    const QString database = arguments.value(QStringLiteral("file"));
    // In the user's own database an imported translation is the customer's
    // correction, which deliveries must not undo; a file being prepared for
    // delivery stays the maker's.
    const bool customer = database.isEmpty();
    TextFile file(textFilePath(session, database), TextFile::Mode::ReadWrite);
    file.requireLanguage(language);
    const QString column = languageColumn(language);
    auto select = file.prepare(QStringLiteral("SELECT TESTO_01, %1, Tradotti FROM Testi "
                                              "WHERE Programma = ?1 AND Progressivo = ?2")
                                   .arg(column)
                                   .toUtf8()
                                   .constData());
    auto update =
        file.prepare(QStringLiteral("UPDATE Testi SET %1 = ?1, DataModifica = ?2, Tradotti = ?3, "
                                    "ModificatoDalCliente = CASE WHEN ?4 THEN 1 ELSE ModificatoDalCliente END "
                                    "WHERE Programma = ?5 AND Progressivo = ?6")
                         .arg(column)
                         .toUtf8()
                         .constData());
    const QString today = QDate::currentDate().toString(QStringLiteral("yyyyMMdd"));

    int changed = 0;
    int unchanged = 0;
    int untranslated = 0;
    int fuzzy = 0;
    int unknown = 0;
    int reworded = 0;
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
            ++fuzzy;
            continue;
        }
        select->bind(1, program).bind(2, key);
        if (!select->step()) {
            select->reset();
            ++unknown;
            continue;
        }
        const QString wording = select->text(0);
        const QString current = select->text(1);
        QString flags = select->text(2).leftJustified(kLanguages, u'F');
        select->reset();
        if (wording != entry.source) {
            ++reworded;  // translated from an older wording
            continue;
        }
        if (current == entry.translation) {
            ++unchanged;
            continue;
        }
        flags[language - 1] = u'T';
        update->bind(1, entry.translation)
            .bind(2, today)
            .bind(3, flags)
            .bind(4, qint64(customer ? 1 : 0))
            .bind(5, program)
            .bind(6, key)
            .run();
        ++changed;
    }
    file.exec("COMMIT");

    printLine(
        QStringLiteral("Imported %1 into %2 of %3: %4 texts changed, %5 unchanged, %6 untranslated, %7 fuzzy left out")
            .arg(operands[0], describe(language), file.path())
            .arg(changed)
            .arg(unchanged)
            .arg(untranslated)
            .arg(fuzzy));
    if (unknown > 0)
        std::fprintf(stderr, "paramcor: warning: %d texts of the file have keys the database does not have: left out\n",
                     unknown);
    if (reworded > 0)
        std::fprintf(stderr,
                     "paramcor: warning: %d texts of the file translate an Italian wording that has changed since: "
                     "left out\n",
                     reworded);
    return 0;
}

int createTexts(Session&, const Arguments&, const QStringList& operands) {
    TextFile::create(operands[0]);
    printLine(QStringLiteral("Created the empty text database %1").arg(operands[0]));
    return 0;
}

}  // namespace paramcor::tool
