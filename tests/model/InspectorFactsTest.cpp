#include "app/model/InspectorFacts.h"

#include "model/ModelWorld.h"

#include <QLocale>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using InspectorFacts::Fact;
using InspectorFacts::SegmentState;
using Status = DownloadStatus;

const auto magnet = u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s;

class InspectorFactsTest : public test::ModelWorld {
protected:
    /// "Size=Unknown Progress=0%", without the dates.
    [[nodiscard]] static QString text(const DownloadItem& item, double average = 0) {
        QStringList texts;
        for (const Fact& fact : InspectorFacts::statistics(item, average))
            if (fact.label != u"Added"_s && fact.label != u"Completed"_s)
                texts.append(fact.label + u'=' + fact.value);
        return texts.join(u"; "_s);
    }
};

TEST_F(InspectorFactsTest, StatisticsAreThoseOfTheKindAndTheState) {
    const Item file = addAt(u"http://host.example/a"_s);
    EXPECT_EQ(text(*file),
              u"Downloaded=0 B; Size=Unknown; Progress=0%; Average=0.00 B/s; Connections=0 of 0; "
              u"Segments=0"_s);
    file->setStatus(Status::probing);
    EXPECT_EQ(text(*file), u"Downloaded=0 B; Size=Unknown; Progress=0%; Speed=0.00 B/s; Average=0.00 B/s; "
                           u"Remaining=--; Connections=0 of 0; Segments=0"_s);
    file->setStatus(Status::downloading);
    file->setTotalBytes(100 * 1024);
    file->setReceivedBytes(29 * 1024);
    file->setBytesPerSecond(1024);
    file->setActiveConnections(3);
    file->setConnectionLimit(8);
    file->setSegments({{}, {}});
    EXPECT_EQ(text(*file, 512), u"Downloaded=29.00 KB; Size=100.00 KB; Progress=29%; Speed=1.00 KB/s; "
                                u"Average=512.00 B/s; Remaining=1m11s; Connections=3 of 8; Segments=2"_s);

    const Item torrent = addAt(magnet);
    torrent->setUploadedBytes(5);
    EXPECT_TRUE(text(*torrent).contains(u"; Uploaded=5 B; Ratio=0.00; "_s));
    torrent->setReceivedBytes(4);
    torrent->setPeers(7);
    torrent->setSeeds(2);
    EXPECT_EQ(text(*torrent), u"Downloaded=4 B; Size=Unknown; Progress=0%; Average=0.00 B/s; "
                              u"Uploaded=5 B; Ratio=1.25; Peers=7; Seeds=2"_s);

    const QDateTime end = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    torrent->setCompletedAt(end);
    EXPECT_EQ(InspectorFacts::statistics(*torrent, 0).last(),
              (Fact{u"Completed"_s, QLocale().toString(end.toLocalTime(), QLocale::ShortFormat)}));
}

TEST_F(InspectorFactsTest, SegmentsSayWhereTheyAreAndHowFar) {
    const Item item = addAt(u"http://host.example/a"_s, Status::downloading);
    struct Case {
        const char* description;
        SegmentSnapshot segment;
        QString range, percent;
        SegmentState state;
    };
    const Case cases[] = {
        {"fetched whole", {0, 1023, 1024}, u"0 B to 1023 B"_s, u"100%"_s, SegmentState::done},
        {"one byte short", {0, 1023, 1023, true}, u"0 B to 1023 B"_s, u"99%"_s, SegmentState::active},
        {"not begun", {1024, 2047, 1024}, u"1.00 KB to 2.00 KB"_s, u"0%"_s, SegmentState::waiting},
        {"no end known", {0, -1, 500, true}, u"0 B to unknown"_s, u""_s, SegmentState::active},
        {"more than its length", {0, 99, 150}, u"0 B to 99 B"_s, u"100%"_s, SegmentState::done},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.description);
        const InspectorFacts::SegmentFacts facts = InspectorFacts::segment(*item, each.segment, 1);
        EXPECT_EQ(facts.range, each.range);
        EXPECT_EQ(facts.percent, each.percent);
        EXPECT_EQ(facts.state, each.state);
    }
    const SegmentSnapshot running{0, 99, 50, true, 1};
    item->setStatus(Status::paused);
    EXPECT_EQ(InspectorFacts::segment(*item, running, 0).state, SegmentState::waiting)
        << "nothing runs any more";
}

TEST_F(InspectorFactsTest, TextsFollowTheKindAndTheState) {
    const Item file = addAt(u"http://host.example:81/a"_s);
    const Item torrent = addAt(magnet, Status::downloading);
    torrent->setBytesPerSecond(2048);
    EXPECT_EQ(InspectorFacts::sourceHost(*file), u"host.example"_s);
    EXPECT_EQ(InspectorFacts::sourceHost(*torrent), u"magnet"_s);
    EXPECT_EQ(InspectorFacts::throughput(*file), u"Idle"_s);
    EXPECT_EQ(InspectorFacts::throughput(*torrent), u"2.00 KB/s"_s);
    file->setStatus(Status::completed);
    EXPECT_EQ(InspectorFacts::withoutSegments(*file), u"All segments complete."_s);
}

TEST_F(InspectorFactsTest, ConnectionsAreStoredUnlessTheDownloadRuns) {
    const Item item = addAt(u"http://host.example/a"_s);
    for (const auto& [status, set, stored] : {std::tuple{Status::paused, 70, 64},
                                              {Status::queued, 0, 1},
                                              {Status::failed, 12, 12},
                                              {Status::probing, 5, 12},
                                              {Status::downloading, 5, 12},
                                              {Status::completed, 5, 12}}) {
        item->setStatus(status);
        InspectorFacts::setConnections(manager(), *item, set);
        EXPECT_EQ(item->connections(), stored) << set;
        const QJsonArray saved = savedState().value(u"items"_s).toArray();
        EXPECT_EQ(saved.at(0).toObject().value(u"connections"_s).toInteger(), stored) << set;
    }
}

TEST(RateTicksTest, StepsReadWellAndReachTheLargestRate) {
    constexpr double kb = 1024;
    constexpr double mb = kb * kb;
    struct Case {
        double largest;
        QList<double> ticks;
    };
    const Case cases[] = {
        {0, {0, kb}},
        {3 * kb, {0, kb, 2 * kb, 3 * kb}},
        {700 * kb, {0, 200 * kb, 400 * kb, 600 * kb, 800 * kb}},
        {1.9 * mb, {0, 0.5 * mb, mb, 1.5 * mb, 2 * mb}},
        {3.3 * mb, {0, mb, 2 * mb, 3 * mb, 4 * mb}},
        {30 * mb, {0, 10 * mb, 20 * mb, 30 * mb}},
        {3000 * mb, {0, kb * mb, 2 * kb * mb, 3 * kb * mb}},
    };
    for (const Case& each : cases)
        EXPECT_EQ(InspectorFacts::rateTicks(each.largest), each.ticks) << each.largest;
}

} // namespace
} // namespace fetra
