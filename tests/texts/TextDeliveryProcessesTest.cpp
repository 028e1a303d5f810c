// The delivery of texts against real processes: one killed in the middle of a
// merge, two starting at the same moment.
#include "support/TestPlatform.h"
#include "support/TextFiles.h"
#include "base/SqlDatabase.h"

#include <CVLParamcor/Parametri.h>

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

using test::TextRow;

// A user file of `count` rows, and a delivery of as many: half of them new, half
// changing the existing ones; a few hundred rows corrected by the user.
void writeLargeFiles(const QString& user, const QString& delivered, int count) {
    std::vector<TextRow> userRows, deliveredRows;
    for (int i = 0; i < count; ++i)
        userRows.push_back({"TAGLIO", QString::number(i).rightJustified(6, '0'), QString("Testo %1").arg(i),
                            QString("Text %1").arg(i), "20250101", i % 100 == 0});
    for (int i = count / 2; i < count + count / 2; ++i)
        deliveredRows.push_back({"TAGLIO", QString::number(i).rightJustified(6, '0'), QString("Testo %1").arg(i),
                                 QString("New text %1").arg(i), "20260301"});
    test::writeTextFile(user, userRows);
    test::writeTextFile(delivered, deliveredRows);
}

std::unique_ptr<QProcess> startProgram(const test::TestPlatform& platform) {
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(QStringLiteral(TEXTS_OPENER), {platform.folder(), QString::fromStdString(platform.storeFolder())});
    EXPECT_TRUE(process->waitForStarted());
    return process;
}

class TextDelivery : public ::testing::Test {
protected:
    test::TestPlatform platform;
    const QString user = platform.folder() + "/CvlTradU.mdb";
    const QString delivered = platform.folder() + "/CvlTrad.mdb";
};

TEST_F(TextDelivery, AMergeKilledHalfwayLeavesTheUserFileAsItWas) {
    writeLargeFiles(user, delivered, 50000);
    const auto before = test::readTextFile(user);

    auto program = startProgram(platform);
    // The rollback journal exists while the merge's transaction is open.
    QElapsedTimer waited;
    waited.start();
    while (!QFile::exists(user + "-journal") && program->state() == QProcess::Running && waited.elapsed() < 60000)
        QThread::usleep(200);
    ASSERT_TRUE(QFile::exists(user + "-journal")) << "the merge ended before it could be interrupted";
    QThread::msleep(50);
    program->kill();
    program->waitForFinished();

    // A program that starts with the delivery set aside rolls the journal back,
    // without a message, and the next one makes the delivery whole.
    ASSERT_TRUE(QFile::rename(delivered, delivered + ".aside"));
    program = startProgram(platform);
    ASSERT_TRUE(program->waitForFinished(60000));
    EXPECT_EQ(program->exitCode(), 0);
    EXPECT_FALSE(QFile::exists(user + "-journal"));
    EXPECT_EQ(test::readTextFile(user), before);
    ASSERT_TRUE(QFile::rename(delivered + ".aside", delivered));
    program = startProgram(platform);
    ASSERT_TRUE(program->waitForFinished(120000));
    EXPECT_EQ(program->exitCode(), 0);
    EXPECT_FALSE(QFile::exists(delivered));
    EXPECT_EQ(test::readTextFile(user).size(), 75000u);
}

TEST_F(TextDelivery, TwoProgramsStartingTogetherMergeOnce) {
    writeLargeFiles(user, delivered, 20000);

    auto first = startProgram(platform);
    auto second = startProgram(platform);
    for (auto* program : {first.get(), second.get()}) {
        ASSERT_TRUE(program->waitForFinished(120000));
        EXPECT_EQ(program->exitCode(), 0);
    }
    EXPECT_FALSE(QFile::exists(delivered));
    EXPECT_TRUE(QFile::exists(delivered + ".old"));
    EXPECT_FALSE(QFile::exists(user + ".old"));  // merged, not replaced

    const auto rows = test::readTextFile(user);
    ASSERT_EQ(rows.size(), 30000u);
    for (int i = 0; i < 30000; ++i) {
        const bool corrected = i < 20000 && i % 100 == 0;
        EXPECT_EQ(rows[i].inglese, QString(i >= 10000 && !corrected ? "New text %1" : "Text %1").arg(i)) << i;
    }
}

// Another program chooses a language and corrects a text; this one, on the real
// clock, follows after two quiet seconds.
TEST_F(TextDelivery, LanguageAndCorrectionsReachTheOtherPrograms) {
    paramcor::platform().timer = secondsSinceMidnight;
    test::writeTextFile(user, {{"TAGLIO", "0001", "Lastra", "Slab", "20260101", false, "Platte"}});
    Parametri par;
    par.Lingua(2);
    EXPECT_EQ(par.Traduci("Lastra"), "Slab");

    auto run = [&](const QStringList& action) {
        QProcess other;
        other.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        other.start(QStringLiteral(TEXTS_OPENER),
                    QStringList{platform.folder(), QString::fromStdString(platform.storeFolder())} + action);
        ASSERT_TRUE(other.waitForFinished(60000));
        EXPECT_EQ(other.exitCode(), 0);
    };
    run({"lingua", "3"});
    QThread::msleep(2200);
    EXPECT_EQ(par.Traduci("Lastra"), "Platte");

    run({"correggi", "0001", "3", "Steinplatte"});
    QThread::msleep(2200);
    EXPECT_EQ(par.Traduci("Lastra"), "Steinplatte");
    EXPECT_EQ(par.TraduciChiave("TAGLIO", "0001"), "Steinplatte");
}

}  // namespace
}  // namespace paramcor
