#include "SegmentedDownloadTest.h"

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using Segments = QList<ResumeRecord::Seg>;

class SegmentedDownloadPlanTest : public SegmentedDownloadTest {};

TEST_F(SegmentedDownloadPlanTest, DividesTheFileOverItsConnectionsAndFetchesIt) {
    using Ranges = std::vector<QByteArray>;
    const std::tuple<const char*, qint64, bool, qint64, qint64, Ranges> cases[] = {
        {"fewer than connections", 300, true, 8, 100, {"bytes=0-99", "bytes=100-199", "bytes=200-299"}},
        {"exactly the smallest segments", 200, true, 8, 100, {"bytes=0-99", "bytes=100-199"}},
        {"one byte more", 201, true, 8, 100, {"bytes=0-66", "bytes=67-133", "bytes=134-200"}},
        {"less than the smallest segment", 1'000, true, 8, 1'048'576, {"bytes=0-999"}},
        {"a remainder", 10, true, 3, 1, {"bytes=0-2", "bytes=3-5", "bytes=6-9"}},
        {"one byte", 1, true, 8, 1, {"bytes=0-0"}},
        {"no ranges", 10'000'000, false, 8, 1'048'576, {""}},
    };
    for (const auto& [name, total, ranged, connections, minimum, ranges] : cases) {
        SCOPED_TRACE(name);
        SegmentedConfig config = rangedConfig(total, connections);
        config.ranged = ranged;
        config.options.minSegmentSize = minimum;
        StartedRun run(*this, config);
        EXPECT_EQ(run.ranges(), ranges);
        // Lanes are taken from the lowest number on, whatever their number.
        for (size_t i = 0; i < run.http.startedCount(); ++i)
            EXPECT_EQ(run.task(i).session(), i);
        EXPECT_EQ(run.http.sessions().size(), ranged ? connections : 1);
        run.serveAll();
        const auto outcome = run.outcome();
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->totalWritten, total);
        EXPECT_EQ(outcome->finalSize, total);
        EXPECT_EQ(outcome->resumedBytes, 0);
        EXPECT_EQ(outcome->peakConnections, ranges.size());
        EXPECT_TRUE(run.file() == fileBytes(total));
        for (const FakeHTTP::SessionRecord& session : run.http.sessions())
            EXPECT_EQ(session.state, FakeHTTP::SessionState::finishing);
    }
}

TEST_F(SegmentedDownloadPlanTest, LearnsTheSizeFromTheBodyWhenItWasUnknown) {
    // What is answered (nothing: as an honest server does), and the total that is known then.
    using Head = std::optional<HTTPResponse>;
    const std::tuple<const char*, bool, Head, std::optional<qint64>> cases[] = {
        {"an open range", true, {}, {}},
        {"an open range, answered with the whole file", true, head(200, -1), {}},
        {"an open range, answered with a whole file of known length", true, head(200, 5'000), {}},
        {"a stream", false, {}, {}},
        {"a stream of known length", false, head(200, 5'000), 5'000},
    };
    for (const auto& [name, ranged, answer, totalAfterHead] : cases) {
        SCOPED_TRACE(name);
        SegmentedConfig config = rangedConfig(std::nullopt, 4);
        config.ranged = ranged;
        config.options.dynamicSplit = true;
        StartedRun run(*this, config);
        // What has no end is not split.
        EXPECT_EQ(run.ranges(), std::vector<QByteArray>{ranged ? "bytes=0-" : ""});
        FakeTask& task = run.task(0);
        ASSERT_EQ(task.respond(answer.value_or(run.honestHead(task))), HTTPDisposition::allow);
        run.at(0.25);
        EXPECT_EQ(run.progress().totalBytes, totalAfterHead);
        EXPECT_EQ(run.progress().segments.first().end, totalAfterHead.value_or(0) - 1);
        run.send(task, 5'000);
        task.finish();
        const auto outcome = run.outcome();
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->totalWritten, 5'000);
        EXPECT_EQ(outcome->finalSize, 5'000);
        EXPECT_EQ(run.progress().totalBytes, 5'000);
        EXPECT_EQ(run.file(), fileBytes(5'000));
    }
}

TEST_F(SegmentedDownloadPlanTest, GoesOnWhereARecordEnds) {
    const std::tuple<const char*, Segments, std::vector<QByteArray>, qint64> cases[] = {
        {"in the order of the file",
         {{600, 999, 700}, {0, 299, 10}, {300, 599, 300}},
         {"bytes=10-299", "bytes=300-599", "bytes=700-999"},
         110},
        {"without what is complete", {{500, 999, 1'000}, {0, 499, 499}}, {"bytes=499-499"}, 999},
        {"more segments than connections",
         {{0, 99, 0}, {100, 199, 150}, {200, 299, 200}, {300, 399, 300}, {400, 999, 400}},
         {"bytes=0-99", "bytes=150-199", "bytes=200-299", "bytes=300-399"},
         50},
    };
    for (const auto& [name, segments, ranges, resumed] : cases) {
        SCOPED_TRACE(name);
        SegmentedConfig config = rangedConfig(1'000, 4);
        config.resumeSegments = segments;
        StartedRun run(*this, config);
        EXPECT_EQ(run.ranges(), ranges);
        run.serveAll();
        const auto outcome = run.outcome();
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->resumedBytes, resumed);
        EXPECT_EQ(outcome->totalWritten, 1'000);
        EXPECT_EQ(run.file(), fileBytes(1'000));
    }
}

TEST_F(SegmentedDownloadPlanTest, FinishesAtOnceWhenNothingIsMissing) {
    SegmentedConfig complete = rangedConfig(1'000, 4);
    complete.resumeSegments = Segments{{500, 999, 1'000}, {0, 499, 500}};
    for (const SegmentedConfig& config : {rangedConfig(0, 4), unrangedConfig(0), complete}) {
        const qint64 size = config.total.value_or(-1);
        StartedRun run(*this, config);
        const auto outcome = run.outcome();
        ASSERT_TRUE(outcome);
        EXPECT_EQ(run.http.startedCount(), 0);
        EXPECT_EQ(outcome->totalWritten, size);
        EXPECT_EQ(outcome->resumedBytes, size);
        EXPECT_EQ(outcome->finalSize, size);
        EXPECT_EQ(outcome->peakConnections, 0);
        EXPECT_EQ(run.progressCount(), 1);
        EXPECT_EQ(run.progress().receivedBytes, size);
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

TEST_F(SegmentedDownloadPlanTest, SendsRequestsAsTheOptionsSay) {
    SegmentedConfig config = rangedConfig(400);
    config.options.requestTimeout = 7.5;
    config.options.userAgent = u"agent/1"_s;
    config.options.headers = {{u"X-Kept"_s, u"yes"_s}, {u"range"_s, u"bytes=5-6"_s}};
    StartedRun run(*this, config);
    const HTTPRequest& request = run.task(0).request();
    EXPECT_EQ(request.url, config.sources.front());
    EXPECT_EQ(request.timeout, 7.5);
    EXPECT_EQ(request.headers.value("User-Agent"), u"agent/1"_s);
    EXPECT_EQ(request.headers.value("X-Kept"), u"yes"_s);
    EXPECT_EQ(request.headers.values("Range"), std::vector<QByteArray>{"bytes=0-399"});
    const HTTPSessionConfiguration session = run.http.sessions().front().configuration;
    EXPECT_EQ(session.maxConnectionsPerHost, 2);
    EXPECT_EQ(session.resourceTimeout, 604'800.0);
    EXPECT_EQ(session.secretsHome, config.originals.front());
}

} // namespace
} // namespace fetra::test
