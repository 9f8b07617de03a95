#include "cli/DisplayText.h"

#include "cli/JsonView.h"

#include <gtest/gtest.h>
#include <QJsonDocument>

namespace fetra::cli {
namespace {

using namespace Qt::StringLiterals;

TEST(DisplayTextTest, NothingThatATerminalActsOnIsPrintable) {
    const std::pair<QString, QString> cases[] = {
        {u"plain ünïcode 漢字 🚀.zip"_s, u"plain ünïcode 漢字 🚀.zip"_s},
        {u"a\x1b]0;title\x07.zip"_s, u"a\uFFFD]0;title\uFFFD.zip"_s},
        {u"a\r\n\tb\x7f"_s, u"a\uFFFD\uFFFD\uFFFDb\uFFFD"_s},
        {QString(QChar(0x9b)) + u"31m"_s, u"\uFFFD31m"_s},
        {u"gpj.\u202Eexe"_s, u"gpj.\uFFFDexe"_s},
        {u"a\u2028b\u200Fc"_s, u"a\uFFFDb\uFFFDc"_s},
        {QString(QChar(0xD800)) + u"x"_s, u"\uFFFDx"_s},
    };
    for (const auto& [text, printable] : cases)
        EXPECT_EQ(DisplayText::printable(text), printable);
}

TEST(DisplayTextTest, JsonCarriesTheSameTextWithNothingThatATerminalActsOn) {
    const QJsonObject object{{u"etag"_s, u"a\x9b\x1b\x7f\u0080é漢"_s}};
    for (const bool indented : {false, true}) {
        const QByteArray text = jsonText(object, indented);
        EXPECT_EQ(QJsonDocument::fromJson(text).object(), object);
        EXPECT_TRUE(text.endsWith('\n'));
        const QString characters = QString::fromUtf8(text).remove(u'\n');
        for (const QChar c : characters)
            EXPECT_NE(c.category(), QChar::Other_Control) << int(c.unicode());
    }
}

} // namespace
} // namespace fetra::cli
