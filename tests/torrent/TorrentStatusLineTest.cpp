#include "torrent/TorrentStatusLine.h"

#include <gtest/gtest.h>
#include <QByteArrayList>

#include <limits>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using Line = TorrentStatusLine;

TEST(TorrentStatusLine, TakesWhatHasTheRightTypeAndNothingElse) {
    const std::pair<QByteArray, std::optional<Line>> cases[] = {
        {"{}", Line{}},
        {R"({"total":7.9,"completed":-2.9,"peers":3.0,"rate":5})",
         Line{.total = 7, .completed = -2, .peers = 3, .rate = 5}},
        {R"({"total":9223372036854775807,"completed":1e300,"uploaded":-1e300})",
         Line{.total = std::numeric_limits<qint64>::max(),
              .completed = std::numeric_limits<qint64>::max(),
              .uploaded = std::numeric_limits<qint64>::min()}},
        {R"({"type":5,"name":1,"total":"10","completed":null,"peers":true,"rate":"fast","error":[]})",
         Line{}},
        {R"({"type":"Done"})", Line{}},
        {" {\"peers\":1} \r", Line{.peers = 1}},
        {"", std::nullopt},
        {"[1]", std::nullopt},
        {R"({"total":1} x)", std::nullopt},
        {"{\"name\":\"\xff\"}", std::nullopt},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(Line::parse(text), expected) << text.constData();
}

QByteArrayList linesOf(const QByteArrayList& pieces) {
    TorrentLineBuffer buffer;
    QByteArrayList lines;
    for (const QByteArray& piece : pieces) {
        buffer.append(piece);
        while (const auto line = buffer.next())
            lines += *line;
    }
    return lines;
}

TEST(TorrentLineBuffer, DropsALineThatIsTooLongAndGoesOnWithTheNext) {
    const QByteArray longest(TorrentLineBuffer::maxLineBytes, 'x');
    EXPECT_EQ(linesOf({"a\n" + longest + "\n\nb\nrest"}), QByteArrayList({"a", longest, "", "b"}));
    EXPECT_EQ(linesOf({"a\n" + longest + "x\nb\n"}), QByteArrayList({"a", "b"}));
    EXPECT_EQ(linesOf({"a\n", longest, "x", longest, "y\nb\n"}), QByteArrayList({"a", "b"}));
}

} // namespace
} // namespace fetra::test
