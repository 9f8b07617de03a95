#include "cli/ListFrame.h"

#include "cli/DisplayText.h"

#include <gtest/gtest.h>

#include <vector>

namespace fetra::cli {
namespace {

using namespace Qt::StringLiterals;

std::vector<ListFrame::Row> rowsOf(size_t count) {
    std::vector<ListFrame::Row> rows(count);
    for (size_t i = 0; i < count; ++i) {
        ProgressFrame& frame = rows[i].frame;
        frame.phase = i % 4 == 0 ? ProgressFrame::Phase::asking : ProgressFrame::Phase::running;
        frame.name = u"a rather long name of 漢字 %1.iso"_s.arg(i);
        if (i % 3 != 0)
            frame.progress.totalBytes = i % 5 == 0 ? 0 : 1'000'000;
        frame.progress.receivedBytes = 450'000;
        frame.progress.bytesPerSecond = 1023.99 * 1024;
        frame.progress.activeConnections = 1;
        frame.progress.segments = {{.start = 0, .end = 999'999, .current = 450'000}};
    }
    return rows;
}

constexpr RunTotals totals{500, 120, 12, 9, 359, 1e6, 3720.0};

TEST(ListFrameTest, StaysInsideTheTerminal) {
    for (const size_t count : {0, 1, 5, 30})
        for (int width = 1; width <= 120; width += width < 30 ? 1 : 7)
            for (int height = 1; height <= 32; ++height)
                for (const bool isStopping : {false, true}) {
                    const auto lines = ListFrame::render(rowsOf(count), totals, isStopping, width, height);
                    ASSERT_GE(lines.size(), 1);
                    ASSERT_LE(lines.size(), std::min<qsizetype>(height, qsizetype(count) + 1));
                    for (const StyledLine& line : lines)
                        ASSERT_LE(DisplayText::cellWidth(StyledText::plain(line)), width)
                            << qPrintable(StyledText::plain(line));
                }
}

TEST(ListFrameTest, ShowsWhatThereIsRoomFor) {
    const std::vector<ListFrame::Row> rows = rowsOf(9);
    const auto text = [&](int width, int height) {
        QStringList lines;
        for (const StyledLine& line : ListFrame::render(rows, totals, false, width, height))
            lines += StyledText::plain(line);
        return lines;
    };
    const QStringList wide = text(79, 24);
    ASSERT_EQ(wide.size(), 10);
    EXPECT_TRUE(wide[0].endsWith(u"asking…"_s)) << qPrintable(wide[0]);
    EXPECT_TRUE(wide[1].contains(u'█')) << qPrintable(wide[1]);
    EXPECT_TRUE(wide[1].endsWith("  45.0% 1023.99 KB/s       1s"_L1)) << qPrintable(wide[1]);
    EXPECT_EQ(wide[9], u"120 of 500 done · 12 failed · 359 queued · 976.56 KB/s · 1h02m left"_s);
    EXPECT_TRUE(text(49, 24)[1].endsWith("45.0% 1023.99 KB/s"_L1)) << qPrintable(text(49, 24)[1]);
    EXPECT_EQ(text(49, 24)[9], u"120 of 500 done · 12 failed · 976.56 KB/s"_s);
    const QStringList low = text(79, 4);
    ASSERT_EQ(low.size(), 4);
    EXPECT_EQ(low[2], u"and 7 more"_s);
    EXPECT_EQ(text(79, 1), QStringList{wide[9]});
}

} // namespace
} // namespace fetra::cli
