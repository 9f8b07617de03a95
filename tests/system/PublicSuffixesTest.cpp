#include "system/PublicSuffixes.h"

#include <gtest/gtest.h>
#include <QString>

#include <utility>
#include <vector>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

TEST(PublicSuffixesTest, KnowsWhereNamesAreRegistered) {
    const std::vector<std::pair<QString, bool>> cases{
        {u"com"_s, true},      {u"COM"_s, true},          {u"co.uk"_s, true},    {u"example.com"_s, false},
        {u"рф"_s, true},       {u"РФ"_s, true},           {u"xn--p1ai"_s, true}, {u"пример.рф"_s, false},
        {u"other.ck"_s, true}, {u"www.ck"_s, false},      {u"pdf"_s, false},     {u"local"_s, false},
        {u""_s, false},        {u"example.pdf"_s, false}, {u"."_s, false},       {u"字字"_s, false},
    };
    for (const auto& [name, isSuffix] : cases)
        EXPECT_EQ(PublicSuffixes::isPublicSuffix(name), isSuffix) << qPrintable(name);
}

TEST(PublicSuffixesTest, FindsThePartThatOneOwnerRegistered) {
    const std::vector<std::pair<QByteArray, QByteArray>> cases{
        {"a.b.example.co.uk", "example.co.uk"},
        {"example.com", "example.com"},
        {"co.uk", ""},
        {"com", ""},
        {"a.xn--e1afmkfd.xn--p1ai", "xn--e1afmkfd.xn--p1ai"},
        {"192.168.0.1", ""},
        {"2001:db8::1", ""},
        {"", ""},
    };
    for (const auto& [host, domain] : cases)
        EXPECT_EQ(PublicSuffixes::registrableDomain(host), domain) << host.constData();
}

} // namespace
} // namespace fetra
