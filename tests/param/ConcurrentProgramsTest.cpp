// Several programs of the suite writing into the same store at once.
#include "helpers/WritePlan.h"
#include "support/TestPlatform.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

constexpr int kWriters = 4;

TEST(ConcurrentPrograms, FourWritersLoseNothing) {
    test::TestPlatform platform;
    std::vector<std::unique_ptr<QProcess>> writers;
    for (int w = 0; w < kWriters; ++w) {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process->start(QStringLiteral(PARAM_WRITER),
                       {QString::fromStdString(platform.storeFolder()), platform.folder(), QString::number(w)});
        ASSERT_TRUE(process->waitForStarted()) << process->errorString().toStdString();
        writers.push_back(std::move(process));
    }
    for (int w = 0; w < kWriters; ++w) {
        ASSERT_TRUE(writers[w]->waitForFinished(300000)) << "writer " << w;
        EXPECT_EQ(writers[w]->exitStatus(), QProcess::NormalExit) << "writer " << w;
        EXPECT_EQ(writers[w]->exitCode(), 0) << "writer " << w;
    }

    // Every value of every writer, read back by a program that wrote none of them.
    Parametri par;
    par.CurrentUser();
    for (int w = 0; w < kWriters; ++w) {
        for (int i = 0; i < test::kValuesPerWriter; ++i) {
            const auto v = test::plannedValue(w, i);
            par.Programma(v.program);
            par.Sezione(v.section);
            const QVariant read = par.LeggiParametro(v.name, test::plannedValue(w + 1, i).value);
            const QVariant expected = test::expectedRead(v.value);
            ASSERT_EQ(read.metaType(), expected.metaType()) << v.name.toStdString();
            ASSERT_EQ(read, expected) << v.name.toStdString();
        }
    }
    EXPECT_TRUE(platform.messages().empty());
}

}  // namespace
}  // namespace paramcor
