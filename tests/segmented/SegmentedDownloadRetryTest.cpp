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
    const std::tuple<int, QByteArray, double> cases[] = {
        {503, "30", 30},     {503, "500", 120}, {503, " \t2.5 ", 2.5},
        {429, "5", 5},       {404, "7", 7},     {503, "Wed, 21 Oct 2065 07:28:00 GMT", 0.4},
        {503, "5 min", 0.4}, {503, "-3", 0.4},  {503, "0.1", 0.4}};
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

TEST_F(SegmentedDownloadRetryTest, GivesUpAfterSoManyFailuresAndSaysWhy) {
    // An answer that is not taken (nothing: an honest one), the bytes sent of the body, and whether it is
    // lost then.
    using Case = std::tuple<const char*, std::optional<HTTPResponse>, qint64, bool, QString>;
    const QString lost = u"The connection was lost"_s;
    const Case cases[] = {
        {"refused", head(404, 0), 0, false, u"HTTP 404"_s},
        {"the wrong part", head(206, 10), 0, false, u"HTTP 206"_s},
        {"no HTTP", head(0, -1), 0, false, u"The request was cancelled"_s},
        {"lost before the answer", std::nullopt, 0, true, lost},
        {"lost within the body", std::nullopt, 5, true, lost},
        {"too short", std::nullopt, 5, false, u"connection closed early"_s},
    };
    const auto fail = [](const Case& how, EngineRun& run, FakeTask& task) {
        const auto& [name, refused, sent, isLost, reason] = how;
        if (refused) {
            EXPECT_EQ(task.respond(*refused), HTTPDisposition::cancel);
            return run.http.pump();
        }
        if (sent > 0)
            run.send(task, sent);
        if (isLost)
            lose(task);
        else
            task.finish();
    };
    for (const Case& each : cases) {
        for (const int allowed : {0, 2}) {
            SCOPED_TRACE(testing::Message() << std::get<0>(each) << ", retries " << allowed);
            SegmentedConfig config = rangedConfig(100);
            config.options.maxRetries = allowed;
            StartedRun run(*this, config);
            for (int retry = 0; retry < allowed; ++retry) {
                fail(each, run, run.lastTask());
                run.at(run.now() + 10);
                ASSERT_EQ(run.http.startedCount(), retry + 2);
            }
            fail(each, run, run.lastTask());
            EXPECT_EQ(run.error(), DownloadError::exhaustedRetries(std::get<QString>(each)));
        }
    }
}

TEST_F(SegmentedDownloadRetryTest, OneFailedSegmentEndsTheOthersToo) {
    SegmentedConfig config = rangedConfig(100, 3);
    config.options.maxRetries = 0;
    StartedRun run(*this, config);
    run.send(run.task(0), 5);
    lose(run.task(1));
    EXPECT_TRUE(run.task(0).isCancelAsked());
    EXPECT_TRUE(run.task(2).isCancelAsked());
    EXPECT_EQ(run.error(), DownloadError::exhaustedRetries(u"The connection was lost"_s));
    EXPECT_EQ(run.http.startedCount(), 3);
    for (const FakeHTTP::SessionRecord& session : run.http.sessions())
        EXPECT_EQ(session.state, FakeHTTP::SessionState::cancelled);
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
        run.serveAll();
        EXPECT_TRUE(run.outcome());
        EXPECT_TRUE(run.file() == fileBytes(1'000'000));
    }
}

TEST_F(SegmentedDownloadRetryTest, GoesToTheNextServerAndFromTheThirdRetryOnToTheAddressesGiven) {
    const std::pair<int, std::vector<QString>> cases[] = {
        {1, {u"s0.test"_s, u"s0.test"_s, u"s0.test"_s, u"o0.test"_s, u"o0.test"_s}},
        {2, {u"s0.test"_s, u"s1.test"_s, u"s0.test"_s, u"o1.test"_s, u"o0.test"_s}},
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

TEST_F(SegmentedDownloadRetryTest, AStreamBeginsAgain) {
    StartedRun run(*this, unrangedConfig(10'000));
    run.send(run.task(0), 5'000);
    run.at(0.25);
    EXPECT_EQ(run.progress().receivedBytes, 5'000);
    lose(run.task(0));
    run.at(0.5);
    EXPECT_EQ(run.progress().receivedBytes, 0);
    EXPECT_GE(run.progress().bytesPerSecond, 0);
    run.at(1);
    ASSERT_EQ(run.http.startedCount(), 2);
    EXPECT_EQ(run.lastTask().range(), "");
    run.serve(run.lastTask());
    ASSERT_TRUE(run.outcome());
    EXPECT_EQ(run.outcome()->totalWritten, 10'000);
    EXPECT_EQ(run.file(), fileBytes(10'000));
}

TEST_F(SegmentedDownloadRetryTest, AStreamOfUnknownSizeIsNotHeldToTheLengthOfAFailedAnswer) {
    for (const qint64 arrived : {0, 100}) {
        for (const qint64 length : {-1, 300, 700}) {
            SCOPED_TRACE(testing::Message() << arrived << " bytes, then length " << length);
            StartedRun run(*this, unrangedConfig(std::nullopt));
            ASSERT_EQ(run.task(0).respond(head(200, 500)), HTTPDisposition::allow);
            run.send(run.task(0), arrived);
            lose(run.task(0));
            run.at(1);
            ASSERT_EQ(run.http.startedCount(), 2);
            ASSERT_EQ(run.task(1).respond(head(200, length)), HTTPDisposition::allow);
            const qint64 size = length < 0 ? 600 : length;
            run.send(run.task(1), size);
            if (!run.task(1).isComplete())
                run.task(1).finish();
            ASSERT_TRUE(run.outcome());
            EXPECT_EQ(run.outcome()->finalSize, size);
            EXPECT_EQ(run.file(), fileBytes(size));
        }
    }
}

} // namespace
} // namespace fetra::test
