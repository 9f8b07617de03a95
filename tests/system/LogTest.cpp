#include "system/Log.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

TEST(LogTest, LinesBelowTheThresholdAreNeitherBuiltNorWritten) {
    EXPECT_EQ(Log::level(), LogLevel::info);
    for (const auto& [level, written] : {std::pair{LogLevel::debug, "[DBG] a\n[ERR] b\n"},
                                         {LogLevel::info, "[ERR] b\n"},
                                         {LogLevel::error, "[ERR] b\n"}}) {
        Log::setLevel(level);
        int built = 0;
        const auto line = [&](const QString& text) {
            ++built;
            return text;
        };
        testing::internal::CaptureStderr();
        Log::debug([&] { return line(u"a"_s); });
        Log::error([&] { return line(u"b"_s); });
        EXPECT_EQ(testing::internal::GetCapturedStderr(), written);
        EXPECT_EQ(built, QByteArray(written).count('\n'));
    }
    Log::setLevel(LogLevel::info);
}

TEST(LogTest, LinesOfManyThreadsStayWhole) {
    constexpr int threads = 4;
    constexpr int lines = 500;
    const QString text = u"naïve ☃\nsecond 𝄞 "_s + QString(200, u'x');
    testing::internal::CaptureStderr();
    {
        std::vector<std::jthread> writers;
        for (int thread = 0; thread < threads; ++thread)
            writers.emplace_back([&] {
                for (int line = 0; line < lines; ++line)
                    Log::info([&] { return text; });
            });
    }
    const QByteArray written = QByteArray::fromStdString(testing::internal::GetCapturedStderr());
    const QByteArray line = "[INF] " + text.toUtf8() + '\n';
    EXPECT_EQ(written.size(), line.size() * threads * lines);
    EXPECT_EQ(written.count(line), threads * lines);
}

} // namespace
} // namespace fetra
