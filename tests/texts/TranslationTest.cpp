// Looking texts up by wording and by key, the debug marks and the missing-text log.
#include "selection/MainParametri.h"
#include "support/TestPlatform.h"
#include "support/TextFiles.h"
#include "base/SqlDatabase.h"

#include <CVLParamcor/Parametri.h>

#include <QFile>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

using test::TextRow;

// English is language 2, German 3. The clock is driven by the test. The texts are
// in a file the library made, or in one with plain columns (true).
class TranslationTest : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        paramcor::platform().timer = [this] { return now; };
        test::writeTextFile(platform.folder() + "/CvlTradU.mdb",
                            {{"TAGLIO", "0001", "Lastra", "Slab", "20260101", false, "Platte"},
                             {"TAGLIO", "0002", "Spessore", "Thickness"}, {"TAGLIO", "0003", "Attenzione", "Warning"},
                             {"TAGLIO", "0004", "Errore", "Error"}, {"TAGLIO", "0005", "lastra troppo corta", "slab too short"},
                             {"TAGLIO", "0006", "Da tradurre", ""}, {"TAGLIO", "0007", "&Salva", "&Save"},
                             {"TAGLIO", "0008", "Età", "Age"}, {"TAGLIO", "0009", "Perché?", "Why?"}});
        if (GetParam())
            test::redeclarePlain(platform.folder() + "/CvlTradU.mdb");
        par = std::make_unique<Parametri>();
        par->Lingua(2);
        ASSERT_TRUE(platform.messages().empty());
    }
    QStringList logLines() {
        return QString::fromUtf8(test::fileBytes(par->PercorsoTemp() + "testi.txt")).split("\r\n", Qt::SkipEmptyParts);
    }
    void TearDown() override { QFile::remove(par->PercorsoTemp() + "testi.txt"); }

    test::TestPlatform platform;
    double now = 1000;
    std::unique_ptr<Parametri> par;
};

TEST_P(TranslationTest, WordingsAreFoundAsGivenThenWithoutTheirPunctuation) {
    const struct {
        QString wording, expected, characters = {};
    } cases[] = {
        {"lastra", "Slab"}, {"(Lastra)", "Slab"}, {"2. Spessore:", "2. Thickness:"}, {"Età:", "Age:"},
        {"(Attenzione)", "Warning"},  // a capital A begins the core too
        {"Spessore (mm):", "Spessore (mm):"},                           // the core runs to the last letter
        {QString::fromUtf8("È Lastra"), QString::fromUtf8("È Slab")},  // upper-case accents stay outside
        {"Perché?", "Why?"}, {"Lastra?", "Lastra?"},                    // a question mark: never trimmed
        {"", ""}, {"Da tradurre", "Da tradurre"}, {"Errore: Spessore", "Error: Thickness"},
        {"ATTENZIONE: lastra troppo corta", "Warning: slab too short"},  // two parts
        {"attenzione!lastra troppo corta ", "Warning: slab too short"},  // the 11th character is skipped
        {"ATTENZIONE!", "Warning: "}, {"&Salva", "Save", "&"}, {"&Salva", "&Save", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(par->Traduci(c.wording, c.characters.isNull() ? QVariant() : QVariant(c.characters)), c.expected)
            << c.wording.toStdString();
    EXPECT_EQ(par->TraduciChiave("taglio", "0007", "&"), "Save");
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0006") + par->TraduciChiave("TAGLIO", "9999"), "???");
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0001", "la"), "Sb");  // case matters
    // In debug mode a wording found only without those characters is found by a scan.
    par->DebugTraduzioni(true);
    EXPECT_EQ(par->Traduci("Salva", "&"), "&Save");
    EXPECT_EQ(par->Traduci("Salva:", "&"), "&Save:");
    EXPECT_TRUE(logLines().isEmpty());
}

TEST_P(TranslationTest, DebugMarksAndLogsGapsOnce) {
    par->DebugTraduzioni(true);
    par->DebugTraduzioni(true);
    ASSERT_EQ(platform.messages().size(), 1u);
    EXPECT_TRUE(platform.messages()[0].text.endsWith("aggiunti al file:\n" + par->PercorsoTemp() + "testi.txt"));

    EXPECT_EQ(par->Traduci("Sconosciuto:"), "{Sconosciuto:}");
    EXPECT_EQ(par->Traduci("Sconosciuto"), "{Sconosciuto}");
    EXPECT_EQ(par->Traduci("Da tradurre"), "[Da tradurre]");
    EXPECT_EQ(par->Traduci("Dove?"), "{Dove?}");
    EXPECT_EQ(logLines(), QStringList({"   MANCANTE:Sconosciuto", "DA TRADURRE:Da tradurre", "   MANCANTE:Dove?"}));

    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0006") + par->TraduciChiave("TAGLIO", "9999"), "!!!9999");
    par->DebugTraduzioni(false);
    EXPECT_EQ(par->Traduci("Sconosciuto:"), "Sconosciuto:");
    EXPECT_EQ(platform.messages().size(), 1u);
}

TEST_P(TranslationTest, TheLanguageIsReadAgainAfterTwoQuietSeconds) {
    auto storeLanguage = [&](const char* value) {
        test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua", regtype::String,
                       {value, value + std::strlen(value)});
    };
    // A lookup that finds the language unchanged does not write it again: every
    // write moves the store's change counter and makes the other programs drop what
    // they have found.
    const QString counter = QString::fromStdString(platform.store().changeFile(Hive::CurrentUser));
    // What another program stores before the lookup, the clock, and what the lookup finds.
    const std::tuple<const char*, double, const char*> steps[] = {
        {nullptr, now + 2.5, "Slab"}, {"3", now + 4.4, "Slab"}, {nullptr, now + 6.3, "Slab"},  // one burst
        {nullptr, now + 8.8, "Platte"}, {"2", 86399.5, "Slab"},
        {"3", 0.3, "Platte"}, {"2", 0.9, "Platte"},  // midnight: the clock went back to zero
    };
    for (const auto& [stored, clock, expected] : steps) {
        if (stored)
            storeLanguage(stored);
        now = clock;
        const QByteArray changes = test::fileBytes(counter);
        EXPECT_EQ(par->Traduci("Lastra"), expected) << clock;
        EXPECT_EQ(test::fileBytes(counter), changes) << clock;
    }

    storeLanguage("abc");
    EXPECT_EQ(par->Lingua(), 3);  // the property falls back on 3, unlike the opening of the database
}

// A database that fails under the lookups: the wordings come back as they do
// without one, and each object says so once, not once per lookup.
using FailingDatabase = TranslationTest;
TEST_P(FailingDatabase, LookupsAnswerAsWithoutADatabaseWithOneMessagePerDatabase) {
    const QString user = platform.folder() + "/CvlTradU.mdb";
    auto answersAsWithoutADatabase = [&](Parametri& p) {
        for (int i = 0; i < 10; ++i, now += 0.5) {
            EXPECT_EQ(p.Traduci("(Lastra)") + p.Traduci("(Lastra):") + p.Traduci("Sconosciuto:") + p.Traduci("Salva", "&"),
                      "Lastra(Lastra):Sconosciuto:Salva");
            EXPECT_EQ(p.TraduciChiave("TAGLIO", "0001"), p.DebugTraduzioni() ? "0001" : "???");
        }
    };
    {
        SqlDatabase other(user, SqlDatabase::Mode::ReadWrite);
        other.exec("BEGIN EXCLUSIVE");
        now += 5;
        answersAsWithoutADatabase(*par);
        EXPECT_TRUE(platform.messages().at(0).text.startsWith("Error while reading language files\n" + user + "\n5 "));
    }
    now += 5;  // the lock is gone: the next burst finds the texts again
    EXPECT_EQ(par->Traduci("(Lastra)"), "Slab");

    // A file that lacks the language's column opens, but no lookup finds anything.
    SqlDatabase(user, SqlDatabase::Mode::ReadWrite).exec("ALTER TABLE Testi DROP COLUMN Testo_03");
    par->Lingua(3);
    Parametri second;
    second.DebugTraduzioni(true);
    answersAsWithoutADatabase(second);
    EXPECT_EQ(platform.messages().size(), 3u);  // one message per object, not per lookup
    EXPECT_TRUE(logLines().isEmpty());
}
INSTANTIATE_TEST_SUITE_P(Locked, FailingDatabase, ::testing::Values(false));

INSTANTIATE_TEST_SUITE_P(Layouts, TranslationTest, ::testing::Bool());

}  // namespace
}  // namespace paramcor
