// Finding, delivering, merging and opening the text database.
#include "folders/InstallationFile.h"
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
        ASSERT_TRUE(InstallationFile(folders).read(""));
        MainParametri::instance().selectHive(Hive::CurrentUser, false);
    }

    // As the creation sequence wires it.
    TextDatabase::Setup setup() {
        return {folders.Percorso("Testi"), &VerificaFile, &units::ControllaValori};
    }
    bool open() { return texts.ApriDatabaseTesti(setup()); }
    const std::vector<test::RecordedMessage>& messages() { return platform.messages(); }

    test::TestPlatform platform;
    Folders folders;
    TextDatabase texts{MainParametri::instance()};
    QString user;
    QString delivered;
};

TEST_F(TextDatabaseTest, DeliveredFileIsCopiedWhenThereIsNoUserFileAndThenSetAside) {
    const std::vector<TextRow> rows{{"TAGLIO", "0001", "Lastra", "Slab"}, {"TAGLIO", "0002", "Taglio", "Cut"}};
    test::writeTextFile(delivered, rows);
    const QByteArray deliveredBytes = test::fileBytes(delivered);
    EXPECT_TRUE(open());
    EXPECT_EQ(test::readTextFile(user), rows);
    EXPECT_FALSE(QFile::exists(delivered));
    EXPECT_EQ(test::fileBytes(delivered + ".old"), deliveredBytes);
    EXPECT_FALSE(QFile::exists(user + ".old"));
    EXPECT_TRUE(messages().empty());
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
    EXPECT_EQ(texts.lastMerge().added, 1);
    EXPECT_EQ(texts.lastMerge().replaced, 1);
    EXPECT_EQ(texts.lastMerge().updated, 2);
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
    TextDatabase again{MainParametri::instance()};
    EXPECT_TRUE(again.ApriDatabaseTesti(setup()));
    EXPECT_EQ(again.lastMerge().added + again.lastMerge().replaced + again.lastMerge().updated, 0);
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

TEST_F(TextDatabaseTest, OlderOrOddVersionsAreReplacedWithABackup) {
    const std::vector<TextRow> deliveredRows{{"TAGLIO", "0001", "Lastra", "Slab", "20260301"}};
    const std::vector<TextRow> userRows{{"TAGLIO", "0009", "Mia", "Mine", "20250101", true}};
    struct Case {
        QString version;
        bool merged;
    };
    for (const Case& c : {Case{"5.9", false}, Case{"10.0.0", false}, Case{"", false}, Case{" 6.0.0 ", true},
                          Case{"6.1", true}, Case{"7", true}}) {
        SCOPED_TRACE(c.version.toStdString());
        test::writeTextFile(user, userRows, c.version);
        test::writeTextFile(delivered, deliveredRows);
        QFile::remove(user + ".old");
        TextDatabase database{MainParametri::instance()};
        EXPECT_TRUE(database.ApriDatabaseTesti(setup()));
        if (c.merged) {
            EXPECT_EQ(test::readTextFile(user).size(), 2u);
            EXPECT_FALSE(QFile::exists(user + ".old"));
        } else {
            EXPECT_EQ(test::readTextFile(user), deliveredRows);
            EXPECT_EQ(test::readTextFile(user + ".old"), userRows);
        }
    }
    EXPECT_TRUE(messages().empty());
}

TEST_F(TextDatabaseTest, FilesOfAnotherWidthAreReplacedNotMerged) {
    const std::vector<TextRow> rows{{"TAGLIO", "0001", "Lastra", "Slab"}};
    for (const bool userIsNarrow : {true, false}) {
        SCOPED_TRACE(userIsNarrow ? "narrow user file" : "narrow delivered file");
        const QString narrow = userIsNarrow ? user : delivered;
        test::writeTextFile(user, {{"TAGLIO", "0009", "Mia", "Mine"}});
        test::writeTextFile(delivered, rows);
        {
            SqlDatabase db(narrow, SqlDatabase::Mode::ReadWrite);
            db.exec("ALTER TABLE Testi DROP COLUMN ChiaviRicerca");
        }
        const auto before = platform.messages().size();
        TextDatabase database{MainParametri::instance()};
        // A narrow delivery replaces the user file all the same; the unit rows then
        // do not fit it, and the opening fails.
        EXPECT_EQ(database.ApriDatabaseTesti(setup()), userIsNarrow);
        ASSERT_EQ(messages().size(), before + (userIsNarrow ? 1 : 2));
        EXPECT_EQ(messages()[before].text, "Wrong Fields No. for: \n\n" + narrow);
        EXPECT_EQ(messages()[before].flags, 64);
        EXPECT_EQ(messages()[before].title, "CVLParamCor");
        if (!userIsNarrow) {
            EXPECT_TRUE(messages().back().text.startsWith("Error while opening language files\n" + user));
        }
        EXPECT_EQ(test::readTextFile(user + ".old"), (std::vector<TextRow>{{"TAGLIO", "0009", "Mia", "Mine"}}));
        EXPECT_EQ(test::readTextFile(user), rows);
        EXPECT_FALSE(QFile::exists(delivered));
    }
}

TEST_F(TextDatabaseTest, MissingOrReadOnlyUserFileGivesTwoMessagesAndStillReadsTheLanguage) {
    EXPECT_FALSE(open());
    ASSERT_EQ(messages().size(), 2u);
    EXPECT_EQ(messages()[0].text, "Missing file \n\n" + user);
    EXPECT_EQ(messages()[0].flags, 16);
    EXPECT_EQ(messages()[0].title, "CVLParamCor");
    EXPECT_EQ(messages()[1].text, "Cannot open language file\n" + user);
    EXPECT_EQ(messages()[1].flags, 16);
    EXPECT_TRUE(messages()[1].title.isNull());
    EXPECT_EQ(texts.language(), 1);
    EXPECT_TRUE(test::storedValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua").found);

    test::writeTextFile(user, {});
    QFile::setPermissions(user, QFileDevice::ReadOwner);
    TextDatabase readOnly{MainParametri::instance()};
    EXPECT_FALSE(readOnly.ApriDatabaseTesti(setup()));
    ASSERT_EQ(messages().size(), 4u);
    EXPECT_TRUE(messages()[2].text.startsWith("This file cannot be Read Only "));
    EXPECT_EQ(messages()[3].text, "Cannot open language file\n" + user);
}

TEST_F(TextDatabaseTest, LanguageNumberFallsBackToEnglish) {
    test::writeTextFile(user, {});
    const std::pair<const char*, short> cases[] = {{"1", 1}, {"3", 3},   {"4.6", 5}, {"0", 2},
                                                   {"", 2},  {"abc", 2}, {"-1", 2},  {"99999", 2}};
    for (const auto& [stored, language] : cases) {
        test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE", "Lingua", regtype::String,
                       {stored, stored + std::strlen(stored)});
        TextDatabase database{MainParametri::instance()};
        EXPECT_TRUE(database.ApriDatabaseTesti(setup()));
        EXPECT_EQ(database.language(), language) << stored;
    }
}

TEST_F(TextDatabaseTest, FilesThatAreNotTextDatabasesAreNeverTouched) {
    struct Case {
        const char* name;
        QByteArray content;
        QString reason;
    };
    QByteArray jet(2048, '\0');
    jet.replace(0, 19, QByteArray("\x00\x01\x00\x00Standard Jet DB", 19));
    const Case cases[] = {
        {"garbage", QByteArray(5000, 'x'), "it is not a text database"},
        {"empty", QByteArray(), "the file is empty"},
        {"access", jet, "it is an Access database made on Windows; convert it to the new text database format first"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto before = messages().size();
        // A bad delivery: reported, not consumed, and the user file opens as it is.
        test::writeTextFile(user, {{"TAGLIO", "0001", "Lastra", "Slab"}});
        QFile file(delivered);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(c.content);
        file.close();
        TextDatabase database{MainParametri::instance()};
        EXPECT_TRUE(database.ApriDatabaseTesti(setup()));
        ASSERT_EQ(messages().size(), before + 1);
        EXPECT_EQ(messages().back().text, "Cannot use the delivered language file\n" + delivered + "\n" + c.reason);
        EXPECT_EQ(test::fileBytes(delivered), c.content);
        EXPECT_EQ(test::readTextFile(user).size(), 1u);

        // A bad user file: the delivery waits, and the opening says what is wrong.
        QFile::remove(user);
        QFile::rename(delivered, user);
        test::writeTextFile(delivered, {{"TAGLIO", "0001", "Lastra", "Slab"}});
        const QByteArray deliveredBytes = test::fileBytes(delivered);
        TextDatabase other{MainParametri::instance()};
        EXPECT_FALSE(other.ApriDatabaseTesti(setup()));
        ASSERT_EQ(messages().size(), before + 2);
        EXPECT_EQ(messages().back().text, "Error while opening language files\n" + user + "\n26 " + c.reason);
        EXPECT_EQ(test::fileBytes(user), c.content);
        EXPECT_EQ(test::fileBytes(delivered), deliveredBytes);
        QFile::remove(delivered);
    }

    // A database of another program.
    {
        SqlDatabase db(user + ".other", SqlDatabase::Mode::Create);
        db.exec("CREATE TABLE Clienti(Nome TEXT)");
    }
    QFile::remove(user);
    QFile::rename(user + ".other", user);
    EXPECT_FALSE(open());
    EXPECT_EQ(messages().back().text, "Error while opening language files\n" + user +
                                          "\n26 it is a database of another program: it has no table Testi");
}

TEST_F(TextDatabaseTest, CopyFailureStopsWithItsMessage) {
    test::writeTextFile(delivered, {{"TAGLIO", "0001", "Lastra", "Slab"}});
    QDir().mkpath(delivered + ".old/occupied");  // a folder where the backup must go
    EXPECT_FALSE(open());
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_TRUE(messages()[0].text.startsWith("Error while copying language files\n" + delivered + "\n"));
    EXPECT_EQ(messages()[0].flags, 16);
    EXPECT_FALSE(texts.isOpen());
}

}  // namespace
}  // namespace paramcor
