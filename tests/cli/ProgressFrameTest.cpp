#include "cli/ProgressFrame.h"

#include "cli/DisplayText.h"
#include "cli/PlainView.h"
#include "cli/RangeBar.h"
#include "support/FakeClock.h"

#include <gtest/gtest.h>
#include <QRegularExpression>

#include <limits>

namespace fetra::cli {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 mebibyte = 1'048'576;

QString blockText(const ProgressFrame& frame, int width, int height = 24) {
    QStringList lines;
    for (const StyledLine& line : frame.render(width, height))
        lines += StyledText::plain(line);
    return lines.join(u'\n');
}

ProgressFrame running() {
    ProgressFrame frame;
    frame.phase = ProgressFrame::Phase::running;
    frame.name = u"disk.iso"_s;
    frame.mirrors = 2;
    frame.elapsed = 12;
    frame.progress = {
        .totalBytes = 400 * mebibyte,
        .receivedBytes = 150 * mebibyte,
        .bytesPerSecond = 10.0 * mebibyte,
        .activeConnections = 3,
        .connectionLimit = 16,
        .segments = {{.end = 200 * mebibyte - 1, .current = 100 * mebibyte, .active = true},
                     {.start = 200 * mebibyte,
                      .end = 400 * mebibyte - 1,
                      .current = 250 * mebibyte,
                      .active = true,
                      .source = 2}},
    };
    return frame;
}

TEST(ProgressFrameTest, TheBarShowsEveryRangeWhereItLies) {
    constexpr qint64 largest = std::numeric_limits<qint64>::max();
    const std::tuple<const char*, QList<SegmentSnapshot>, qint64, QString> cases[] = {
        {"nothing yet", {{.end = 999}}, 1000, u"░░░░░░░░░░"_s},
        {"all", {{.end = 999, .current = 1000}}, 1000, u"██████████"_s},
        {"any order",
         {{.start = 600, .end = 999, .current = 710}, {.end = 599, .current = 160}},
         1000,
         u"█▓░░░░█▒░░"_s},
        {"the least is seen", {{.end = 999'999, .current = 1}}, 1'000'000, u"▒░░░"_s},
        {"fewer bytes than cells", {{.end = 1, .current = 1}}, 2, u"███░░░"_s},
        {"many in a cell",
         {{.end = 49, .current = 50}, {.start = 50, .end = 99, .current = 50}},
         100,
         u"▓"_s},
        {"beyond the end", {{.end = 99, .current = 500}}, 100, u"████"_s},
        {"an open end", {{.end = -1, .current = 50}}, 100, u"██░░"_s},
        {"the largest file", {{.end = largest - 1, .current = 1LL << 62}}, largest, u"██░░"_s},
    };
    for (const auto& [name, segments, total, bar] : cases)
        EXPECT_EQ(StyledText::plain(RangeBar::ranges(segments, total, int(bar.size()))), bar) << name;
}

TEST(ProgressFrameTest, NoLineIsWiderThanTheTerminalAndNoNumberIsAbsurd) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    constexpr qint64 largest = 999LL << 40;
    QList<ProgressFrame> frames(8, running());
    frames[0].name = u"漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字.tar.gz"_s.repeated(3);
    frames[1].progress.totalBytes = std::nullopt;
    frames[1].progress.segments = {{.start = 0, .end = -1, .current = 5 * mebibyte, .active = true}};
    frames[2].progress.totalBytes = 0;
    frames[3].progress.bytesPerSecond = nan;
    frames[4].progress.bytesPerSecond = infinity;
    frames[4].progress.receivedBytes = -5;
    frames[5].progress.totalBytes = largest;
    frames[5].progress.bytesPerSecond = 1.5;
    frames[5].progress.activeConnections = frames[5].progress.connectionLimit = 64;
    frames[6].progress.receivedBytes = 500 * mebibyte;
    frames[7].phase = ProgressFrame::Phase::stopping;
    frames += ProgressFrame{};
    frames.last().name = QString(300, u'h');

    static const QRegularExpression absurd(
        u"nan|inf|-[0-9]|[0-9]{7}|[1-9][0-9]{3}%|[2-9][0-9]{2}\\.[0-9]%"_s);
    for (qsizetype i = 0; i < frames.size(); ++i) {
        for (int width = 1; width <= 220; ++width) {
            const QList<StyledLine> lines = frames[i].render(width, 24);
            ASSERT_FALSE(lines.isEmpty());
            for (const StyledLine& line : lines)
                EXPECT_LE(DisplayText::cellWidth(StyledText::plain(line)), width) << "frame " << i;
            const QString block = width >= 19 ? blockText(frames[i], width) : QString();
            EXPECT_FALSE(absurd.match(block).hasMatch()) << "frame " << i << ": " << qPrintable(block);
            for (int height = 1; height < 6; ++height)
                EXPECT_LE(frames[i].render(width, height).size(), height);
        }
        EXPECT_FALSE(absurd.match(frames[i].oneLine()).hasMatch()) << qPrintable(frames[i].oneLine());
    }
}

TEST(ProgressFrameTest, TheBlockKeepsItsHeightWhileNumbersGrow) {
    for (const int width : {19, 40, 60, 79, 100, 200}) {
        ProgressFrame frame = running();
        const qsizetype lines = frame.render(width, 24).size();
        for (const qint64 received : {0LL, 9LL, 1023LL, 12345LL, 399LL * mebibyte, 400LL * mebibyte})
            for (const double speed : {0.0, 1.0, 1023.99, 1e5, 1e9}) {
                frame.progress.receivedBytes = received;
                frame.progress.bytesPerSecond = speed;
                EXPECT_EQ(frame.render(width, 24).size(), lines) << width << " " << received << " " << speed;
            }
    }
}

TEST(ProgressFrameTest, EachPhaseSaysWhatIsGoingOn) {
    ProgressFrame frame;
    frame.name = u"a-long-host-name.example.com"_s;
    EXPECT_EQ(blockText(frame, 60), u"Asking a-long-host-name.example.com…"_s);

    frame = running();
    const QString block = blockText(frame, 120);
    EXPECT_EQ(block.count(u'\n'), 2);
    EXPECT_TRUE(block.startsWith("disk.iso\n"_L1)) << qPrintable(block);
    EXPECT_TRUE(block.endsWith(u"  37.5%\n150.00 MB of 400.00 MB · 10.00 MB/s · 25s left · "
                               "3 of 16 connections · 1 of 2 mirrors"_s))
        << qPrintable(block);
    frame.progress.activeConnections = 0;
    EXPECT_TRUE(blockText(frame, 120).contains(u"· waiting ·"_s));
    frame.progress.receivedBytes = 400 * mebibyte - 1;
    EXPECT_EQ(frame.percentage(), u"99.9%"_s) << "reached and not rounded";
    frame.progress.receivedBytes = 400 * mebibyte;
    EXPECT_TRUE(blockText(frame, 120).contains("100.0%\n400.00 MB of 400.00 MB"_L1));
    EXPECT_TRUE(blockText(frame, 120).contains("checking the file"_L1));
    frame.phase = ProgressFrame::Phase::stopping;
    EXPECT_TRUE(blockText(frame, 120).endsWith("Ctrl-C again ends at once."_L1));

    frame = running();
    frame.progress.totalBytes = std::nullopt;
    EXPECT_TRUE(blockText(frame, 120).contains(u"150.00 MB received · 10.00 MB/s · 12s so far"_s));
    EXPECT_FALSE(blockText(frame, 120).contains(u'%'));
}

TEST(PlainViewTest, WritesALineASecondAtMostAndFewerWhileLittleChanges) {
    test::FakeClock clock;
    QStringList lines;
    QStringList paths;
    PlainView view(PlainView::Chatter::lines, PlainView::Extent::one,
                   {.messages = [&](const QString& text) { lines += text; },
                    .finishedPath = [&](const QString& path) { paths += path; }},
                   clock);
    TransferStart start;
    start.destination = QUrl::fromLocalFile(u"/d/disk\x1b[m.iso"_s);
    view.started({}, start);
    ASSERT_EQ(lines.size(), 1);
    EXPECT_FALSE(lines[0].contains(u'\x1b'));
    for (int i = 1; i <= 40; ++i) {
        clock.advance(0.25);
        view.progressed({}, {.totalBytes = 1000, .receivedBytes = 25 * i});
    }
    EXPECT_EQ(lines.size(), 11);
    for (int i = 1; i <= 80; ++i) {
        clock.advance(0.25);
        view.progressed({}, {.totalBytes = 1000, .receivedBytes = 1000});
    }
    EXPECT_EQ(lines.size(), 13);
    DownloadResult result;
    result.destination = QUrl::fromLocalFile(u"/d/disk.iso"_s);
    view.completed({}, result);
    EXPECT_EQ(paths, QStringList{u"/d/disk.iso"_s});
    EXPECT_TRUE(
        std::all_of(lines.begin(), lines.end(), [](const QString& l) { return l.count(u'\n') == 1; }));
}

} // namespace
} // namespace fetra::cli
