#include "SegmentedDownloadTest.h"

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using Segments = QList<ResumeRecord::Seg>;

class SegmentedDownloadPlanTest : public SegmentedDownloadTest {};

TEST_F(SegmentedDownloadPlanTest, DividesTheFileOverItsConnectionsAndFetchesIt) {
    struct Case {
        const char* name;
        qint64 total;
        bool ranged;
        qint64 connections;
        qint64 minimum;
        std::vector<QByteArray> ranges;
        Segments record = {}; ///< of an earlier run
    };
    const Case cases[] = {
        {"fewer than connections", 300, true, 8, 100, {"bytes=0-99", "bytes=100-199", "bytes=200-299"}},
        {"one byte more", 201, true, 8, 100, {"bytes=0-66", "bytes=67-133", "bytes=134-200"}},
        {"a remainder", 10, true, 3, 1, {"bytes=0-2", "bytes=3-5", "bytes=6-9"}},
        {"no ranges", 10'000'000, false, 8, 1'048'576, {""}},
        {"a record, in the order of the file",
         1'000,
         true,
         4,
         1,
         {"bytes=10-299", "bytes=300-599", "bytes=700-999"},
         {{600, 999, 700}, {0, 299, 10}, {300, 599, 300}}},
        {"a record of more segments than connections",
         1'000,
         true,
         2,
         1,
         {"bytes=150-199", "bytes=200-299"},
         {{0, 99, 100}, {100, 199, 150}, {200, 299, 200}, {300, 399, 300}, {400, 999, 400}}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        SegmentedConfig config = rangedConfig(each.total, each.connections);
        config.ranged = each.ranged;
        config.options.minSegmentSize = each.minimum;
        config.resumeSegments = each.record;
        StartedRun run(*this, config);
        EXPECT_EQ(run.ranges(), each.ranges);
        EXPECT_EQ(run.http.sessions().size(), each.ranged ? each.connections : 1);
        run.serveAll();
        ASSERT_TRUE(run.outcome());
        EXPECT_EQ(run.outcome()->peakConnections, each.ranges.size());
        for (const FakeHTTP::SessionRecord& session : run.http.sessions())
            EXPECT_EQ(session.state, FakeHTTP::SessionState::finishing);
    }
}

TEST_F(SegmentedDownloadPlanTest, DealsSegmentsOverTheSourcesAndSplitsGoOnInTurn) {
    SegmentedConfig config = rangedConfig(400, 4);
    config.options.dynamicSplit = true;
    setSources(config, 3);
    StartedRun run(*this, config);
    run.serve(run.task(3));
    ASSERT_EQ(run.http.startedCount(), 5);
    const std::vector<QString> hosts{u"s0.test"_s, u"s1.test"_s, u"s2.test"_s, u"s0.test"_s, u"s1.test"_s};
    for (size_t i = 0; i < hosts.size(); ++i)
        EXPECT_EQ(run.task(i).request().url.host(), hosts[i]);
}

} // namespace
} // namespace fetra::test
