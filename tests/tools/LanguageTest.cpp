// traduci, chiave, lingua, misure: texts and units in the user's language, or in
// another one for a single command without changing the user's.
#include "ToolTesting.h"

#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>

namespace paramcor::test {
namespace {

const QString kDelivered = QStringLiteral(CVLPARAMCOR_SAMPLES) + QStringLiteral("/Testi/CvlTrad.mdb");

// Texts of the sample whose Italian wording is theirs alone and translated into
// English, German, French and Spanish.
std::vector<QStringList> sampleTexts(int count) {
    std::map<QString, int> uses;
    const Rows rows = textRows(kDelivered);
    for (const auto& [key, row] : rows)
        ++uses[row[2]];
    std::vector<QStringList> candidates;
    const QRegularExpression plain(QStringLiteral("^\\w[\\w ]*\\w$"));
    for (const auto& [key, row] : rows) {
        bool translated = true;
        for (int column = 3; column <= 6; ++column)
            translated = translated && !row[column].isEmpty() && row[column] != QLatin1String("<NULL>");
        if (translated && uses[row[2]] == 1 && plain.match(row[2]).hasMatch())
            candidates.push_back(row);
    }
    // Spread over the programs of the sample.
    std::vector<QStringList> chosen;
    for (int i = 0; i < count && !candidates.empty(); ++i)
        chosen.push_back(candidates[(candidates.size() - 1) * std::size_t(i) / std::size_t(std::max(count - 1, 1))]);
    EXPECT_EQ(chosen.size(), std::size_t(count));
    return chosen;
}

TEST(ParamcorTexts, TranslatedIntoEachLanguage) {
    const Workshop workshop;
    for (const QStringList& row : sampleTexts(3)) {
        for (int language = 1; language <= 5; ++language) {
            const QString expected = row[1 + language];
            const Outcome byWording = workshop.run({"traduci", "--lingua", QString::number(language), row[2]});
            EXPECT_EQ(byWording.code, 0) << byWording;
            EXPECT_EQ(byWording.out, expected + u'\n') << row[2].toStdString() << " in " << language;
            EXPECT_TRUE(byWording.err.isEmpty()) << byWording;
            const Outcome byKey = workshop.run({"chiave", row[0], row[1], "--lingua", QString::number(language)});
            EXPECT_EQ(byKey.code, 0) << byKey;
            EXPECT_EQ(byKey.out, expected + u'\n') << row[0].toStdString() << ' ' << row[1].toStdString();
        }
    }

    // A wording the texts do not have comes back as it was given; a key is an error.
    const Outcome unknownWording = workshop.run({"traduci", "--lingua", "2", "Una frase che non c'è"});
    EXPECT_EQ(unknownWording.code, 0) << unknownWording;
    EXPECT_EQ(unknownWording.out, QStringLiteral("Una frase che non c'è\n"));
    const Outcome unknownKey = workshop.run({"chiave", "NESSUNO", "0001"});
    EXPECT_EQ(unknownKey.code, 1) << unknownKey;
    EXPECT_TRUE(unknownKey.out.isEmpty()) << unknownKey;
    EXPECT_EQ(unknownKey.errLines().size(), 1) << unknownKey;
}

TEST(ParamcorTexts, TheFirstCommandDeliversTheTexts) {
    const Workshop workshop;
    const std::size_t delivered = textRows(kDelivered).size();
    ASSERT_EQ(workshop.run({"lingua"}).code, 0);
    EXPECT_FALSE(QFile::exists(workshop.installation() + QStringLiteral("/Testi/CvlTrad.mdb")));
    EXPECT_TRUE(QFile::exists(workshop.installation() + QStringLiteral("/Testi/CvlTrad.mdb.old")));
    const Rows user = textRows(workshop.userTexts());
    EXPECT_EQ(user.size(), delivered + 5);  // and the five unit rows
    for (const char* unit : {"01_SYS", "02_VAL", "03_LIN", "04_SUP", "05_VOL"})
        EXPECT_EQ(user.count(QStringLiteral("PARAM|") + QLatin1String(unit)), 1u) << unit;
}

TEST(ParamcorTexts, TheLanguageIsTheUsersAndAnOptionLeavesItAlone) {
    const Workshop workshop;
    const QStringList row = sampleTexts(1).front();
    const Outcome set = workshop.run({"lingua", "3"});
    ASSERT_EQ(set.code, 0) << set;
    EXPECT_EQ(set.out, QStringLiteral("3 Deutsch\n"));
    auto store = workshop.store();
    const Found stored = storedValue(store, Hive::CurrentUser, "SOFTWARE\\Corvel", "Lingua");
    ASSERT_TRUE(stored.found);
    EXPECT_EQ(stored.value.data, utf8(QStringLiteral("3")));

    EXPECT_EQ(workshop.run({"traduci", row[2]}).out, row[4] + u'\n');
    EXPECT_EQ(workshop.run({"traduci", "--lingua", "4", row[2]}).out, row[5] + u'\n');
    EXPECT_EQ(workshop.run({"chiave", "--lingua", "5", row[0], row[1]}).out, row[6] + u'\n');
    EXPECT_EQ(workshop.run({"lingua"}).out, QStringLiteral("3 Deutsch\n"));
    EXPECT_EQ(storedValue(store, Hive::CurrentUser, "SOFTWARE\\Corvel", "Lingua").value, stored.value);
    // Each offered language by its own name; the columns beyond them have none.
    const QStringList names{"Italiano",   "English", "Deutsch", "Français", "Español", "Português",
                            "Nederlands", "Polski",  "Čeština", "Svenska",  "Română",  "Русский"};
    for (int language = 1; language <= 12; ++language)
        EXPECT_EQ(workshop.run({"lingua", QString::number(language)}).out,
                  QStringLiteral("%1 %2\n").arg(language).arg(names[language - 1]));
    EXPECT_EQ(workshop.run({"lingua", "13"}).out, QStringLiteral("13 language 13, unnamed\n"));
}

QStringList decodedUnits(const QStringList& rows) {
    // The layout of the rows: the symbol in characters 1 to 4, then the factor or,
    // for the currency, its name.
    const auto symbol = [](const QString& v) { return v.left(4).trimmed(); };
    const auto rest = [](const QString& v) { return v.mid(4).trimmed(); };
    return {rest(rows[1]) + QStringLiteral(", symbol ") + symbol(rows[1]),
            symbol(rows[2]) + QStringLiteral(", factor ") + (rest(rows[2]).isEmpty() ? "(none)" : rest(rows[2])),
            symbol(rows[3]) + QStringLiteral(", factor ") + rest(rows[3]),
            symbol(rows[4]) + QStringLiteral(", factor ") + rest(rows[4])};
}

TEST(ParamcorUnits, DecodedFromTheRowsOfTheLanguage) {
    const Workshop workshop;
    const char* const keys[] = {"01_SYS", "02_VAL", "03_LIN", "04_SUP", "05_VOL"};
    const struct {
        QStringList rows;
        const char* system;
    } systems[] = {
        {{"0", "€   euro", "m   1000", "m²  1000000", "kg  1000000"}, "metric"},
        {{"1", "£   POUND", "ft  12", "ft² 144", "lb  1728"}, "Anglo-Saxon"},
        {{"2", "$   USD", "ft", "ft² 144", "lb  1728"}, "United States"},
    };
    ASSERT_EQ(workshop.run({"lingua"}).code, 0);  // delivers the texts, with the unit rows
    const Outcome metric = workshop.run({"misure", "--lingua", "3"});
    for (const auto& system : systems) {
        for (int i = 0; i < 5; ++i)
            execSql(workshop.userTexts(),
                    "UPDATE Testi SET Testo_02 = ?1 WHERE Programma = 'PARAM' AND Progressivo = ?2",
                    {system.rows[i], QLatin1String(keys[i])});
        const Outcome run = workshop.run({"misure", "--lingua", "2"});
        ASSERT_EQ(run.code, 0) << run;
        EXPECT_TRUE(run.err.isEmpty()) << run;
        const QStringList lines = run.out.split(u'\n', Qt::SkipEmptyParts);
        ASSERT_EQ(lines.size(), 6) << run;
        EXPECT_TRUE(lines[0].contains(workshop.userTexts())) << run;
        EXPECT_TRUE(lines[1].contains(system.rows[0] + QStringLiteral(", ") + QLatin1String(system.system))) << run;
        const QStringList decoded = decodedUnits(system.rows);
        for (int i = 0; i < 4; ++i) {
            EXPECT_TRUE(lines[2 + i].contains(decoded[i])) << decoded[i].toStdString() << '\n' << run;
            EXPECT_TRUE(lines[2 + i].contains(u'"' + system.rows[1 + i] + u'"')) << run;
        }
    }
    // The other languages keep their own units.
    EXPECT_EQ(workshop.run({"misure", "--lingua", "3"}).out, metric.out);

    // The current language's, when none is given.
    ASSERT_EQ(workshop.run({"lingua", "2"}).code, 0);
    const Outcome current = workshop.run({"misure"});
    EXPECT_TRUE(current.out.contains(QStringLiteral("USD, symbol $"))) << current;

    // A database without unit rows.
    const QString empty = workshop.path("vuoto.mdb");
    ASSERT_EQ(workshop.run({"testi", "crea", empty}).code, 0);
    const Outcome none = workshop.run({"misure", "--file", empty, "--lingua", "2"});
    EXPECT_EQ(none.code, 1) << none;
    EXPECT_TRUE(none.err.contains(QStringLiteral("has no unit row 01_SYS, 02_VAL, 03_LIN, 04_SUP, 05_VOL"))) << none;
    EXPECT_EQ(none.errLines().size(), 1) << none;
}

// The tool's own words come from the text database in the user's language, or
// the language of --lingua; where a language has no translation, in English.
TEST(ParamcorTexts, TheToolSpeaksTheUsersLanguage) {
    const Workshop workshop;
    const struct {
        int language;
        const char* usage;
        const char* noSuchKey;
    } cases[] = {
        {1, "Uso: paramcor COMANDO [OPZIONI] [ARGOMENTI]", "nessun testo ha la chiave NESSUNO 0001"},
        {2, "Usage: paramcor COMMAND [OPTIONS] [ARGUMENTS]", "no text has the key NESSUNO 0001"},
        {3, "Aufruf: paramcor BEFEHL [OPTIONEN] [ARGUMENTE]", "kein Text hat den Schlüssel NESSUNO 0001"},
        {4, "Usage : paramcor COMMANDE [OPTIONS] [ARGUMENTS]", "aucun texte n'a la clé NESSUNO 0001"},
        {5, "Uso: paramcor COMANDO [OPCIONES] [ARGUMENTOS]", "ningún texto tiene la clave NESSUNO 0001"},
        {6, "Usage: paramcor COMMAND [OPTIONS] [ARGUMENTS]", "no text has the key NESSUNO 0001"},  // not translated
    };
    for (const auto& c : cases) {
        const QString language = QString::number(c.language);
        const Outcome help = workshop.run({"--lingua", language, "--help"});
        EXPECT_EQ(help.code, 0) << help;
        EXPECT_EQ(help.out.section(u'\n', 0, 0), QString::fromUtf8(c.usage)) << help;
        EXPECT_TRUE(help.err.isEmpty()) << help;
        const Outcome failed = workshop.run({"chiave", "--lingua", language, "NESSUNO", "0001"});
        EXPECT_EQ(failed.code, 1) << failed;
        EXPECT_TRUE(failed.err.contains(QString::fromUtf8(c.noSuchKey))) << failed;
    }

    const Outcome commandHelp = workshop.run({"testi", "esporta", "--help", "--lingua", "3"});
    EXPECT_TRUE(commandHelp.out.contains(QStringLiteral("\nSchreibt die Texte einer Sprache als gettext-PO-Datei")))
        << commandHelp;
    EXPECT_TRUE(commandHelp.out.contains(QStringLiteral("\n  --lingua N            die Sprache, 1 bis 15\n")))
        << commandHelp;

    // The stored language, when no --lingua says otherwise.
    ASSERT_EQ(workshop.run({"lingua", "3"}).code, 0);
    EXPECT_TRUE(workshop.run({"--help"}).out.startsWith(QStringLiteral("Aufruf: paramcor BEFEHL")))
        << workshop.run({"--help"});

    // Without an installation there are no texts to speak from: English, and no
    // word about the library that could not start.
    const Outcome bare = runTool({"--help", "--lingua", "3"});
    EXPECT_EQ(bare.code, 0) << bare;
    EXPECT_TRUE(bare.out.startsWith(QStringLiteral("Usage: paramcor COMMAND"))) << bare;
    EXPECT_TRUE(bare.err.isEmpty()) << bare;
}

}  // namespace
}  // namespace paramcor::test
