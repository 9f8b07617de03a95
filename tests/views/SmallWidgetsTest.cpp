#include "app/views/RefreshPace.h"
#include "app/views/SegmentBar.h"
#include "app/views/Sparkline.h"
#include "app/views/ThroughputChart.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>
#include <QAccessible>
#include <QTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

const QDateTime start = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);

/// One a second, as fast as its number in KB/s, and half that up.
QList<ThroughputSample> rising(int count) {
    QList<ThroughputSample> samples;
    for (int second = 0; second < count; ++second)
        samples.append({start.addSecs(second), second * 1024.0, second * 512.0});
    return samples;
}

QString spoken(QWidget& widget) {
    return QAccessible::queryAccessibleInterface(&widget)->text(QAccessible::Value);
}

TEST(DrawnWidgetTest, SaysWhatItShows) {
    Sparkline line;
    EXPECT_EQ(spoken(line), u"No samples"_s);
    line.setSamples(rising(120));
    EXPECT_EQ(spoken(line), u"119.00 KB/s"_s);
    SegmentBar bar(SegmentBar::Size::large);
    const auto item = std::make_shared<DownloadItem>(DownloadRecord{.id = QUuid::createUuid()});
    item->setTotalBytes(100);
    item->setReceivedBytes(40);
    bar.setItem(item);
    EXPECT_EQ(spoken(bar), u"40 percent"_s);
}

class ThroughputChartTest : public ::testing::Test {
protected:
    ThroughputChartTest() {
        chart.resize(400, chart.sizeHint().height());
        chart.setSamples(rising(120), false);
        chart.show();
    }
    /// To so many seconds before the newest sample.
    void pointAt(double secondsAgo) {
        const QRectF plot = chart.plotArea();
        const double x = plot.right() - plot.width() * secondsAgo / 120;
        QTest::mouseMove(&chart, QPointF(x, plot.center().y()).toPoint());
    }

    ThroughputChart chart;
};

TEST_F(ThroughputChartTest, TheHoverLineTellsTheRateAndTheTimeAtThePointer) {
    pointAt(60);
    EXPECT_EQ(chart.hoverText(), u"60 s ago\n59.00 KB/s"_s);
    chart.setSamples(rising(120), true);
    pointAt(0);
    EXPECT_EQ(chart.hoverText(), u"now\nDownload 119.00 KB/s\nUpload 59.50 KB/s"_s);
    QTest::mouseMove(&chart, QPoint(1, 1));
    EXPECT_EQ(chart.hoverText(), QString()) << "on the scale";
    chart.setSamples(rising(30), false);
    pointAt(90);
    EXPECT_EQ(chart.hoverText(), QString()) << "before the first sample";
}

TEST_F(ThroughputChartTest, TheArrowKeysReadTheCurve) {
    EXPECT_EQ(spoken(chart), u"now, 119.00 KB/s"_s);
    chart.setFocus();
    for (int presses = 0; presses < 3; ++presses)
        QTest::keyClick(&chart, Qt::Key_Left);
    EXPECT_EQ(spoken(chart), u"2 s ago, 117.00 KB/s"_s);
    QTest::keyClick(&chart, Qt::Key_Right);
    EXPECT_EQ(chart.hoverText(), u"1 s ago\n118.00 KB/s"_s);
}

TEST(RefreshPaceTest, RefreshesSoonSeldomAndOnlyWhileTheWidgetIsVisible) {
    QWidget widget;
    int refreshed = 0;
    RefreshPace& pace = *new RefreshPace(widget, [&] { ++refreshed; });
    pace.request();
    pace.hurry();
    EXPECT_EQ(refreshed, 0) << "hidden";
    widget.show();
    EXPECT_EQ(refreshed, 1) << "what was missed";
    QElapsedTimer since;
    since.start();
    EXPECT_TRUE(runUntil([&] {
        pace.request();
        return refreshed == 3;
    }));
    EXPECT_GE(since.elapsed(), 450) << "two more at four a second, give or take a timer's slack";
}

} // namespace
} // namespace fetra
