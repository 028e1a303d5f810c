// The user's corrections over a real user text file: searches, corrections of a
// shared wording, and the mails that carry them.
#include "support/TextFiles.h"
#include "texts/Corrections.h"

#include <QDate>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

using test::TextRow;

class CorrectionsTest : public ::testing::Test {
protected:
    QString write(const std::vector<TextRow>& rows) {
        test::writeTextFile(folder.filePath("CvlTradU.mdb"), rows);
        return folder.filePath("CvlTradU.mdb");
    }
    QTemporaryDir folder;
};

TEST_F(CorrectionsTest, SearchesFindTextsWithApostrophesAndBarsWhateverTheirCase) {
    texts::Corrections corrections(write({{"TAGLIO", "001", "L'angolo", "The angle"},
                                          {"TAGLIO", "002", "Taglio | Lucidatura", "Cut | polish"},
                                          {"TAGLIO", "003", "Dell'ANGOLO retto", "Of the right ANGLE"},
                                          {"TAGLIO", "004", "ÀNCORA di taglio", "Cutting anchor"},
                                          {"TAGLIO", "005", "Spessore", "Thickness"}}),
                                   2);
    // What is sought, whether in the translation, and what is shown.
    const std::tuple<QString, bool, QStringList> cases[] = {
        {"l'angolo", false, {"Dell'ANGOLO retto", "L'angolo"}},
        {"| luc", false, {"Taglio | Lucidatura"}},
        {"àncora", false, {"ÀNCORA di taglio"}},
        {"' OR 1=1 --", false, {}},
        {"angle", true, {"Of the right ANGLE", "The angle"}},
    };
    for (const auto& [text, inTranslation, expected] : cases) {
        QStringList shown;
        for (const texts::TextEntry& entry : corrections.search(text, inTranslation))
            shown << entry.shown;
        EXPECT_EQ(shown, expected) << text.toStdString();
    }
    EXPECT_EQ(corrections.search("polish", true).at(0).italian, "Taglio | Lucidatura");
}

TEST_F(CorrectionsTest, ACorrectionReachesEveryProgramsRowMarkedAsTheCustomers) {
    const QString path = write({{"LUCIDA", "010", "Velocità", "Sped", "20250101"},
                                {"ORDINI", "020", "velocità", "Sped", "20250101"},
                                {"TAGLIO", "011", "Velocità massima", "Max speed", "20250101"}});
    texts::Corrections(path, 2).correct("Velocità", "Speed");
    const QString today = QDate::currentDate().toString("yyyyMMdd");
    EXPECT_EQ(test::readTextFile(path), (std::vector<TextRow>{{"LUCIDA", "010", "Velocità", "Speed", today, true},
                                                              {"ORDINI", "020", "velocità", "Speed", today, true},
                                                              {"TAGLIO", "011", "Velocità massima", "Max speed",
                                                               "20250101"}}));
}

TEST_F(CorrectionsTest, CorrectionsGoInMailsOfAHundredRowsInTheMakersFormat) {
    std::vector<TextRow> rows{{"TAGLIO", "999", "Non corretto", "Not corrected"}};
    const QString path = write(rows);
    EXPECT_TRUE(texts::Corrections(path, 2).mails({}).empty());
    for (int i = 1; i <= 250; ++i) {
        const QString n = QStringLiteral("%1").arg(i, 3, 10, QLatin1Char('0'));
        rows.push_back({"TAGLIO", n, "Testo " + n, "Correzione " + n + " dell'àncora", "20250101", true});
    }
    write(rows);
    const auto mails = texts::Corrections(path, 3).mails(QDateTime({2026, 3, 1}, {9, 5, 7}));
    ASSERT_EQ(mails.size(), 3u);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(mails[k].subject, QString("[CVLTRAD] Lang=3 (Mail %1/3)").arg(k + 1));
        EXPECT_EQ(mails[k].fileName, QString("CVLTRAD-Lang3-20260301-090507-%1di3").arg(k + 1));
        EXPECT_EQ(mails[k].entries.size(), k < 2 ? 100u : 50u);
    }
    EXPECT_TRUE(mails[2].body.endsWith("1:Testo 250 \n3: \n \n"));  // no German wording: empty
    EXPECT_TRUE(texts::Corrections(path, 2).mails({})[1].body.startsWith(
        QString("1:Testo 101 \n2:Correzione 101 dell'àncora \n \n1:Testo 102 \n")));
}

}  // namespace
}  // namespace paramcor
