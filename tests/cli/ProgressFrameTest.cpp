#include "cli/ProgressFrame.h"

#include "cli/DisplayText.h"
#include "cli/PlainView.h"
#include "support/FakeClock.h"

#include <gtest/gtest.h>
#include <QRegularExpression>

#include <limits>

namespace fetra::cli {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 mebibyte = 1'048'576;

ProgressFrame running() {
    ProgressFrame frame;
    frame.phase = ProgressFrame::Phase::running;
    frame.name = u"disk.iso"_s;
    frame.mirrors = 2;
    frame.elapsed = 12;
    frame.progress = {.totalBytes = 400 * mebibyte,
                      .receivedBytes = 150 * mebibyte,
                      .bytesPerSecond = 10.0 * mebibyte,
                      .activeConnections = 3,
                      .connectionLimit = 16,
                      .segments = {{.end = 400 * mebibyte - 1, .current = 150 * mebibyte, .active = true}}};
    return frame;
}

TEST(ProgressFrameTest, NoLineIsWiderThanTheTerminalAndNoNumberIsAbsurd) {
    EXPECT_EQ(DisplayText::cellWidth(u"e\u0301漢字.zip한글🚀𠀀█"_s), 1 + 8 + 4 + 2 + 2 + 1);
    QList<ProgressFrame> frames(7, running());
    frames[0].name = u"漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字.tar.gz"_s.repeated(3);
    frames[1].progress.totalBytes = std::nullopt;
    frames[2].progress.totalBytes = 0;
    frames[2].progress.segments = {{.end = -1, .current = std::numeric_limits<qint64>::max()}};
    frames[3].progress.bytesPerSecond = std::numeric_limits<double>::quiet_NaN();
    frames[4].progress.bytesPerSecond = std::numeric_limits<double>::infinity();
    frames[4].progress.receivedBytes = -5;
    frames[5].progress.totalBytes = 999LL << 40;
    frames[5].progress.bytesPerSecond = 1.5;
    frames[6].phase = ProgressFrame::Phase::stopping;
    frames += ProgressFrame{};
    frames.last().name = QString(300, u'h');

    static const QRegularExpression absurd(u"nan|inf|-[0-9]|[0-9]{7}|[1-9][0-9]{3}%"_s);
    for (const ProgressFrame& frame : frames) {
        for (int width = 1; width <= 220; ++width) {
            QString block;
            for (const StyledLine& line : frame.render(width, 24)) {
                EXPECT_LE(DisplayText::cellWidth(StyledText::plain(line)), width) << qPrintable(frame.name);
                block += StyledText::plain(line) + u'\n';
            }
            EXPECT_FALSE(width >= 19 && absurd.match(block).hasMatch()) << qPrintable(block);
            for (int height = 1; height < 6; ++height)
                EXPECT_LE(frame.render(width, height).size(), height);
        }
        EXPECT_FALSE(absurd.match(frame.oneLine()).hasMatch()) << qPrintable(frame.oneLine());
    }
}

TEST(ProgressFrameTest, AFractionIsReachedAndNotRounded) {
    ProgressFrame frame = running();
    frame.progress.receivedBytes = 400 * mebibyte - 1;
    EXPECT_EQ(frame.percentage(), u"99.9%"_s);
    EXPECT_TRUE(frame.oneLine().startsWith("99.9%, 400.00 MB of 400.00 MB, 10.00 MB/s"_L1));
    frame.progress.receivedBytes = 400 * mebibyte;
    EXPECT_EQ(frame.oneLine(), u"100.0%, 400.00 MB of 400.00 MB, 10.00 MB/s, checking the file"_s);
}

TEST(PlainViewTest, ShowsNamesThatActOnNoTerminalAndALineASecondAtMost) {
    test::FakeClock clock;
    QStringList lines;
    PlainView view(PlainView::Chatter::lines, PlainView::Extent::one,
                   {.messages = [&](const QString& text) { lines += text; }, .finishedPath = {}}, clock);
    TransferStart start;
    start.destination = QUrl::fromLocalFile(u"/d/disk\x1b[m.iso"_s);
    view.started({}, start);
    EXPECT_EQ(lines, QStringList(u"disk\uFFFD[m.iso, size unknown\n"_s));
    for (int i = 1; i <= 120; ++i) {
        clock.advance(0.25);
        view.progressed({}, {.totalBytes = 1000, .receivedBytes = std::min(25 * i, 1000)});
        EXPECT_TRUE(i != 40 || lines.size() == 1 + 10) << lines.size();
    }
    EXPECT_EQ(lines.size(), 1 + 10 + 2) << "fewer while nothing comes";
}

} // namespace
} // namespace fetra::cli
