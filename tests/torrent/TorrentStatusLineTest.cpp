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
        {R"({"type":"status","name":"n","total":10,"completed":3,"peers":4,"seeds":2,"rate":1.5,"upload":2,"uploaded":7})",
         Line{.name = u"n"_s,
              .total = 10,
              .completed = 3,
              .peers = 4,
              .seeds = 2,
              .rate = 1.5,
              .upload = 2,
              .uploaded = 7}},
        {"{}", Line{}},
        {R"({"total":7.9,"completed":-2.9,"peers":3.0,"rate":5})",
         Line{.total = 7, .completed = -2, .peers = 3, .rate = 5}},
        {R"({"total":9223372036854775807,"completed":1e300,"uploaded":-1e300})",
         Line{.total = std::numeric_limits<qint64>::max(),
              .completed = std::numeric_limits<qint64>::max(),
              .uploaded = std::numeric_limits<qint64>::min()}},
        {R"({"type":5,"name":1,"total":"10","completed":null,"peers":true,"rate":"fast","error":[]})",
         Line{}},
        {R"({"type":"done","total":0})", Line{.kind = Line::Kind::done, .total = 0}},
        {R"({"type":"error","error":"no luck"})", Line{.kind = Line::Kind::error, .error = u"no luck"_s}},
        {R"({"type":"Done"})", Line{}},
        {" {\"peers\":1} \r", Line{.peers = 1}},
        {"", std::nullopt},
        {"[1]", std::nullopt},
        {"\"text\"", std::nullopt},
        {R"({"total":1)", std::nullopt},
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

TEST(TorrentLineBuffer, PutsLinesTogetherWhereverTheyAreSplit) {
    const QByteArray text = "one\n\ntwo\nrest";
    const QByteArrayList expected{"one", "", "two"};
    for (qsizetype cut = 0; cut <= text.size(); ++cut)
        EXPECT_EQ(linesOf({text.first(cut), text.sliced(cut)}), expected) << cut;
}

TEST(TorrentLineBuffer, DropsALineThatIsTooLongAndGoesOnWithTheNext) {
    const QByteArray longest(TorrentLineBuffer::maxLineBytes, 'x');
    EXPECT_EQ(linesOf({"a\n" + longest + "\nb\n"}), QByteArrayList({"a", longest, "b"}));
    EXPECT_EQ(linesOf({"a\n" + longest + "x\nb\n"}), QByteArrayList({"a", "b"}));
    EXPECT_EQ(linesOf({"a\n", longest, "x", longest, "y\nb\n"}), QByteArrayList({"a", "b"}));
}

} // namespace
} // namespace fetra::test
