// The seams' defaults: what a program without windows or configuration gets.
#include "selection/MainParametri.h"
#include "support/TestPlatform.h"

#include <CVLParamcor/Parametri.h>

#include <QDir>
#include <QFileInfo>
#include <QTime>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

TEST(HeadlessMessageBoxes, PrintTheMessageAndAnswerTheDefaultButton) {
    auto boxes = headlessMessageBoxes();
    for (const auto& [flags, answer] : {std::pair{mb::Critical, mb::Ok}, std::pair{1 | mb::DefaultButton2, mb::Cancel},
                                        std::pair{mb::YesNo | mb::Question, mb::Yes},
                                        std::pair{mb::YesNo | mb::DefaultButton2, mb::No}}) {
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(boxes->show("Testo", flags, QString()), answer) << flags;
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[CVLParamcor] Testo\n");
    }
    ::testing::internal::CaptureStderr();
    boxes->show("Riga 1\nRiga 2", mb::Information, "Titolo");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[Titolo] Riga 1\nRiga 2\n");
}

TEST(HeadlessDialogs, SayThatNoWindowIsAvailableAndChangeNothing) {
    test::TestPlatform platform;
    Parametri par;
    auto dialogs = headlessDialogs();
    short language = 3;
    EXPECT_FALSE(dialogs->chooseLanguage(par, language));
    EXPECT_EQ(language, 3);
    EXPECT_FALSE(dialogs->editFolders(par, "DXF"));
    dialogs->correctTexts(par);
    ASSERT_EQ(platform.messages().size(), 3u);
    for (const auto& m : platform.messages())
        EXPECT_TRUE(m.text.startsWith("No dialog is available") && m.flags == mb::Information) << m.text.toStdString();
}

TEST(Platform, InstallingFillsTheDefaultsAndResetsTheSelection) {
    installPlatform(Platform{});
    // The tests link the library's objects: the module that holds them is this program.
    const QString program = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    EXPECT_EQ(libraryFolder(), QFileInfo(program).absolutePath());
    const double clock = paramcor::platform().timer();  // seconds since midnight
    EXPECT_TRUE(clock >= 0 && clock < 86400 && std::abs(clock - QTime::currentTime().msecsSinceStartOfDay() / 1000.0) < 2);

    test::TestPlatform platform;
    EXPECT_EQ(libraryFolder(), platform.folder());
    Parametri par;
    par.LocalMachine(Boolean(true));
    par.Programma("Prog");
    par.ModoDebug(true);
    par.Push();
    Platform replacement;
    replacement.registry = paramcor::platform().registry;
    installPlatform(replacement);
    EXPECT_EQ(MainParametri::instance().hive(), Hive{0});
    EXPECT_EQ(par.Programma(), "");
    EXPECT_EQ(MainParametri::instance().depth(), 0);
}

}  // namespace
}  // namespace paramcor
