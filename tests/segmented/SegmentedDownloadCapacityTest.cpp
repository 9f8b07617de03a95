#include "segmented/HostLimits.h"
#include "SegmentedDownloadTest.h"

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

class SegmentedDownloadCapacityTest : public SegmentedDownloadTest {
protected:
    static void refuse(EngineRun& run, size_t index, int status) {
        EXPECT_EQ(run.task(index).respond(head(status, 0)), HTTPDisposition::cancel);
        run.http.pump();
    }
    static std::optional<qint64> remembered() { return HostLimits::get(u"s0.test"_s); }
};

TEST_F(SegmentedDownloadCapacityTest, AServerThatIsFullGetsOneConnectionLessThanItHad) {
    using Limit = std::optional<qint64>;
    const std::tuple<int, qint64, qint64, Limit> cases[] = {{503, 4, 3, 3}, {429, 4, 3, 3},  {503, 8, 7, 7},
                                                            {503, 1, 1, 1}, {500, 4, 8, {}}, {404, 4, 8, {}}};
    for (const auto& [status, running, limit, kept] : cases) {
        SCOPED_TRACE(testing::Message() << status << " with " << running);
        SegmentedConfig config = rangedConfig(800, 8);
        config.options.minSegmentSize = 800 / running;
        StartedRun run(*this, config);
        ASSERT_EQ(run.http.startedCount(), running);
        refuse(run, 0, status);
        EXPECT_EQ(run.limit(), limit);
        EXPECT_EQ(remembered(), kept);
    }
}

TEST_F(SegmentedDownloadCapacityTest, StartsAtTheRememberedLimitAndForgetsItAfterACalmRun) {
    constexpr int none = 0;
    constexpr int cancelled = -1;
    using Maybe = std::optional<qint64>;
    const std::tuple<qint64, qint64, int, Maybe> cases[] = {
        {3, 3, none, {}}, {50, 4, none, {}}, {3, 3, 503, 2}, {3, 3, 500, {}}, {3, 3, cancelled, 3}};
    for (const auto& [before, started, trouble, after] : cases) {
        SCOPED_TRACE(testing::Message() << before << ", " << trouble);
        EngineRun run(*this, rangedConfig(400, 4));
        HostLimits::set(u"s0.test"_s, before);
        run.start();
        EXPECT_EQ(run.http.startedCount(), started);
        EXPECT_EQ(run.limit(), started);
        if (trouble == cancelled)
            run.engine().cancel();
        else if (trouble != none)
            refuse(run, 0, trouble);
        run.at(1);
        run.serveAll();
        EXPECT_EQ(run.outcome().has_value(), trouble != cancelled);
        EXPECT_EQ(remembered(), after);
    }
}

TEST_F(SegmentedDownloadCapacityTest, CreepsBackByOneConnectionAfterEachCalmQuarterMinute) {
    StartedRun run(*this, rangedConfig(800, 8));
    for (size_t i = 3; i < 8; ++i)
        run.send(run.task(i), 1);
    run.at(2);
    for (size_t i = 0; i < 3; ++i)
        refuse(run, i, 503);
    EXPECT_EQ(run.limit(), 5);
    const std::tuple<double, qint64, size_t> steps[] = {{16.9, 5, 8},   {17, 5, 8},    {17.25, 6, 9},
                                                        {17.5, 6, 9},   {32.25, 6, 9}, {32.5, 7, 10},
                                                        {47.75, 8, 11}, {63.0, 8, 11}, {100.0, 8, 11}};
    for (const auto& [at, limit, started] : steps) {
        SCOPED_TRACE(at);
        run.at(at);
        for (const auto& task : run.http.live()) {
            if (!task->hasAnswered())
                run.send(*task, 1);
        }
        EXPECT_EQ(run.progress().connectionLimit, limit);
        EXPECT_EQ(run.http.startedCount(), started);
    }
}

TEST_F(SegmentedDownloadCapacityTest, OnlyATimeOutBesideStreamsIsNoFailureButASignal) {
    for (const bool answered : {false, true}) {
        SCOPED_TRACE(answered);
        SegmentedConfig config = rangedConfig(800, 8);
        config.options.maxRetries = 0;
        setSources(config, 2);
        StartedRun run(*this, config);
        for (size_t i = 0; i < 3; ++i)
            run.send(run.task(i), 1);
        run.task(5).fail(TransportError::timedOut, u"timed out"_s);
        run.task(6).fail(TransportError::timedOut, u"timed out"_s);
        EXPECT_EQ(run.limit(), 3);
        EXPECT_EQ(remembered(), 3);
        run.task(3).fail(TransportError::timedOut, u"timed out"_s);
        run.task(4).fail(TransportError::timedOut, u"timed out"_s);
        run.task(7).fail(TransportError::timedOut, u"timed out"_s);
        run.serve(run.task(0));
        // A lane is free, and the pause decides; the server stays the same.
        EXPECT_TRUE(run.restartsAfter(1.0));
        EXPECT_EQ(run.lastTask().request().url, run.task(3).request().url);
        if (answered)
            run.send(run.lastTask(), 1);
        run.lastTask().fail(answered ? TransportError::timedOut : TransportError::connectionLost, u"lost"_s);
        EXPECT_EQ(run.error(), DownloadError::exhaustedRetries(u"lost"_s));
    }
}

TEST_F(SegmentedDownloadCapacityTest, GivesUpConnectionsThatWaitFarLongerThanTheOthersDid) {
    // When the others were answered, ascending, and the longest wait after that.
    const std::pair<std::vector<double>, double> cases[] = {
        {{0.2, 0.3, 0.5}, 4.0}, {{1.0, 1.5, 2.0}, 12.0}, {{1.0, 2.0}, 16.0}, {{0.5}, 4.0}, {{0.6}, 4.8}};
    for (const auto& [answeredAfter, threshold] : cases) {
        SCOPED_TRACE(threshold);
        const size_t streaming = answeredAfter.size();
        SegmentedConfig config = rangedConfig(800, static_cast<qint64>(streaming) + 2);
        config.options.maxRetries = 0;
        StartedRun run(*this, config);
        for (size_t i = 0; i < streaming; ++i) {
            run.at(answeredAfter[i]);
            run.send(run.task(i), 1);
        }
        run.at(threshold);
        EXPECT_FALSE(run.task(streaming).isCancelAsked());
        run.at(threshold + 0.001);
        EXPECT_TRUE(run.task(streaming).isCancelAsked());
        EXPECT_TRUE(run.task(streaming + 1).isCancelAsked());
        EXPECT_FALSE(run.task(0).isCancelAsked());
        EXPECT_EQ(run.progress().connectionLimit, streaming);
        EXPECT_EQ(remembered(), streaming);
        run.http.pump();
        run.serve(run.task(0));
        EXPECT_TRUE(run.restartsAfter(1.0));
        EXPECT_EQ(run.lastTask().range(), run.task(streaming).range());
    }
}

} // namespace
} // namespace fetra::test
