#include "system/Log.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

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
