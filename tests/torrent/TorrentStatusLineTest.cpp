#include "torrent/TorrentStatusLine.h"

#include <gtest/gtest.h>
#include <QByteArrayList>

namespace fetra::test {
namespace {

TEST(TorrentLineBuffer, DropsALineThatIsTooLongAndGoesOnWithTheNext) {
    const QByteArray longest(TorrentLineBuffer::maxLineBytes, 'x');
    TorrentLineBuffer buffer;
    QByteArrayList lines;
    for (const QByteArray& piece : {"a\n" + longest + "\n\nb\n" + longest + "x\nc\n", longest,
                                    QByteArray("x"), longest, QByteArray("y\nd\nrest")}) {
        buffer.append(piece);
        while (const auto line = buffer.next())
            lines += *line;
    }
    EXPECT_EQ(lines, QByteArrayList({"a", longest, "", "b", "c", "d"}));
}

} // namespace
} // namespace fetra::test
