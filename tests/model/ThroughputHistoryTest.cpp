#include "app/model/ThroughputHistory.h"

#include "support/ManagerWorld.h"

#include <cmath>
#include <limits>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class ThroughputHistoryTest : public test::ManagerWorld {
protected:
    /// An item that runs as far as the history can see.
    Item addActive(const QString& name) {
        const Item item = add(name, false);
        item->setStatus(DownloadStatus::downloading);
        return item;
    }

    /// A moment at so many seconds.
    void sample(double seconds) { history.sample(manager(), start.addMSecs(std::llround(seconds * 1'000))); }

    /// The seconds of the samples, and their rates: "0:7/0 1:8/2".
    [[nodiscard]] static QString text(const QList<ThroughputSample>& samples) {
        QStringList texts;
        for (const ThroughputSample& each : samples)
            texts.append(u"%1:%2/%3"_s.arg(static_cast<double>(start.msecsTo(each.date)) / 1'000)
                             .arg(each.bytesPerSecond)
                             .arg(each.uploadBytesPerSecond));
        return texts.join(u' ');
    }

    static const inline QDateTime start = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);
    ThroughputHistory history;
};

TEST_F(ThroughputHistoryTest, FollowsADownloadFromItsFirstRunUntilItLeavesTheList) {
    const Item idle = add(u"a"_s, false);
    const Item late = add(u"b"_s, false);
    sample(0);
    EXPECT_EQ(text(history.samples(*late)), QString());
    late->setStatus(DownloadStatus::probing);
    late->setBytesPerSecond(7);
    sample(1);
    late->setStatus(DownloadStatus::downloading);
    late->setUploadBytesPerSecond(3);
    sample(2);
    late->setStatus(DownloadStatus::paused);
    sample(3);
    late->setStatus(DownloadStatus::downloading);
    late->setBytesPerSecond(9);
    sample(4);
    EXPECT_EQ(text(history.samples(*late)), u"1:7/0 2:7/3 3:0/0 4:9/3"_s);
    EXPECT_EQ(text(history.samples(*idle)), QString());
    EXPECT_EQ(text(history.total()), u"0:0/0 1:7/0 2:7/3 3:0/0 4:9/3"_s);

    late->setStatus(DownloadStatus::paused);
    manager().remove(late, false);
    sample(5);
    EXPECT_EQ(text(history.samples(*late)), QString());
    EXPECT_EQ(history.average(*late), 0);
}

TEST_F(ThroughputHistoryTest, KeepsTwoMinutesAndNoMoreThanAHundredAndTwentySamples) {
    const Item item = addActive(u"a"_s);
    struct Case {
        double step;
        int moments;
        double first;
        qsizetype count;
    };
    double base = 0;
    for (const auto& [step, moments, first, count] :
         {Case{1, 120, 0, 120}, Case{1, 121, 1, 120}, Case{0.5, 300, 90, 120}, Case{40, 5, 80, 3},
          Case{119.999, 2, 0, 2}, Case{120, 2, 120, 1}}) {
        base += 100'000;
        for (int moment = 0; moment < moments; ++moment) {
            item->setBytesPerSecond(moment + 1);
            sample(base + moment * step);
        }
        const QList<ThroughputSample> samples = history.samples(*item);
        ASSERT_EQ(samples.size(), count) << step;
        EXPECT_EQ(samples.first().date, start.addMSecs(std::llround((base + first) * 1'000)));
        EXPECT_EQ(samples.last().bytesPerSecond, moments);
        EXPECT_EQ(samples, history.total());
    }
}

TEST_F(ThroughputHistoryTest, DropsOldSamplesBehindNewerOnesWhenTheClockWasSetBack) {
    const Item item = addActive(u"a"_s);
    item->setBytesPerSecond(1);
    sample(1'000);
    item->setBytesPerSecond(2);
    sample(10);
    item->setBytesPerSecond(3);
    sample(10);
    EXPECT_EQ(text(history.samples(*item)), u"1000:1/0 10:2/0 10:3/0"_s);
    item->setStatus(DownloadStatus::paused);
    sample(130);
    EXPECT_EQ(text(history.samples(*item)), u"1000:1/0 130:0/0"_s);
    EXPECT_EQ(text(history.total()), u"1000:1/0 130:0/0"_s);
}

TEST_F(ThroughputHistoryTest, AveragesOverTheSecondsThatADownloadRan) {
    const Item item = addActive(u"a"_s);
    item->setAverageBytesPerSecond(77);
    EXPECT_EQ(history.average(*item), 77);

    item->setBytesPerSecond(900);
    sample(0); // one second by itself
    EXPECT_EQ(history.average(*item), 900);
    item->setBytesPerSecond(300);
    sample(5); // two seconds at the most
    EXPECT_EQ(history.average(*item), 500);
    item->setBytesPerSecond(1'000'000);
    sample(-60); // none
    EXPECT_EQ(history.average(*item), 500);
    item->setBytesPerSecond(1'500);
    sample(-59.5);
    EXPECT_DOUBLE_EQ(history.average(*item), 2'250 / 3.5);

    item->setStatus(DownloadStatus::paused);
    sample(-59);
    EXPECT_DOUBLE_EQ(history.average(*item), 2'250 / 3.5);
    item->setStatus(DownloadStatus::completed);
    EXPECT_EQ(history.average(*item), 77);
}

TEST_F(ThroughputHistoryTest, TakesARateThatIsNoneForZero) {
    const Item item = addActive(u"a"_s);
    using Limits = std::numeric_limits<double>;
    double second = 0;
    for (const double rate : {-5.0, Limits::quiet_NaN(), Limits::infinity()}) {
        item->setBytesPerSecond(rate);
        item->setUploadBytesPerSecond(4);
        sample(second++);
        item->setBytesPerSecond(4);
        item->setUploadBytesPerSecond(rate);
        sample(second++);
    }
    EXPECT_EQ(text(history.samples(*item)), u"0:0/4 1:4/0 2:0/4 3:4/0 4:0/4 5:4/0"_s);
    EXPECT_EQ(history.samples(*item), history.total());
}

} // namespace
} // namespace fetra
