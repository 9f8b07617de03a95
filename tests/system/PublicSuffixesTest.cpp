#include "system/PublicSuffixes.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace fetra {
namespace {

TEST(PublicSuffixesTest, FindsThePartThatOneOwnerRegistered) {
    const std::vector<std::pair<QByteArray, QByteArray>> cases{
        {"a.b.example.co.uk", "example.co.uk"},
        {"co.uk", ""},
        {"a.xn--e1afmkfd.xn--p1ai", "xn--e1afmkfd.xn--p1ai"},
        {"192.168.0.1", ""},
        {"2001:db8::1", ""},
    };
    for (const auto& [host, domain] : cases)
        EXPECT_EQ(PublicSuffixes::registrableDomain(host), domain) << host.constData();
}

} // namespace
} // namespace fetra
