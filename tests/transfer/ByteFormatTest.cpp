#include "transfer/ByteFormat.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

TEST(ByteFormatTest, Sizes) {
    const std::pair<qint64, QString> cases[] = {
        {1'023, u"1023 B"_s},
        {1'024, u"1.00 KB"_s},
        {1'048'575, u"1024.00 KB"_s},
        {std::numeric_limits<qint64>::max(), u"8388608.00 TB"_s},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(ByteFormat::size(bytes), text) << bytes;
}

TEST(ByteFormatTest, Rates) {
    const std::pair<double, QString> cases[] = {
        {0, u"0.00 B/s"_s},
        {0.125, u"0.12 B/s"_s},
        {1'024, u"1.00 KB/s"_s},
        {0x1p40, u"1024.00 GB/s"_s},
    };
    for (const auto& [rate, text] : cases)
        EXPECT_EQ(ByteFormat::rate(rate), text) << rate;
    EXPECT_EQ(ByteFormat::rateBeside(1'572'864, 524'288), u"0.50 MB/s"_s);
}

TEST(ByteFormatTest, Durations) {
    const std::pair<double, QString> cases[] = {
        {59.4, u"59s"_s},      {59.5, u"1m00s"_s}, {3'599.5, u"1h00m"_s},
        {90'061, u"25h01m"_s}, {-0.1, u"--"_s},    {std::numeric_limits<double>::infinity(), u"--"_s},
    };
    for (const auto& [seconds, text] : cases)
        EXPECT_EQ(ByteFormat::duration(seconds), text) << seconds;
}

} // namespace
} // namespace fetra
