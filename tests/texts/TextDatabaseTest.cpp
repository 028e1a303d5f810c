// Finding, delivering, merging and opening the text database.
#include "param/FolderSetup.h"
#include "selection/MainParametri.h"
#include "support/TestPlatform.h"
#include "support/TextFiles.h"
#include "texts/TextDatabase.h"
#include "units/UnitRows.h"

#include <QFile>

#include <gtest/gtest.h>

#include <optional>

namespace paramcor {
namespace {

using test::TextRow;

class TextDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        QFile::remove(user);
        ASSERT_TRUE(setUpFolders(folders, MainParametri::instance(), readInstallation("")));
        MainParametri::instance().selectHive(Hive::CurrentUser, false);
    }
    // Each opening is a new object's, wired as the creation sequence wires it.
    bool open() {
        texts.emplace(MainParametri::instance());
        return texts->ApriDatabaseTesti({folders.Percorso("Testi"), &VerificaFile, &units::ControllaValori});
    }
    const std::vector<test::RecordedMessage>& messages() { return platform.messages(); }

    test::TestPlatform platform;
    Folders folders{MainParametri::instance()};
    std::optional<TextDatabase> texts;
    const QString user = platform.folder() + "/CvlTradU.mdb";
    const QString delivered = platform.folder() + "/CvlTrad.mdb";
};
// The user's texts in a file the library made, or in one with plain columns (true).
class TextLayouts : public TextDatabaseTest, public ::testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(Layouts, TextLayouts, ::testing::Bool());

TEST_F(TextDatabaseTest, ADeliveryIsCopiedWhenThereIsNoUserFileAndThenSetAside) {
    const std::vector<TextRow> rows{{"TAGLIO", "0001", "Lastra", "Slab"}, {"TAGLIO", "0002", "Taglio", "Cut"}};
    test::writeTextFile(delivered, rows);
    const QByteArray deliveredBytes = test::fileBytes(delivered);
    EXPECT_TRUE(open());
    EXPECT_EQ(test::readTextFile(user), rows);
    EXPECT_EQ(test::fileBytes(delivered + ".old"), deliveredBytes);
    EXPECT_TRUE(messages().empty() && !QFile::exists(delivered));

    // A copy that fails stops the opening with its message.
    test::writeTextFile(delivered, rows);
    QFile::remove(delivered + ".old");
    QDir().mkpath(delivered + ".old/occupied");  // a folder where the backup must go
    EXPECT_FALSE(open());
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_TRUE(messages()[0].text.startsWith("Error while copying language files\n" + delivered + "\n"));
}

TEST_P(TextLayouts, MergeKeepsCorrectionsAndUpdatesEverySharedWording) {
    test::writeTextFile(user, {{"CNC", "0001", "Salva", "Save (old)", "20250101"},
                               {"TAGLIO", "0001", "Salva", "Save (old)", "20250101"},
                               {"TAGLIO", "0002", "Lastra", "My slab", "20250101", true},
                               {"TAGLIO", "0003", "Vecchio", "Old", "20250101", true},
                               {"TAGLIO", "0004", "Uguale", "Same", "20260301"},
                               {"TAGLIO", "0005", "salva", "save, lower case", "20250101"}});
    if (GetParam())
        test::redeclarePlain(user);
    test::writeTextFile(delivered, {{"TAGLIO", "0001", "Salva", "Save", "20260301"},
                                    {"TAGLIO", "0002", "Lastra", "Slab", "20260301"},
                                    {"TAGLIO", "0003", "Nuovo", "New", "20260301"},  // new wording, known key
                                    {"TAGLIO", "0004", "Uguale", "Changed", "20260301"},
                                    {"LASTRE", "0001", "Spessore", "Thickness", "20260301"},
                                    {"LASTRE", "0002", "UGUALE", "SAME", "20260301"}});  // not found to the letter
    EXPECT_TRUE(open());
    const auto merge = texts->lastMerge();
    EXPECT_EQ(std::tuple(merge.added, merge.replaced, merge.updated), std::tuple(1, 1, 2));
    const std::vector<TextRow> expected{
        {"CNC", "0001", "Salva", "Save", "20260301"}, {"LASTRE", "0001", "Spessore", "Thickness", "20260301"},
        {"TAGLIO", "0001", "Salva", "Save", "20260301"},
        {"TAGLIO", "0002", "Lastra", "My slab", "20250101", true},  // corrected by the user
        {"TAGLIO", "0003", "Nuovo", "New", "20260301"},             // taken whole, correction or not
        {"TAGLIO", "0004", "Uguale", "Same", "20260301"},           // same date: left alone
        {"TAGLIO", "0005", "salva", "save, lower case", "20250101"}};
    EXPECT_EQ(test::readTextFile(user), expected);
    EXPECT_TRUE(messages().empty() && !QFile::exists(user + ".old"));

    // The same delivery once more changes nothing.
    QFile::copy(delivered + ".old", delivered);
    EXPECT_TRUE(open());
    EXPECT_EQ(texts->lastMerge().added + texts->lastMerge().replaced + texts->lastMerge().updated, 0);
    EXPECT_EQ(test::readTextFile(user), expected);
}

// Replaced, with a backup, rather than merged: a user file too old, or a file of
// another width, which is said.
TEST_F(TextDatabaseTest, OlderOrNarrowFilesAreReplacedWithABackup) {
    const std::vector<TextRow> userRows{{"TAGLIO", "0009", "Mia", "Mine", "20250101", true}};
    // The user file's version, whether it is merged, and the file without a column.
    const std::tuple<QString, bool, const QString*> cases[] = {
        {"5.9", false, nullptr}, {"10.0.0", false, nullptr}, {"", false, nullptr},     {" 6.0.0 ", true, nullptr},
        {"7", true, nullptr},    {"6.0.0", false, &user},    {"6.0.0", false, &delivered}};
    for (const auto& [version, merged, narrow] : cases) {
        SCOPED_TRACE(version.toStdString() + (narrow ? " narrow " + narrow->toStdString() : ""));
        test::writeTextFile(user, userRows, version);
        test::writeTextFile(delivered, {{"TAGLIO", "0001", "Lastra", "Slab", "20260301"}});
        QFile::remove(user + ".old");
        if (narrow)
            SqlDatabase(*narrow, SqlDatabase::Mode::ReadWrite).exec("ALTER TABLE Testi DROP COLUMN ChiaviRicerca");
        const auto before = messages().size();
        // A narrow delivery replaces the user file all the same; the unit rows then
        // do not fit it, and the opening fails.
        EXPECT_EQ(open(), narrow != &delivered);
        EXPECT_FALSE(QFile::exists(delivered));
        EXPECT_EQ(test::readTextFile(user).size(), merged ? 2u : 1u);
        EXPECT_EQ(QFile::exists(user + ".old") ? test::readTextFile(user + ".old") : std::vector<TextRow>{},
                  merged ? std::vector<TextRow>{} : userRows);
        EXPECT_EQ(messages().size(), before + (!narrow ? 0 : narrow == &user ? 1 : 2));
        EXPECT_EQ(messages().size() == before ? QString() : messages()[before].text,
                  narrow ? "Wrong Fields No. for: \n\n" + *narrow : QString());
    }
}

TEST_F(TextDatabaseTest, AMissingOrReadOnlyUserFileIsSaidTwiceAndTheLanguageIsStillRead) {
    EXPECT_FALSE(open());
    ASSERT_EQ(messages().size(), 2u);
    EXPECT_EQ(messages()[0].text + messages()[1].text,
              "Missing file \n\n" + user + "Cannot open language file\n" + user);
    EXPECT_EQ(texts->language(), 1);
    EXPECT_TRUE(test::storedValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua").found);

    test::writeTextFile(user, {});
    QFile::setPermissions(user, QFileDevice::ReadOwner);
    test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua", regtype::String, {'0'});
    EXPECT_FALSE(open());
    EXPECT_EQ(texts->language(), 2);  // English, unlike the property's reading
    EXPECT_TRUE(messages()[2].text.startsWith("This file cannot be Read Only "));
}

TEST_F(TextDatabaseTest, FilesThatAreNotTextDatabasesAreNeverTouched) {
    QByteArray jet(2048, '\0');
    jet.replace(0, 19, QByteArray("\x00\x01\x00\x00Standard Jet DB", 19));
    SqlDatabase(user + ".other", SqlDatabase::Mode::Create).exec("CREATE TABLE Clienti(Nome TEXT)");
    const std::pair<QByteArray, QString> cases[] = {
        {QByteArray(5000, 'x'), "it is not a text database"},
        {QByteArray(), "the file is empty"},
        {jet, "it is an Access database made on Windows; convert it to the new text database format first"},
        {test::fileBytes(user + ".other"), "it is a database of another program: it has no table Testi"},
    };
    for (const auto& [content, reason] : cases) {
        SCOPED_TRACE(reason.toStdString());
        // A bad delivery: reported, not consumed, and the user file opens as it is.
        test::writeTextFile(user, {{"TAGLIO", "0001", "Lastra", "Slab"}});
        test::writeFile(delivered, content);
        EXPECT_TRUE(open());
        EXPECT_EQ(messages().back().text, "Cannot use the delivered language file\n" + delivered + "\n" + reason);
        EXPECT_EQ(test::fileBytes(delivered), content);

        // A bad user file: the delivery waits, and the opening says what is wrong.
        test::writeFile(user, content);
        test::writeTextFile(delivered, {{"TAGLIO", "0001", "Lastra", "Slab"}});
        EXPECT_FALSE(open());
        EXPECT_EQ(messages().back().text, "Error while opening language files\n" + user + "\n26 " + reason);
        EXPECT_EQ(test::fileBytes(user), content);
        EXPECT_TRUE(QFile::remove(delivered));  // left for a later opening
    }
}

}  // namespace
}  // namespace paramcor
