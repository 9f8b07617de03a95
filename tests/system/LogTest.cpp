#include "system/Log.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

/// Restores the threshold that the test has changed.
class LogTest : public ::testing::Test {
protected:
    ~LogTest() override { Log::setLevel(LogLevel::info); }
};

TEST_F(LogTest, LinesBelowTheThresholdAreNeitherBuiltNorWritten) {
    using Emit = void (*)(const std::function<QString()>&);
    const std::array<Emit, 4> emits{&Log::debug, &Log::info, &Log::warn, &Log::error};
    const std::array<std::string, 4> lines{"[DBG] text\n", "[INF] text\n", "[WRN] text\n", "[ERR] text\n"};
    ASSERT_EQ(Log::level(), LogLevel::info);
    for (size_t threshold = 0; threshold < emits.size(); ++threshold) {
        for (size_t level = 0; level < emits.size(); ++level) {
            SCOPED_TRACE(testing::Message() << "threshold " << threshold << ", level " << level);
            Log::setLevel(static_cast<LogLevel>(threshold));
            int built = 0;
            testing::internal::CaptureStderr();
            emits[level]([&] {
                ++built;
                return u"text"_s;
            });
            const std::string written = testing::internal::GetCapturedStderr();
            EXPECT_EQ(written, level >= threshold ? lines[level] : "");
            EXPECT_EQ(built, level >= threshold ? 1 : 0);
        }
    }
}

TEST_F(LogTest, LinesOfManyThreadsStayWhole) {
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
