// Looking texts up by wording and by key, the debug marks and the missing-text log.
#include "param/registry/MainParametri.h"
#include "support/TestPlatform.h"
#include "support/TextFiles.h"
#include "texts/SqlDatabase.h"

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
                            {
                                {"TAGLIO", "0001", "Lastra", "Slab", "20260101", false, "Platte"},
                                {"TAGLIO", "0002", "Spessore", "Thickness", "20260101", false, "Dicke"},
                                {"TAGLIO", "0003", "Attenzione", "Warning", "20260101", false, "Achtung"},
                                {"TAGLIO", "0004", "Errore", "Error", "20260101", false, "Fehler"},
                                {"TAGLIO", "0005", "lastra troppo corta", "slab too short"},
                                {"TAGLIO", "0006", "Da tradurre", ""},
                                {"TAGLIO", "0007", "&Salva", "&Save"},
                                {"TAGLIO", "0008", "Età", "Age"},
                                {"TAGLIO", "0009", "Perché?", "Why?"},
                            });
        if (GetParam())
            test::redeclarePlain(platform.folder() + "/CvlTradU.mdb");
        par = std::make_unique<Parametri>();
        par->Lingua(2);
        ASSERT_TRUE(platform.messages().empty());
    }
    QStringList logLines() {
        QFile log(par->PercorsoTemp() + "testi.txt");
        if (!log.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(log.readAll()).split("\r\n", Qt::SkipEmptyParts);
    }
    void TearDown() override { QFile::remove(par->PercorsoTemp() + "testi.txt"); }

    test::TestPlatform platform;
    double now = 1000;
    std::unique_ptr<Parametri> par;
};

TEST_P(TranslationTest, WordingsAreFoundAsGivenThenWithoutTheirPunctuation) {
    const std::pair<QString, QString> cases[] = {
        {"Lastra", "Slab"},
        {"lastra", "Slab"},  // the index ignores case
        {"Lastra:", "Slab:"},
        {"(Lastra)", "Slab"},  // the parentheses are not put back
        {"  Lastra 3 ", "  Slab 3 "},
        {"2. Spessore:", "2. Thickness:"},
        {"Spessore (mm):", "Spessore (mm):"},  // the core runs to the last letter
        {"Età", "Age"},
        {"Età:", "Age:"},
        {QString::fromUtf8("È Lastra"), QString::fromUtf8("È Slab")},  // upper-case accents stay outside
        {"Perché?", "Why?"},
        {"Lastra?", "Lastra?"},  // a question mark: never trimmed
        {"123", "123"},
        {"", ""},
        {"Sconosciuto", "Sconosciuto"},
        {"Da tradurre", "Da tradurre"},
        {"ATTENZIONE", "Warning"},  // ten letters: an ordinary wording, found without regard to case
        {"ATTENZIONE: lastra troppo corta", "Warning: slab too short"},  // two parts
        {"attenzione!lastra troppo corta ", "Warning: slab too short"},  // the 11th character is skipped
        {"ATTENZIONE!", "Warning: "},
        {"Errore: Spessore", "Error: Thickness"},
        {"ERRORE", "Error"},
        {"Errore", "Error"},
    };
    for (const auto& [wording, expected] : cases)
        EXPECT_EQ(par->Traduci(wording), expected) << wording.toStdString();
    EXPECT_TRUE(logLines().isEmpty());
    EXPECT_TRUE(platform.messages().empty());
}

TEST_P(TranslationTest, CharactersAreRemovedFromTranslations) {
    EXPECT_EQ(par->Traduci("&Salva", "&"), "Save");
    EXPECT_EQ(par->Traduci("&Salva"), "&Save");
    EXPECT_EQ(par->Traduci("&Salva", ""), "&Save");
    EXPECT_EQ(par->TraduciChiave("taglio", "0007", "&"), "Save");
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
    EXPECT_EQ(platform.messages()[0].text,
              "ATTENZIONE! Debug testi abilitato.\n\nI testi mancanti verranno aggiunti al file:\n" +
                  par->PercorsoTemp() + "testi.txt");
    EXPECT_EQ(platform.messages()[0].flags, 48);
    EXPECT_TRUE(platform.messages()[0].title.isNull());

    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(par->Traduci("Sconosciuto:"), "{Sconosciuto:}");
    EXPECT_EQ(par->Traduci("Da tradurre"), "[Da tradurre]");
    EXPECT_EQ(par->Traduci("Dove?"), "{Dove?}");
    EXPECT_EQ(par->Traduci("Lastra"), "Slab");
    EXPECT_EQ(logLines(), QStringList({"   MANCANTE:Sconosciuto", "DA TRADURRE:Da tradurre", "   MANCANTE:Dove?"}));

    par->DebugTraduzioni(false);
    EXPECT_EQ(par->Traduci("Sconosciuto:"), "Sconosciuto:");
    EXPECT_EQ(platform.messages().size(), 1u);
}

TEST_P(TranslationTest, KeysInEveryCase) {
    EXPECT_EQ(par->TraduciChiave("taglio", "0001"), "Slab");
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "9999"), "???");
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0006"), "");
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0008"), "Age");
    {
        SqlDatabase db(platform.folder() + "/CvlTradU.mdb", SqlDatabase::Mode::ReadWrite);
        db.exec("UPDATE Testi SET Testo_02 = NULL WHERE Progressivo = '0008'");
    }
    now += 1;
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0008"), "Age");  // the same burst
    now += 2.5;
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0008"), "");  // a NULL cell reads as empty
    par->DebugTraduzioni(true);
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0006"), "!!!");
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0008"), "!!!");
    EXPECT_EQ(par->TraduciChiave("Taglio", "x9999"), "x9999");
}

TEST_P(TranslationTest, TheLanguageIsReadAgainAfterTwoQuietSeconds) {
    auto storeLanguage = [&](const char* value) {
        test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua", regtype::String,
                       {value, value + std::strlen(value)});
    };
    // A burst that finds the language unchanged does not write it again: every
    // write makes the other programs drop what they have found.
    auto counting = std::make_shared<test::CountingStore>(paramcor::platform().registry);
    paramcor::platform().registry = counting;
    now += 2.5;
    EXPECT_EQ(par->Traduci("Lastra"), "Slab");
    EXPECT_EQ(counting->writes["Lingua"], 0);
    storeLanguage("3");  // another program changes the language
    now += 1.9;
    EXPECT_EQ(par->Traduci("Lastra"), "Slab");
    now += 1.9;
    EXPECT_EQ(par->Traduci("Lastra"), "Slab");  // still the same burst
    now += 2.5;
    EXPECT_EQ(par->Traduci("Lastra"), "Platte");
    storeLanguage("2");
    now = 86399.5;
    EXPECT_EQ(par->Traduci("Lastra"), "Slab");
    storeLanguage("3");
    now = 0.3;  // midnight: the clock went back to zero
    EXPECT_EQ(par->Traduci("Lastra"), "Platte");
    storeLanguage("2");
    now = 0.9;
    EXPECT_EQ(par->Traduci("Lastra"), "Platte");

    // The property falls back on 3, unlike the opening of the database.
    storeLanguage("0");
    EXPECT_EQ(par->Lingua(), 3);
    storeLanguage("abc");
    EXPECT_EQ(par->Lingua(), 3);
    par->Lingua(4);
    EXPECT_EQ(test::storedValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua").bytes,
              (std::vector<std::uint8_t>{'4'}));
    EXPECT_EQ(par->Lingua(), 4);
}

TEST_P(TranslationTest, WithoutADatabaseWordingsComeBackAsGiven) {
    QFile::remove(platform.folder() + "/CvlTradU.mdb");
    Parametri bare;
    EXPECT_EQ(bare.Traduci("(Lastra)"), "Lastra");
    EXPECT_EQ(bare.Traduci("(Lastra):"), "(Lastra):");
    EXPECT_EQ(bare.Traduci("Sconosciuto"), "Sconosciuto");
    EXPECT_EQ(bare.TraduciChiave("TAGLIO", "0001"), "???");
    bare.DebugTraduzioni(true);
    EXPECT_EQ(bare.Traduci("Sconosciuto"), "Sconosciuto");
    EXPECT_EQ(bare.TraduciChiave("TAGLIO", "0001"), "0001");
    EXPECT_EQ(helpString("Lingua"), "Imposta il numero della lingua.");
    EXPECT_EQ(helpString(""), "CORVEL - CVLparamcor");
    EXPECT_EQ(helpString("Traduci"), "");
}

TEST_P(TranslationTest, CorrectingTextsIsOnlyForTranslations) {
    par->Lingua(1);
    now += 5;
    par->Traduci("x");  // a new burst reads the language
    par->CambiaTesto();
    EXPECT_TRUE(platform.messages().empty());
    par->Lingua(2);
    par->CambiaTesto();
    ASSERT_EQ(platform.messages().size(), 1u);  // the headless windows say there is none
    EXPECT_FALSE(par->CambiaLingua());
    EXPECT_EQ(par->Lingua(), 2);
}

// A database that fails under the lookups: the wordings come back as they would
// without one, and each object says so once, not once per lookup.
using FailingDatabase = TranslationTest;
TEST_P(FailingDatabase, LookupsGiveTheWordingBackWithOneMessagePerDatabase) {
    const QString user = platform.folder() + "/CvlTradU.mdb";
    {
        SqlDatabase other(user, SqlDatabase::Mode::ReadWrite);
        other.exec("BEGIN EXCLUSIVE");
        now += 5;
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(par->Traduci("(Spessore)"), "Spessore");
            EXPECT_EQ(par->TraduciChiave("TAGLIO", "0002"), "???");
        }
        ASSERT_EQ(platform.messages().size(), 1u);
        EXPECT_TRUE(platform.messages()[0].text.startsWith("Error while reading language files\n" + user + "\n5 "))
            << platform.messages()[0].text.toStdString();
        EXPECT_EQ(platform.messages()[0].flags, mb::Critical);
    }
    now += 5;  // the lock is gone: the next burst finds the texts again
    EXPECT_EQ(par->Traduci("(Spessore)"), "Thickness");
    EXPECT_EQ(par->TraduciChiave("TAGLIO", "0002"), "Thickness");

    // A file that lacks the language's column opens, but no lookup finds anything.
    SqlDatabase(user, SqlDatabase::Mode::ReadWrite).exec("ALTER TABLE Testi DROP COLUMN Testo_03");
    par->Lingua(3);
    Parametri second;
    second.DebugTraduzioni(true);
    for (int i = 0; i < 20; ++i, now += 0.5) {
        EXPECT_EQ(second.Traduci("Lastra"), "Lastra");
        EXPECT_EQ(second.Traduci("Sconosciuto:"), "Sconosciuto:");
        EXPECT_EQ(second.Traduci("Salva", "&"), "Salva");
        EXPECT_EQ(second.TraduciChiave("TAGLIO", "0001"), "0001");
    }
    ASSERT_EQ(platform.messages().size(), 3u);
    EXPECT_TRUE(platform.messages()[2].text.startsWith("Error while reading language files\n" + user + "\n1 "))
        << platform.messages()[2].text.toStdString();
    EXPECT_TRUE(logLines().isEmpty());
}
INSTANTIATE_TEST_SUITE_P(Locked, FailingDatabase, ::testing::Values(false));

INSTANTIATE_TEST_SUITE_P(Layouts, TranslationTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "PlainColumns" : "MadeByTheLibrary"; });

}  // namespace
}  // namespace paramcor
