#include "segmented/HostLimits.h"

#include <gtest/gtest.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

TEST(HostLimitsTest, RemembersTheLatestLimitOfEachHostUntilItIsForgotten) {
    EXPECT_EQ(HostLimits::get(u"a"_s), std::nullopt);
    HostLimits::set(u"a"_s, 7);
    HostLimits::set(u"b"_s, 5);
    HostLimits::set(u"a"_s, 3);
    EXPECT_EQ(HostLimits::get(u"a"_s), 3);
    HostLimits::forget(u"a"_s);
    EXPECT_EQ(HostLimits::get(u"a"_s), std::nullopt);
    EXPECT_EQ(HostLimits::get(u"b"_s), 5);
}

TEST(HostLimitsTest, NeverRemembersLessThanOneNorAnAddressWithoutHost) {
    HostLimits::set(u"zero"_s, 0);
    EXPECT_EQ(HostLimits::get(u"zero"_s), 1);
    HostLimits::set(QString(), 4);
    EXPECT_EQ(HostLimits::get(QString()), std::nullopt);
}

} // namespace
} // namespace fetra
