// traduci, chiave, lingua, misure: texts and units in the user's language, or in
// another one for a single command without changing the user's.
#include "ToolTesting.h"

#include <QFile>
#include <QRegularExpression>

namespace paramcor::test {
namespace {

const QString kDelivered = QStringLiteral(CVLPARAMCOR_SAMPLES) + QStringLiteral("/Testi/CvlTrad.mdb");

// Two texts of the sample, far apart, whose Italian wording is theirs alone and
// translated into English, German, French and Spanish.
std::vector<QStringList> sampleTexts() {
    std::map<QString, int> uses;
    const Rows rows = textRows(kDelivered);
    for (const auto& [key, row] : rows)
        ++uses[row[2]];
    std::vector<QStringList> candidates;
    const QRegularExpression plain(QStringLiteral("^\\w[\\w ]*\\w$"));
    for (const auto& [key, row] : rows)
        if (uses[row[2]] == 1 && plain.match(row[2]).hasMatch() &&
            std::none_of(row.begin() + 3, row.begin() + 7,
                         [](const QString& t) { return t.isEmpty() || t == QLatin1String("<NULL>"); }))
            candidates.push_back(row);
    EXPECT_GE(candidates.size(), 2u);
    return {candidates.front(), candidates.back()};
}

TEST(ParamcorTexts, TranslatedByWordingOrKeyTheFirstCommandDeliveringThem) {
    const Workshop workshop;
    for (const QStringList& row : sampleTexts()) {
        for (int language = 1; language <= 5; ++language) {
            const QString expected = row[1 + language] + u'\n';
            const QString in = QString::number(language);
            EXPECT_EQ(workshop.run({"traduci", "--lingua", in, row[2]}).out, expected) << row[2].toStdString();
            EXPECT_EQ(workshop.run({"chiave", row[0], row[1], "--lingua", in}).out, expected) << row[0].toStdString();
        }
    }
    // The delivery was merged into the user's texts, with the five unit rows.
    EXPECT_FALSE(QFile::exists(workshop.installation() + QStringLiteral("/Testi/CvlTrad.mdb")));
    EXPECT_TRUE(QFile::exists(workshop.installation() + QStringLiteral("/Testi/CvlTrad.mdb.old")));
    const Rows user = textRows(workshop.userTexts());
    EXPECT_EQ(user.size(), textRows(kDelivered).size() + 5);
    for (const char* unit : {"01_SYS", "02_VAL", "03_LIN", "04_SUP", "05_VOL"})
        EXPECT_EQ(user.count(QStringLiteral("PARAM|") + QLatin1String(unit)), 1u) << unit;

    // A wording the texts do not have comes back as it was given; a key is an error.
    EXPECT_EQ(workshop.run({"traduci", "--lingua", "2", "Una frase che non c'è"}).out,
              QStringLiteral("Una frase che non c'è\n"));
    expectRefused(workshop.run({"chiave", "NESSUNO", "0001"}), 1, "NESSUNO 0001");
}

TEST(ParamcorTexts, TheLanguageIsTheUsersAndAnOptionLeavesItAlone) {
    const Workshop workshop;
    const QStringList row = sampleTexts().front();
    EXPECT_EQ(workshop.run({"lingua", "3"}).out, QStringLiteral("3 Deutsch\n"));
    auto store = workshop.store();
    EXPECT_EQ(storedValue(store, Hive::CurrentUser, kSuite, "Lingua").value.data, utf8(QStringLiteral("3")));

    EXPECT_EQ(workshop.run({"traduci", row[2]}).out, row[4] + u'\n');
    EXPECT_EQ(workshop.run({"traduci", "--lingua", "4", row[2]}).out, row[5] + u'\n');
    EXPECT_EQ(workshop.run({"chiave", "--lingua", "5", row[0], row[1]}).out, row[6] + u'\n');
    EXPECT_EQ(workshop.run({"lingua"}).out, QStringLiteral("3 Deutsch\n"));
    // The columns beyond the offered languages have no name.
    EXPECT_EQ(workshop.run({"lingua", "13"}).out, QStringLiteral("13 language 13, unnamed\n"));
}

TEST(ParamcorUnits, DecodedFromTheRowsOfTheLanguage) {
    const Workshop workshop;
    const char* const keys[] = {"01_SYS", "02_VAL", "03_LIN", "04_SUP", "05_VOL"};
    const struct {
        QStringList rows;
        QStringList lines;  // what the tool makes of them, line by line
    } systems[] = {
        {{"0", "€   euro", "m   1000", "m²  1000000", "kg  1000000"},
         {"0, metric", "euro, symbol €", "m, factor 1000", "m², factor 1000000", "kg, factor 1000000"}},
        {{"1", "£   POUND", "ft  12", "ft² 144", "lb  1728"},
         {"1, Anglo-Saxon", "POUND, symbol £", "ft, factor 12", "ft², factor 144", "lb, factor 1728"}},
        {{"2", "$   USD", "ft", "ft² 144", "lb  1728"},
         {"2, United States", "USD, symbol $", "ft, factor (none)", "ft², factor 144", "lb, factor 1728"}},
    };
    ASSERT_EQ(workshop.run({"lingua"}).code, 0);  // delivers the texts, with the unit rows
    const Outcome german = workshop.run({"misure", "--lingua", "3"});
    for (const auto& system : systems) {
        for (int i = 0; i < 5; ++i)
            query(workshop.userTexts(), "UPDATE Testi SET Testo_02 = ?1 WHERE Programma = 'PARAM' AND Progressivo = ?2",
                  {system.rows[i], QLatin1String(keys[i])});
        const Outcome run = workshop.run({"misure", "--lingua", "2"});
        ASSERT_EQ(run.code, 0) << run;
        const QStringList lines = run.out.split(u'\n', Qt::SkipEmptyParts);
        ASSERT_EQ(lines.size(), 6) << run;
        EXPECT_TRUE(lines[0].contains(workshop.userTexts())) << run;
        for (int i = 0; i < 5; ++i) {
            EXPECT_TRUE(lines[1 + i].contains(system.lines[i])) << system.lines[i].toStdString() << '\n' << run;
            EXPECT_TRUE(i == 0 || lines[1 + i].contains(u'"' + system.rows[i] + u'"')) << run;
        }
    }
    // The other languages keep their own units; without --lingua, the current one's.
    EXPECT_EQ(workshop.run({"misure", "--lingua", "3"}).out, german.out);
    ASSERT_EQ(workshop.run({"lingua", "2"}).code, 0);
    EXPECT_TRUE(workshop.run({"misure"}).out.contains(QStringLiteral("USD, symbol $")));

    const QString empty = workshop.path("vuoto.mdb");
    ASSERT_EQ(workshop.run({"testi", "crea", empty}).code, 0);
    const Outcome none = workshop.run({"misure", "--file", empty, "--lingua", "2"});
    EXPECT_EQ(none.code, 1) << none;
    EXPECT_EQ(none.errLines(), QStringList{QStringLiteral("paramcor: misure: %1 has no unit row 01_SYS, 02_VAL, 03_LIN, "
                                                          "04_SUP, 05_VOL").arg(empty)});
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
        EXPECT_EQ(help.out.section(u'\n', 0, 0), QString::fromUtf8(c.usage)) << help;
        EXPECT_TRUE(help.code == 0 && help.err.isEmpty()) << help;
        expectRefused(workshop.run({"chiave", "--lingua", language, "NESSUNO", "0001"}), 1,
                      QString::fromUtf8(c.noSuchKey));
    }
    const Outcome commandHelp = workshop.run({"testi", "esporta", "--help", "--lingua", "3"});
    EXPECT_TRUE(commandHelp.out.contains(QStringLiteral("\nSchreibt die Texte einer Sprache als gettext-PO-Datei")))
        << commandHelp;
    EXPECT_TRUE(commandHelp.out.contains(QStringLiteral("\n  --lingua N            die Sprache, 1 bis 15\n")))
        << commandHelp;

    // The stored language, when no --lingua says otherwise.
    ASSERT_EQ(workshop.run({"lingua", "3"}).code, 0);
    EXPECT_TRUE(workshop.run({"--help"}).out.startsWith(QStringLiteral("Aufruf: paramcor BEFEHL")));

    // Without an installation there are no texts to speak from: English, and no
    // word about the library that could not start.
    const Outcome bare = runTool({"--help", "--lingua", "3"});
    EXPECT_TRUE(bare.out.startsWith(QStringLiteral("Usage: paramcor COMMAND"))) << bare;
    EXPECT_TRUE(bare.code == 0 && bare.err.isEmpty()) << bare;
}

}  // namespace
}  // namespace paramcor::test
