#include "segmented/RetryAfter.h"

#include <gtest/gtest.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

TEST(RetryAfterTest, ReadsSecondsAndNothingElse) {
    const std::pair<QString, double> cases[] = {
        {u"30"_s, 30},       {u" \t30\t "_s, 30}, {u"1.5"_s, 1.5},    {u"+5"_s, 5},
        {u"500"_s, 120},     {u"-5"_s, 0},        {u""_s, 0},         {u" "_s, 0},
        {u"1,5"_s, 0},       {u"30 s"_s, 0},      {u"+-5"_s, 0},      {u"inf"_s, 0},
        {u"nan"_s, 0},       {u"infinity"_s, 0},  {u"0x10"_s, 0},     {u"\u00a030"_s, 0},
        {u"٣٠"_s, 0},        {u"1e999"_s, 0},     {u"30\u4e00"_s, 0}, {u"Wed, 21 Oct 2015 07:28:00 GMT"_s, 0},
        {u"120.001"_s, 120},
    };
    for (const auto& [value, seconds] : cases) {
        SCOPED_TRACE(value.toStdString());
        EXPECT_EQ(RetryAfter::seconds(value), seconds);
    }
}

} // namespace
} // namespace fetra
