// Several programs of the suite writing into the same store at once.
#include "helpers/WritePlan.h"
#include "support/TestPlatform.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

namespace paramcor {
namespace {

constexpr int kWriters = 4;

// The registry form of a planned value, written out independently of the library.
test::StoredValue expectedStored(const QVariant& v) {
    test::StoredValue s;
    s.found = true;
    auto bytesOf = [](const auto& x) {
        std::vector<std::uint8_t> b(sizeof x);
        std::memcpy(b.data(), &x, sizeof x);
        return b;
    };
    switch (v.metaType().id()) {
        case QMetaType::Short:
            s.type = regtype::Binary;
            s.bytes = bytesOf(v.value<short>());
            break;
        case QMetaType::Int:
            s.type = regtype::Dword;
            s.bytes = bytesOf(v.value<int>());
            break;
        case QMetaType::Float:
            s.type = regtype::Dword;
            s.bytes = bytesOf(v.value<float>());
            break;
        case QMetaType::Double:
            s.type = regtype::Binary;
            s.bytes = bytesOf(v.value<double>());
            break;
        case QMetaType::Bool:
            s.type = regtype::Binary;
            s.bytes = {std::uint8_t(v.toBool() ? 1 : 0)};
            break;
        default: {
            const QByteArray text = v.toString().toUtf8();
            s.type = regtype::String;
            s.bytes.assign(text.begin(), text.end());
        }
    }
    return s;
}

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

    SqliteRegistryStore reader(platform.storeFolder());
    int checked = 0;
    for (int w = 0; w < kWriters; ++w) {
        for (int i = 0; i < test::kValuesPerWriter; ++i) {
            const auto v = test::plannedValue(w, i);
            const std::string key = ("SOFTWARE\\" + v.program + "\\" + v.section).toStdString();
            const auto actual = test::storedValue(reader, Hive::CurrentUser, key, v.name.toStdString());
            const auto expected = expectedStored(v.value);
            ASSERT_TRUE(actual.found) << key << " " << v.name.toStdString();
            ASSERT_EQ(actual.type, expected.type) << v.name.toStdString();
            ASSERT_EQ(actual.bytes, expected.bytes) << v.name.toStdString();
            ++checked;
        }
    }
    EXPECT_EQ(checked, kWriters * test::kValuesPerWriter);
}

}  // namespace
}  // namespace paramcor
