// Texts against real processes: a delivery killed in the middle of its merge, two
// programs delivering at the same moment, and a language and a correction that
// another program makes.
#include "support/TestPlatform.h"
#include "support/TextFiles.h"

#include <CVLParamcor/Parametri.h>

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

using test::TextRow;

class TextDelivery : public ::testing::Test {
protected:
    // A user file of `count` rows, and a delivery of as many: half of them new, half
    // changing the existing ones; one row in a hundred corrected by the user.
    void writeLargeFiles(int count) {
        std::vector<TextRow> userRows, deliveredRows;
        for (int i = 0; i < count + count / 2; ++i) {
            const QString key = QString::number(i).rightJustified(6, '0'), wording = QString("Testo %1").arg(i);
            if (i < count)
                userRows.push_back({"TAGLIO", key, wording, QString("Text %1").arg(i), "20250101", i % 100 == 0});
            if (i >= count / 2)
                deliveredRows.push_back({"TAGLIO", key, wording, QString("New text %1").arg(i), "20260301"});
        }
        test::writeTextFile(user, userRows);
        test::writeTextFile(delivered, deliveredRows);
    }
    std::unique_ptr<QProcess> start(const QStringList& action = {}) {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process->start(QStringLiteral(TEXTS_OPENER),
                       QStringList{platform.folder(), QString::fromStdString(platform.storeFolder())} + action);
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }
    void run(const QStringList& action = {}) {
        auto process = start(action);
        ASSERT_TRUE(process->waitForFinished(120000));
        EXPECT_EQ(process->exitCode(), 0);
    }

    test::TestPlatform platform;
    const QString user = platform.folder() + "/CvlTradU.mdb";
    const QString delivered = platform.folder() + "/CvlTrad.mdb";
};

TEST_F(TextDelivery, AMergeKilledHalfwayLeavesTheUserFileAsItWas) {
    writeLargeFiles(50000);
    const auto before = test::readTextFile(user);
    auto program = start();
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
    run();
    EXPECT_FALSE(QFile::exists(user + "-journal"));
    EXPECT_EQ(test::readTextFile(user), before);
    ASSERT_TRUE(QFile::rename(delivered + ".aside", delivered));
    run();
    EXPECT_FALSE(QFile::exists(delivered));
    EXPECT_EQ(test::readTextFile(user).size(), 75000u);
}

TEST_F(TextDelivery, TwoProgramsStartingTogetherMergeOnce) {
    writeLargeFiles(20000);
    auto first = start(), second = start();
    for (auto* program : {first.get(), second.get()}) {
        ASSERT_TRUE(program->waitForFinished(120000));
        EXPECT_EQ(program->exitCode(), 0);
    }
    EXPECT_TRUE(QFile::exists(delivered + ".old") && !QFile::exists(delivered));
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
    run({"lingua", "3"});
    QThread::msleep(2200);
    EXPECT_EQ(par.Traduci("Lastra"), "Platte");
    run({"correggi", "0001", "3", "Steinplatte"});
    QThread::msleep(2200);
    EXPECT_EQ(par.Traduci("Lastra") + par.TraduciChiave("TAGLIO", "0001"), "SteinplatteSteinplatte");
}

}  // namespace
}  // namespace paramcor
