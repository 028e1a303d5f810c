// Finding, delivering, merging and opening the text database.
#include "param/FolderSetup.h"
#include "param/registry/MainParametri.h"
#include "support/TestPlatform.h"
#include "support/TextFiles.h"
#include "texts/TextDatabase.h"
#include "texts/TextTable.h"
#include "units/UnitRows.h"

#include <QCoreApplication>
#include <QFile>
#include <QLockFile>

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <thread>

namespace paramcor {
namespace {

using test::TextRow;

class TextDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        user = platform.folder() + "/CvlTradU.mdb";
        delivered = platform.folder() + "/CvlTrad.mdb";
        QFile::remove(user);
        ASSERT_TRUE(setUpFolders(folders, MainParametri::instance(), readInstallation("")));
        MainParametri::instance().selectHive(Hive::CurrentUser, false);
    }

    // As the creation sequence wires it.
    TextDatabase::Setup setup() {
        return {folders.Percorso("Testi"), &VerificaFile, &units::ControllaValori};
    }
    // Each opening is a new object's.
    bool open() {
        texts.emplace(MainParametri::instance());
        return texts->ApriDatabaseTesti(setup());
    }
    const std::vector<test::RecordedMessage>& messages() { return platform.messages(); }

    test::TestPlatform platform;
    Folders folders{MainParametri::instance()};
    std::optional<TextDatabase> texts;
    QString user;
    QString delivered;
};

TEST_F(TextDatabaseTest, ADeliveryIsCopiedWhenThereIsNoUserFileAndThenSetAside) {
    const std::vector<TextRow> rows{{"TAGLIO", "0001", "Lastra", "Slab"}, {"TAGLIO", "0002", "Taglio", "Cut"}};
    test::writeTextFile(delivered, rows);
    const QByteArray deliveredBytes = test::fileBytes(delivered);
    EXPECT_TRUE(open());
    EXPECT_EQ(test::readTextFile(user), rows);
    EXPECT_FALSE(QFile::exists(delivered));
    EXPECT_EQ(test::fileBytes(delivered + ".old"), deliveredBytes);
    EXPECT_FALSE(QFile::exists(user + ".old"));
    EXPECT_TRUE(messages().empty());

    // A copy that fails stops the opening with its message.
    test::writeTextFile(delivered, rows);
    QFile::remove(delivered + ".old");
    QDir().mkpath(delivered + ".old/occupied");  // a folder where the backup must go
    EXPECT_FALSE(open());
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_TRUE(messages()[0].text.startsWith("Error while copying language files\n" + delivered + "\n"));
    EXPECT_EQ(messages()[0].flags, 16);
    EXPECT_FALSE(texts->isOpen());
}

// The user's texts in a file the library made, or in one with plain columns (true).
class TextLayouts : public TextDatabaseTest, public ::testing::WithParamInterface<bool> {
protected:
    void writeUserFile(const std::vector<TextRow>& rows) {
        test::writeTextFile(user, rows);
        if (GetParam())
            test::redeclarePlain(user);
    }
};

INSTANTIATE_TEST_SUITE_P(Layouts, TextLayouts, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "PlainColumns" : "MadeByTheLibrary"; });

TEST_P(TextLayouts, WordingsAndKeysAreSoughtWithoutRegardToCaseThroughTheirIndexes) {
    writeUserFile({{"TAGLIO", "0001", "Lastra", "Slab"}, {"CNC", "0001", "LASTRA", "Slab"}});
    SqlDatabase db(user, SqlDatabase::Mode::ReadOnly);
    auto count = db.prepare(
        ("SELECT count(*) FROM Testi WHERE " + texts::wordingIs(1) + " AND " + texts::keyIs(2)).toUtf8().constData());
    ASSERT_TRUE(count.bind(1, QString("lastra")).bind(2, QString("cnc")).bind(3, QString("0001")).step());
    EXPECT_EQ(count.integer(0), 1);
    for (const auto& [condition, index] : {std::pair{texts::wordingIs(1), "TestiK2"}, {texts::keyIs(1), "TestiK1"}}) {
        auto plan = db.prepare(("EXPLAIN QUERY PLAN SELECT rowid FROM Testi WHERE " + condition).toUtf8().constData());
        ASSERT_TRUE(plan.step());
        EXPECT_TRUE(plan.text(3).contains(QString("USING INDEX %1").arg(index)) ||
                    plan.text(3).contains(QString("USING COVERING INDEX %1").arg(index)))
            << plan.text(3).toStdString();
    }
}

TEST_P(TextLayouts, MergeKeepsCorrectionsAndUpdatesEverySharedWording) {
    writeUserFile({
        {"CNC", "0001", "Salva", "Save (old)", "20250101"},
        {"TAGLIO", "0001", "Salva", "Save (old)", "20250101"},
        {"TAGLIO", "0002", "Lastra", "My slab", "20250101", true},
        {"TAGLIO", "0003", "Vecchio", "Old", "20250101", true},
        {"TAGLIO", "0004", "Uguale", "Same", "20260301"},
        {"TAGLIO", "0005", "salva", "save, lower case", "20250101"},
    });
    test::writeTextFile(delivered,
                        {
                            {"TAGLIO", "0001", "Salva", "Save", "20260301"},
                            {"TAGLIO", "0002", "Lastra", "Slab", "20260301"},
                            {"TAGLIO", "0003", "Nuovo", "New", "20260301"},  // new wording, known key
                            {"TAGLIO", "0004", "Uguale", "Changed", "20260301"},
                            {"LASTRE", "0001", "Spessore", "Thickness", "20260301"},
                            {"LASTRE", "0002", "UGUALE", "SAME", "20260301"},  // found, but not to the letter
                        });
    EXPECT_TRUE(open());
    EXPECT_EQ(texts->lastMerge().added, 1);
    EXPECT_EQ(texts->lastMerge().replaced, 1);
    EXPECT_EQ(texts->lastMerge().updated, 2);
    const std::vector<TextRow> expected{
        {"CNC", "0001", "Salva", "Save", "20260301"},
        {"LASTRE", "0001", "Spessore", "Thickness", "20260301"},
        {"TAGLIO", "0001", "Salva", "Save", "20260301"},
        {"TAGLIO", "0002", "Lastra", "My slab", "20250101", true},  // corrected by the user
        {"TAGLIO", "0003", "Nuovo", "New", "20260301"},             // taken whole, correction or not
        {"TAGLIO", "0004", "Uguale", "Same", "20260301"},           // same date: left alone
        {"TAGLIO", "0005", "salva", "save, lower case", "20250101"},
    };
    EXPECT_EQ(test::readTextFile(user), expected);
    EXPECT_TRUE(messages().empty());
    EXPECT_FALSE(QFile::exists(user + ".old"));
    EXPECT_TRUE(QFile::exists(delivered + ".old"));

    // The same delivery once more changes nothing.
    QFile::copy(delivered + ".old", delivered);
    EXPECT_TRUE(open());
    EXPECT_EQ(texts->lastMerge().added + texts->lastMerge().replaced + texts->lastMerge().updated, 0);
    EXPECT_EQ(test::readTextFile(user), expected);
}

TEST_F(TextDatabaseTest, ADeliveryThatAnotherProgramHoldsIsWaitedForAndSaidSo) {
    test::writeTextFile(delivered, {{"TAGLIO", "0001", "Lastra", "Slab"}});
    QLockFile holder(delivered + ".lock");
    ASSERT_TRUE(holder.tryLock(0));
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        holder.unlock();
    });
    EXPECT_TRUE(open());
    release.join();
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_TRUE(messages()[0].text.startsWith("Waiting for another program")) << messages()[0].text.toStdString();
    EXPECT_TRUE(messages()[0].text.contains(QString("(process %1)").arg(QCoreApplication::applicationPid())));
    EXPECT_FALSE(QFile::exists(delivered));  // delivered once the holder let go
}

// Replaced, with a backup, rather than merged: a user file too old, or a file of
// another width, which is said.
TEST_F(TextDatabaseTest, OlderOrNarrowFilesAreReplacedWithABackup) {
    const std::vector<TextRow> deliveredRows{{"TAGLIO", "0001", "Lastra", "Slab", "20260301"}};
    const std::vector<TextRow> userRows{{"TAGLIO", "0009", "Mia", "Mine", "20250101", true}};
    const struct {
        QString version;
        bool merged;
        const QString* narrow = nullptr;
    } cases[] = {{"5.9", false}, {"10.0.0", false}, {"", false}, {" 6.0.0 ", true}, {"6.1", true}, {"7", true},
                 {"6.0.0", false, &user}, {"6.0.0", false, &delivered}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.version.toStdString() + (c.narrow ? " narrow " + c.narrow->toStdString() : ""));
        test::writeTextFile(user, userRows, c.version);
        test::writeTextFile(delivered, deliveredRows);
        QFile::remove(user + ".old");
        if (c.narrow)
            SqlDatabase(*c.narrow, SqlDatabase::Mode::ReadWrite).exec("ALTER TABLE Testi DROP COLUMN ChiaviRicerca");
        const auto before = messages().size();
        // A narrow delivery replaces the user file all the same; the unit rows then
        // do not fit it, and the opening fails.
        EXPECT_EQ(open(), c.narrow != &delivered);
        EXPECT_FALSE(QFile::exists(delivered));
        EXPECT_EQ(test::readTextFile(user).size(), c.merged ? 2u : 1u);
        EXPECT_EQ(QFile::exists(user + ".old"), !c.merged);
        if (!c.merged) {
            EXPECT_EQ(test::readTextFile(user + ".old"), userRows);
        }
        if (!c.narrow) {
            EXPECT_EQ(messages().size(), before);
            continue;
        }
        ASSERT_EQ(messages().size(), before + (c.narrow == &user ? 1 : 2));
        EXPECT_EQ(messages()[before].text, "Wrong Fields No. for: \n\n" + *c.narrow);
        EXPECT_EQ(messages()[before].flags, 64);
        EXPECT_EQ(messages()[before].title, "CVLParamCor");
        EXPECT_TRUE(messages().back().text.startsWith(c.narrow == &user ? "Wrong"
                                                                        : "Error while opening language files\n" + user));
    }
}

TEST_F(TextDatabaseTest, AMissingOrReadOnlyUserFileIsSaidTwiceAndTheLanguageIsStillRead) {
    EXPECT_FALSE(open());
    ASSERT_EQ(messages().size(), 2u);
    EXPECT_EQ(messages()[0].text, "Missing file \n\n" + user);
    EXPECT_EQ(messages()[0].flags, 16);
    EXPECT_EQ(messages()[0].title, "CVLParamCor");
    EXPECT_EQ(messages()[1].text, "Cannot open language file\n" + user);
    EXPECT_EQ(messages()[1].flags, 16);
    EXPECT_TRUE(messages()[1].title.isNull());
    EXPECT_EQ(texts->language(), 1);
    EXPECT_TRUE(test::storedValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua").found);

    test::writeTextFile(user, {});
    QFile::setPermissions(user, QFileDevice::ReadOwner);
    // The number falls back on English, unlike the property's reading.
    for (const auto& [stored, language] : {std::pair<const char*, short>{"3", 3}, {"4.6", 5}, {"0", 2}, {"", 2},
                                           {"abc", 2}, {"-1", 2}, {"99999", 2}}) {
        test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua", regtype::String,
                       {stored, stored + std::strlen(stored)});
        EXPECT_FALSE(open());
        EXPECT_EQ(texts->language(), language) << stored;
    }
    EXPECT_TRUE(messages()[2].text.startsWith("This file cannot be Read Only "));
    EXPECT_EQ(messages()[3].text, "Cannot open language file\n" + user);
}

TEST_F(TextDatabaseTest, FilesThatAreNotTextDatabasesAreNeverTouched) {
    QByteArray jet(2048, '\0');
    jet.replace(0, 19, QByteArray("\x00\x01\x00\x00Standard Jet DB", 19));
    SqlDatabase(user + ".other", SqlDatabase::Mode::Create).exec("CREATE TABLE Clienti(Nome TEXT)");
    const struct {
        QByteArray content;
        QString reason;
    } cases[] = {
        {QByteArray(5000, 'x'), "it is not a text database"},
        {QByteArray(), "the file is empty"},
        {jet, "it is an Access database made on Windows; convert it to the new text database format first"},
        {test::fileBytes(user + ".other"), "it is a database of another program: it has no table Testi"},
    };
    auto write = [](const QString& path, const QByteArray& content) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason.toStdString());
        const auto before = messages().size();
        // A bad delivery: reported, not consumed, and the user file opens as it is.
        test::writeTextFile(user, {{"TAGLIO", "0001", "Lastra", "Slab"}});
        write(delivered, c.content);
        EXPECT_TRUE(open());
        ASSERT_EQ(messages().size(), before + 1);
        EXPECT_EQ(messages().back().text, "Cannot use the delivered language file\n" + delivered + "\n" + c.reason);
        EXPECT_EQ(test::fileBytes(delivered), c.content);
        EXPECT_EQ(test::readTextFile(user).size(), 1u);

        // A bad user file: the delivery waits, and the opening says what is wrong.
        write(user, c.content);
        test::writeTextFile(delivered, {{"TAGLIO", "0001", "Lastra", "Slab"}});
        const QByteArray deliveredBytes = test::fileBytes(delivered);
        EXPECT_FALSE(open());
        ASSERT_EQ(messages().size(), before + 2);
        EXPECT_EQ(messages().back().text, "Error while opening language files\n" + user + "\n26 " + c.reason);
        EXPECT_EQ(test::fileBytes(user), c.content);
        EXPECT_EQ(test::fileBytes(delivered), deliveredBytes);
        QFile::remove(delivered);
    }
}

}  // namespace
}  // namespace paramcor
