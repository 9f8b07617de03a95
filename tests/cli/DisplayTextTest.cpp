#include "cli/DisplayText.h"

#include "cli/JsonView.h"
#include "cli/StyledText.h"

#include <gtest/gtest.h>
#include <QJsonDocument>

namespace fetra::cli {
namespace {

using namespace Qt::StringLiterals;

TEST(DisplayTextTest, WidthIsCountedInCells) {
    const std::pair<QString, int> cases[] = {
        {u""_s, 0},  {u"file.iso"_s, 8}, {u"e\u0301"_s, 1}, {u"漢字.zip"_s, 8}, {u"한글"_s, 4},
        {u"ﬁ"_s, 1}, {u"Ａ"_s, 2},       {u"🚀"_s, 2},       {u"𠀀"_s, 2},       {u"█░…·"_s, 4},
    };
    for (const auto& [text, cells] : cases)
        EXPECT_EQ(DisplayText::cellWidth(text), cells) << qPrintable(text);
}

TEST(DisplayTextTest, FittedTextKeepsBothEndsAndNeverExceedsItsRoom) {
    EXPECT_EQ(DisplayText::fitted(u"short.iso"_s, 9), u"short.iso"_s);
    EXPECT_EQ(DisplayText::fitted(u"a-very-long-name.tar.gz"_s, 13), u"a-very-l…r.gz"_s);
    for (const QString& name : {u"漢字漢字漢字漢字漢字漢字.zip"_s, u"🚀🚀🚀🚀🚀🚀🚀"_s, QString(300, u'x'),
                                u"e\u0301\u0301e\u0301e\u0301e\u0301e\u0301"_s})
        for (int cells = 0; cells < 40; ++cells) {
            const QString text = DisplayText::fitted(name, cells);
            EXPECT_LE(DisplayText::cellWidth(text), cells) << qPrintable(text);
            EXPECT_EQ(text, QString::fromUtf8(text.toUtf8())) << "half a character at " << cells;
        }
}

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

TEST(DisplayTextTest, AsciiKeepsTheWidth) {
    const QString text = u"█▓▒░ · 漢…é🚀"_s;
    const QString ascii = StyledText::ascii(text);
    EXPECT_EQ(ascii.size(), DisplayText::cellWidth(text));
    EXPECT_TRUE(ascii.startsWith("#=-."_L1)) << qPrintable(ascii);
}

} // namespace
} // namespace fetra::cli
