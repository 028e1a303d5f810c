// The windows need an application object; they run on the offscreen platform
// unless another one is asked for.
#include <QApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The workstation's temporary folder, where a missing-text log would go.
    QTemporaryDir temporary;
    qputenv("TMPDIR", temporary.path().toLocal8Bit());
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
