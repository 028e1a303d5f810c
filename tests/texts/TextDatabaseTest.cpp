// Finding, delivering, merging and opening the text database.
#include "param/FolderSetup.h"
#include "selection/MainParametri.h"
#include "support/TestPlatform.h"
#include "support/TextFiles.h"
#include "texts/TextDatabase.h"
#include "texts/TextTable.h"
#include "units/UnitRows.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include <unistd.h>

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
        return texts->open({folders.Percorso("Testi"), &checkFilePresent, &units::addMissingRows});
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
    // The case twins of the sample texts, a twin standing between rows of the
    // delivered wording.
    test::writeTextFile(user, {{"CVLPARAMCOR", "0002", "Conferma", "Confirm (old)", "20250101"},
                               {"CVLPARAMCOR", "0008", "conferma", "confirm, lower case", "20250101"},
                               {"LASTRE", "0066", "Conferma", "Confirm (old)", "20250101"},
                               {"CVLPARAMCOR", "0037", "peso", "weight, lower case", "20250101"},
                               {"PARAMCOR", "0097", "Peso", "Weight (old)", "20250101"},
                               {"TAGLIO", "0002", "Lastra", "My slab", "20250101", true},
                               {"TAGLIO", "0003", "Vecchio", "Old", "20250101", true},
                               {"TAGLIO", "0004", "Uguale", "Same", "20260301"}});
    if (GetParam())
        test::redeclarePlain(user);
    test::writeTextFile(delivered, {{"CVLPARAMCOR", "0002", "Conferma", "Confirm", "20260301"},
                                    {"PARAMCOR", "0097", "Peso", "Weight", "20260301"},
                                    {"TAGLIO", "0002", "Lastra", "Slab", "20260301"},
                                    {"TAGLIO", "0003", "Nuovo", "New", "20260301"},  // new wording, known key
                                    {"TAGLIO", "0004", "Uguale", "Changed", "20260301"},
                                    {"LASTRE", "0001", "Spessore", "Thickness", "20260301"},
                                    {"LASTRE", "0002", "UGUALE", "SAME", "20260301"}});  // not found to the letter
    EXPECT_TRUE(open());
    const auto merge = texts->lastMerge();
    EXPECT_EQ(std::tuple(merge.added, merge.replaced, merge.updated), std::tuple(1, 1, 3));
    const std::vector<TextRow> expected{
        {"CVLPARAMCOR", "0002", "Conferma", "Confirm", "20260301"},
        {"CVLPARAMCOR", "0008", "conferma", "confirm, lower case", "20250101"},
        {"CVLPARAMCOR", "0037", "peso", "weight, lower case", "20250101"},
        {"LASTRE", "0001", "Spessore", "Thickness", "20260301"},
        {"LASTRE", "0066", "Conferma", "Confirm", "20260301"},
        {"PARAMCOR", "0097", "Peso", "Weight", "20260301"},
        {"TAGLIO", "0002", "Lastra", "My slab", "20250101", true},  // corrected by the user
        {"TAGLIO", "0003", "Nuovo", "New", "20260301"},             // taken whole, correction or not
        {"TAGLIO", "0004", "Uguale", "Same", "20260301"}};          // same date: left alone
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
    // The user file's version, whether it is merged, the file with a column less (or,
    // with `renamed`, of another name).
    const std::tuple<QString, bool, const QString*, bool> cases[] = {
        {"5.9", false, nullptr, false},    {"10.0.0", false, nullptr, false}, {"", false, nullptr, false},
        {" 6.0.0 ", true, nullptr, false}, {"7", true, nullptr, false},       {"6.0.0", false, &user, false},
        {"6.0.0", false, &user, true},     {"6.0.0", false, &delivered, false}};
    for (const auto& [version, merged, narrow, renamed] : cases) {
        SCOPED_TRACE(version.toStdString() + (narrow ? " narrow " + narrow->toStdString() : ""));
        test::writeTextFile(user, userRows, version);
        test::writeTextFile(delivered, {{"TAGLIO", "0001", "Lastra", "Slab", "20260301"}});
        QFile::remove(user + ".old");
        if (narrow)
            SqlDatabase(*narrow, SqlDatabase::Mode::ReadWrite)
                .exec(renamed ? "ALTER TABLE Testi RENAME COLUMN ChiaviRicerca TO Altre"
                              : "ALTER TABLE Testi DROP COLUMN ChiaviRicerca");
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

// Every operator may write the folder: a link planted there by another user, to a
// file root owns, is replaced or refused, never written through.
TEST_F(TextDatabaseTest, WhatOthersPlantInTheSharedFolderIsNeverWrittenThrough) {
    QTemporaryDir elsewhere;
    const QString victim = elsewhere.filePath("victim.mdb");
    test::writeTextFile(victim, {{"ROOT", "0001", "Segreto", "Secret"}});
    const QByteArray victimBytes = test::fileBytes(victim);
    const bool root = ::geteuid() == 0;
    const auto plantLink = [&](const QString& name) {
        QFile::remove(name);
        ASSERT_TRUE(QFile::link(victim, name));
        if (root) {  // as nobody would
            ASSERT_EQ(::lchown(QFile::encodeName(name).constData(), 65534, 65534), 0);
        }
    };
    const std::vector<TextRow> rows{{"TAGLIO", "0001", "Lastra", "Slab"}};
    test::writeTextFile(user, {{"TAGLIO", "0009", "Mia", "Mine"}}, "5.9");  // too old: replaced, with a backup
    test::writeTextFile(delivered, rows);
    plantLink(user + ".old");
    plantLink(delivered + ".old");
    EXPECT_TRUE(open());
    EXPECT_EQ(test::fileBytes(victim), victimBytes);
    EXPECT_EQ(test::readTextFile(user), rows);
    EXPECT_FALSE(QFileInfo(user + ".old").isSymLink() || QFileInfo(delivered + ".old").isSymLink());
    EXPECT_EQ(test::readTextFile(user + ".old").size(), 1u);
    texts.reset();

    // The user file or the delivery itself: refused with its name, never opened.
    const std::pair<std::function<void(const QString&)>, QString> plants[] = {
        {plantLink, "it is a link, and links are not followed here"},
        {[&](const QString& name) {
             ASSERT_TRUE(QFile::remove(name) &&
                         ::link(QFile::encodeName(victim).constData(), QFile::encodeName(name).constData()) == 0);
         },
         "it has other names too (hard links), and is not used"},
        {[&](const QString& name) {
             if (root) {
                 ASSERT_EQ(::chown(QFile::encodeName(name).constData(), 65534, 65534), 0);
             }
         },
         root ? "it belongs to another user (65534) and not to the folder's group" : ""},
    };
    for (const auto& [plant, reason] : plants) {
        SCOPED_TRACE(reason.toStdString());
        test::writeTextFile(user, rows);
        test::writeTextFile(delivered, rows);
        plant(user);
        EXPECT_EQ(open(), reason.isEmpty());
        if (!reason.isEmpty()) {
            EXPECT_EQ(messages().back().text,
                      "Error while opening language files\n" + user + "\n26 " + user + ": " + reason);
        }
        texts.reset();
        test::writeTextFile(user + ".new", rows);
        ASSERT_TRUE(QFile::remove(user) && QFile::rename(user + ".new", user));
        plant(delivered);
        EXPECT_TRUE(open());
        if (!reason.isEmpty()) {
            EXPECT_EQ(messages().back().text,
                      "Cannot use the delivered language file\n" + delivered + "\n" + delivered + ": " + reason);
        }
        texts.reset();
        QFile::remove(delivered);
        EXPECT_EQ(test::fileBytes(victim), victimBytes);
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

// Runs `body` in a child process and returns its exit code.
template <class Body>
int inChild(Body body) {
    const pid_t pid = ::fork();
    if (pid == 0)
        ::_exit(body());
    int status = 0;
    return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(TextDatabaseTest, AReaderWhoMayNotRollBackAStoppedWriteReadsTheTextsAsLastCommitted) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to read as a user who may not write the texts";
    std::vector<TextRow> rows;
    for (int i = 0; i < 300; ++i)
        rows.push_back({"TAGLIO", QString("%1").arg(i, 4, 10, QChar(u'0')), "Lastra", "Slab"});
    test::writeTextFile(user, rows);
    // An operator's program dies halfway through a change too big for its cache.
    EXPECT_EQ(inChild([&] {
                  SqlDatabase db(user, SqlDatabase::Mode::ReadWrite);
                  db.exec("PRAGMA cache_size = 1; BEGIN IMMEDIATE; UPDATE Testi SET TESTO_02 = 'Broken'");
                  ::_exit(0);  // before the connection would roll back
                  return 1;
              }),
              0);
    ASSERT_TRUE(QFile::exists(user + "-journal"));
    const auto readable = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup |
                          QFileDevice::ReadOther;
    QFile::setPermissions(platform.folder(), readable | QFileDevice::ExeOwner | QFileDevice::ExeGroup |
                                                 QFileDevice::ExeOther);
    for (const QString& file : {user, user + "-journal"})
        QFile::setPermissions(file, readable);

    const int reader = inChild([&] {
        if (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0)
            return 1;
        if (!texts::waitsForRollback(user))
            return 2;
        QTemporaryDir folder;
        const QString copy = texts::lastCommittedCopy(user, folder.path());
        if (copy.isEmpty())
            return 3;
        SqlDatabase db(copy, SqlDatabase::Mode::ReadOnly);
        auto slabs = db.prepare("SELECT count(*) FROM Testi WHERE TESTO_02 = 'Slab'");
        return slabs.step() && slabs.integer(0) == 300 ? 0 : 4;
    });
    EXPECT_EQ(reader, 0);
    EXPECT_TRUE(QFile::exists(user + "-journal"));  // the reader changed nothing
    EXPECT_FALSE(texts::waitsForRollback(user));
    EXPECT_EQ(texts::unusableReason(user), "");  // who may write rolls it back
    EXPECT_EQ(test::readTextFile(user), rows);
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
