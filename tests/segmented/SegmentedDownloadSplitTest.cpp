#include "SegmentedDownloadTest.h"

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using Segments = QList<ResumeRecord::Seg>;

class SegmentedDownloadSplitTest : public SegmentedDownloadTest {};

TEST_F(SegmentedDownloadSplitTest, GivesAnIdleLaneTheTailOfTheSegmentThatWouldEndLast) {
    // All segments but the last run at once; the last one ends and sets its lane free for a split.
    struct Case {
        const char* name;
        std::vector<qint64> lengths;
        qint64 minimum;
        std::vector<qint64> arrived; ///< for each segment but the last, over `seconds`
        double seconds;
        QByteArray range; ///< of the first request that the split makes; empty for none
        qint64 held = 0;  ///< of the first segment, from an earlier run
    };
    const Case cases[] = {
        {"a segment of unknown speed is halved", {1'000, 10}, 100, {0}, 0, "bytes=500-999"},
        {"what is held does not count", {1'000, 10}, 100, {0}, 0, "bytes=700-999", 400},
        {"twice the smallest segment is split", {200, 10}, 100, {0}, 0, "bytes=100-199"},
        {"less than that is not", {199, 10}, 100, {0}, 0, ""},
        {"the first of equals", {1'000, 1'000, 10}, 1, {0, 0}, 0, "bytes=500-999"},
        {"longer", {500'000, 1'000'000, 100}, 1'000, {200'000, 200'000}, 2, "bytes=1100000-1499999"},
        {"slow", {1'000'000, 500'000, 100}, 1'000, {300'000, 100'000}, 2, "bytes=1233333-1499999"},
        {"keeps", {1'000'000, 500'000, 100}, 150'000, {300'000, 100'000}, 2, "bytes=1250000-1499999"},
        {"gets", {1'000'000, 400'001, 100}, 250'000, {400'000, 0}, 2, "bytes=750000-999999"},
        {"young", {1'000'000, 1'000'000, 100}, 1'000, {300'000, 100'000}, 0.9, "bytes=1550000-1999999"},
        {"no byte", {1'000'000, 500'000, 100}, 1'000, {400'000, 0}, 2, "bytes=1250000-1499999"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        Segments segments;
        qint64 total = 0;
        for (const qint64 length : each.lengths) {
            segments.append({.start = total, .end = total + length - 1, .current = total});
            total += length;
        }
        segments.first().current = each.held;
        SegmentedConfig config = rangedConfig(total, segments.size());
        config.options.minSegmentSize = each.minimum;
        config.options.dynamicSplit = true;
        config.resumeSegments = segments;
        StartedRun run(*this, config);
        const size_t planned = run.http.startedCount();
        for (size_t i = 0; i < each.arrived.size(); ++i)
            run.send(run.task(i), each.arrived[i]);
        if (each.seconds > 0)
            run.at(each.seconds);
        ASSERT_EQ(run.http.startedCount(), planned);
        run.serve(run.task(planned - 1));
        const size_t started = run.http.startedCount();
        EXPECT_EQ(started > planned ? run.task(planned).range() : QByteArray(), each.range);
    }
}

TEST_F(SegmentedDownloadSplitTest, NothingIsSplitWhileASegmentWaits) {
    SegmentedConfig config = rangedConfig(2'000, 3);
    config.resumeSegments = Segments{{0, 999, 0}, {1'000, 1'989, 1'000}, {1'990, 1'999, 1'990}};
    config.options.dynamicSplit = true;
    StartedRun run(*this, config);
    run.task(1).fail(TransportError::connectionLost, u"lost"_s);
    run.serve(run.task(2));
    EXPECT_EQ(run.http.startedCount(), 3);
    // As soon as it runs again there is a lane to give away.
    run.at(0.5);
    EXPECT_EQ(run.ranges(), (std::vector<QByteArray>{"bytes=0-999", "bytes=1000-1989", "bytes=1990-1999",
                                                     "bytes=1000-1989", "bytes=500-999"}));
    // What the request asks for beyond its part is not wanted any more.
    run.send(run.task(0), 499);
    EXPECT_FALSE(run.task(0).isCancelAsked());
    run.send(run.task(0), 1);
    EXPECT_TRUE(run.task(0).isCancelAsked());
}

} // namespace
} // namespace fetra::test
