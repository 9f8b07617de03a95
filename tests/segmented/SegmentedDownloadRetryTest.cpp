#include "SegmentedDownloadTest.h"

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

class SegmentedDownloadRetryTest : public SegmentedDownloadTest {
protected:
    static void lose(FakeTask& task) {
        task.fail(TransportError::connectionLost, u"The connection was lost"_s);
    }
};

TEST_F(SegmentedDownloadRetryTest, WaitsTwiceAsLongEachTimeUpToALimit) {
    for (const auto& [point, factor] : {std::pair(0.0, 0.8), std::pair(0.5, 1.0), std::pair(1.0, 1.2)}) {
        SCOPED_TRACE(factor);
        random.set(point);
        StartedRun run(*this, rangedConfig(100));
        for (const double wait : {0.4, 0.8, 1.6, 3.2, 6.4, 8.0, 8.0, 8.0}) {
            lose(run.lastTask());
            EXPECT_TRUE(run.restartsAfter(wait * factor));
        }
        EXPECT_EQ(run.http.startedCount(), 9);
    }
}

TEST_F(SegmentedDownloadRetryTest, WaitsAsLongAsTheServerAsksWithinBounds) {
    const std::tuple<int, QByteArray, double> cases[] = {{503, "30", 30},   {503, "500", 120},
                                                         {429, "5", 5},     {404, "7", 7},
                                                         {503, "0.1", 0.4}, {503, "-3", 0.4}};
    for (const auto& [status, retryAfter, wait] : cases) {
        SCOPED_TRACE(retryAfter.constData());
        StartedRun run(*this, rangedConfig(100));
        EXPECT_EQ(run.task(0).respond(head(status, 0, {{"Retry-After", retryAfter}})),
                  HTTPDisposition::cancel);
        run.http.pump();
        EXPECT_TRUE(run.restartsAfter(wait));
        // The wish holds once.
        lose(run.lastTask());
        EXPECT_TRUE(run.restartsAfter(0.8));
    }
}

TEST_F(SegmentedDownloadRetryTest, AGoodStretchOfDataForgivesEarlierFailures) {
    const std::pair<std::vector<qint64>, bool> cases[] = {
        {{262'143}, false}, {{262'144}, true}, {{200'000, 62'144}, true}};
    for (const auto& [chunks, forgiven] : cases) {
        SCOPED_TRACE(chunks.front());
        SegmentedConfig config = rangedConfig(1'000'000);
        config.options.maxRetries = 1;
        StartedRun run(*this, config);
        // What an earlier run brought does not count.
        run.send(run.task(0), 262'143);
        lose(run.task(0));
        EXPECT_TRUE(run.restartsAfter(0.4));
        for (const qint64 chunk : chunks)
            run.send(run.task(1), chunk);
        lose(run.task(1));
        if (!forgiven) {
            EXPECT_TRUE(run.error());
            continue;
        }
        EXPECT_TRUE(run.restartsAfter(0.4));
        EXPECT_EQ(run.task(2).range(), "bytes=" + QByteArray::number(2 * 262'143 + 1) + "-999999");
    }
}

TEST_F(SegmentedDownloadRetryTest, GoesToTheNextServerAndFromTheThirdRetryOnToTheAddressesGiven) {
    const std::pair<int, std::vector<QString>> cases[] = {
        {1, {u"s0.test"_s, u"s0.test"_s, u"s0.test"_s, u"o0.test"_s, u"o0.test"_s}},
        {3, {u"s0.test"_s, u"s1.test"_s, u"s2.test"_s, u"o0.test"_s, u"o1.test"_s, u"o2.test"_s}},
    };
    for (const auto& [sources, hosts] : cases) {
        SCOPED_TRACE(sources);
        SegmentedConfig config = rangedConfig(100);
        setSources(config, sources);
        StartedRun run(*this, config);
        for (size_t i = 0; i < hosts.size(); ++i) {
            ASSERT_EQ(run.http.startedCount(), i + 1);
            EXPECT_EQ(run.lastTask().request().url.host(), hosts[i]);
            lose(run.lastTask());
            run.at(run.now() + 10);
        }
    }
}

} // namespace
} // namespace fetra::test
