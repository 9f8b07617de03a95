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

    static const inline QDateTime start = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);
    ThroughputHistory history;
};

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
         {Case{1, 121, 1, 120}, Case{0.5, 300, 90, 120}, Case{119.999, 2, 0, 2}, Case{120, 2, 120, 1}}) {
        base += 100'000;
        for (int moment = 0; moment < moments; ++moment)
            sample(base + moment * step);
        const QList<ThroughputSample> samples = history.samples(*item);
        ASSERT_EQ(samples.size(), count) << step;
        EXPECT_EQ(samples.first().date, start.addMSecs(std::llround((base + first) * 1'000)));
        EXPECT_EQ(samples, history.total());
    }
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

    item->setBytesPerSecond(std::numeric_limits<double>::quiet_NaN());
    sample(-59.5);
    item->setStatus(DownloadStatus::paused);
    sample(-59);
    EXPECT_DOUBLE_EQ(history.average(*item), 2'250 / 3.5);
    item->setStatus(DownloadStatus::completed);
    EXPECT_EQ(history.average(*item), 77);
}

} // namespace
} // namespace fetra
