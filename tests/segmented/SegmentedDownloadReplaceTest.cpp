#include "segmented/HostLimits.h"
#include "SegmentedDownloadTest.h"

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

constexpr double tickInterval = 0.25;

class SegmentedDownloadReplaceTest : public SegmentedDownloadTest {
protected:
    /// That many equal segments, too short to be split and long enough to be measured by.
    static SegmentedConfig unsplittable(int count) {
        SegmentedConfig config = rangedConfig(qint64{count} * 4'000, count);
        config.options.minSegmentSize = 4'000;
        config.options.dynamicSplit = true;
        config.options.maxRetries = 0;
        return config;
    }

    /// From now until then each request gets its answer at that many bytes a second, and no head at less than
    /// none. Ends early when one is cancelled.
    static void flow(EngineRun& run, double until, const std::vector<double>& bytesPerSecond) {
        for (double now = run.now(); now < until - tickInterval / 2; now += tickInterval) {
            for (size_t i = 0; i < std::min(bytesPerSecond.size(), run.http.startedCount()); ++i) {
                FakeTask& task = run.task(i);
                if (task.isComplete() || bytesPerSecond[i] < 0)
                    continue;
                const qint64 left = *task.last() + 1 - (task.hasAnswered() ? task.position() : task.first());
                run.send(task, std::min(left, static_cast<qint64>(bytesPerSecond[i] * tickInterval)));
                if (task.position() > *task.last())
                    task.finish();
            }
            run.at(now + tickInterval);
            for (const auto& task : run.http.live()) {
                if (task->isCancelAsked())
                    return;
            }
        }
    }
};

TEST_F(SegmentedDownloadReplaceTest, OnlyWhatIsFarSlowerThanAFreshConnectionWouldBe) {
    struct Case {
        const char* name;
        std::vector<double> rates;
        std::optional<double> replaced; ///< seconds after the start
        qint64 limit = 8;
    };
    const Case cases[] = {
        {"crawls", {4'000, 4'000, 400}, 1.75},
        {"silent", {4'000, 4'000, 0}, 1.75},
        {"not even a head", {4'000, 4'000, -1}, 1.75},
        {"a third of the pace", {4'000, 4'000, 1'500}, {}},
        {"the others are slow too", {1'200, 1'200, 400}, {}},
        {"most are slow", {4'000, 400, 400, 400}, {}},
        {"no others", {400}, {}},
        {"no lane may run", {4'000, 4'000, 400}, {}, 1},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        EngineRun run(*this, unsplittable(static_cast<int>(each.rates.size())));
        HostLimits::set(u"s0.test"_s, each.limit);
        run.start();
        flow(run, 6, each.rates);
        const auto live = run.http.live();
        const bool cancelled = std::ranges::any_of(live, &FakeTask::isCancelAsked);
        EXPECT_EQ(cancelled ? std::optional(run.now()) : std::nullopt, each.replaced);
    }
}

TEST_F(SegmentedDownloadReplaceTest, NotWhileASegmentWaits) {
    SegmentedConfig config = unsplittable(3);
    config.options.maxRetries = 1;
    StartedRun run(*this, config);
    EXPECT_EQ(run.task(0).respond(head(500, 0, {{"Retry-After", "20"}})), HTTPDisposition::cancel);
    run.http.pump();
    flow(run, 10, {0, 4'000, 10});
    EXPECT_FALSE(run.task(2).isCancelAsked());
}

TEST_F(SegmentedDownloadReplaceTest, GoesOnAtOnceElsewhereAndCountsNothing) {
    SegmentedConfig config = unsplittable(4);
    setSources(config, 2);
    StartedRun run(*this, config);
    flow(run, 5, {4'000, 4'000, 400, 4'000});
    FakeTask& crawling = run.task(2);
    ASSERT_TRUE(crawling.isCancelAsked());
    EXPECT_EQ(run.http.startedCount(), 4);
    run.http.pump();
    ASSERT_EQ(run.http.startedCount(), 5);
    EXPECT_EQ(run.lastTask().range(), "bytes=8700-11999");
    EXPECT_NE(run.lastTask().session(), crawling.session());
    EXPECT_NE(run.lastTask().request().url, crawling.request().url);
    EXPECT_EQ(run.limit(), 4);
    EXPECT_EQ(HostLimits::get(u"s0.test"_s), std::nullopt);
}

TEST_F(SegmentedDownloadReplaceTest, LeavesAServerThatHasFallenSilentToTheTimeOut) {
    StartedRun run(*this, unsplittable(2));
    flow(run, 1.75, {4'000, 0});
    std::vector<double> replacedAt;
    EXPECT_EQ(run.lastTask().request().timeout, 20);
    for (double now = run.now(); now < 80; now += tickInterval) {
        run.at(now);
        if (run.lastTask().isCancelAsked())
            replacedAt.push_back(now);
        run.http.pump();
    }
    // What is left of the time-out of the first request, as if it had never been cancelled.
    EXPECT_EQ(replacedAt, (std::vector<double>{1.75, 6.75}));
    EXPECT_EQ(run.lastTask().request().timeout, 20 - 6.75);
}

} // namespace
} // namespace fetra::test
