#include "SegmentedDownloadTest.h"

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using Segments = QList<ResumeRecord::Seg>;

enum class Verdict { allowed, refused, rangeNotHonored, sizeMismatch };

struct AnswerCase {
    const char* name;
    HTTPResponse head;
    Verdict verdict;
};

class SegmentedDownloadAnswerTest : public SegmentedDownloadTest {
protected:
    /// What becomes of `response` as the answer to that request: a refused one is asked for again.
    static void expectVerdict(EngineRun& run, size_t index, const AnswerCase& each) {
        SCOPED_TRACE(each.name);
        run.start();
        const size_t before = run.http.startedCount();
        const QByteArray range = run.task(index).range();
        const HTTPDisposition disposition = run.task(index).respond(each.head);
        EXPECT_EQ(disposition == HTTPDisposition::allow, each.verdict == Verdict::allowed);
        switch (each.verdict) {
        case Verdict::allowed:
            run.at(10);
            EXPECT_EQ(run.http.startedCount(), before);
            return;
        case Verdict::refused:
            run.http.pump();
            run.at(10);
            ASSERT_EQ(run.http.startedCount(), before + 1);
            EXPECT_EQ(run.lastTask().range(), range);
            return;
        case Verdict::rangeNotHonored:
            EXPECT_EQ(run.error(), DownloadError::rangeNotHonored());
            return;
        case Verdict::sizeMismatch:
            EXPECT_EQ(run.error(), DownloadError::sizeMismatch(1'000, each.head.expectedLength));
            return;
        }
    }

    static SegmentedConfig twoSegments() {
        SegmentedConfig config = rangedConfig(1'000, 2);
        config.validators = {{.etag = u"\"v1\""_s, .lastModified = u"Monday"_s}};
        return config;
    }
};

TEST_F(SegmentedDownloadAnswerTest, APartIsTakenOnlyWhereItBelongsAndOfTheSameVersion) {
    const QByteArray right = "bytes 500-999/1000";
    const AnswerCase cases[] = {
        {"the range", head(206, 500, {{"Content-Range", right}}), Verdict::allowed},
        {"its unit in capitals", head(206, 500, {{"content-range", "Bytes 500-999/1000"}}), Verdict::allowed},
        {"without a total", head(206, 500, {{"Content-Range", "bytes 500-999/*"}}), Verdict::allowed},
        {"without a length", head(206, -1, {{"Content-Range", right}}), Verdict::allowed},
        {"no place", head(206, 500), Verdict::refused},
        {"one byte early", head(206, 500, {{"Content-Range", "bytes 499-998/1000"}}), Verdict::refused},
        {"nonsense", head(206, 500, {{"Content-Range", "bytes x-999/1000"}}), Verdict::refused},
        {"one byte late", head(206, 500, {{"Content-Range", "bytes 501-999/1000"}}), Verdict::refused},
        {"another file", head(206, 500, {{"Content-Range", "bytes 500-999/1001"}}), Verdict::refused},
        {"another unit", head(206, 500, {{"Content-Range", "items 500-999/1000"}}), Verdict::refused},
        {"both validators",
         head(206, 500, {{"Content-Range", right}, {"ETag", "\"v1\""}, {"Last-Modified", "Monday"}}),
         Verdict::allowed},
        {"the same tag, another date",
         head(206, 500, {{"Content-Range", right}, {"ETag", "\"v1\""}, {"Last-Modified", "Tuesday"}}),
         Verdict::allowed},
        {"another tag, the same date",
         head(206, 500, {{"Content-Range", right}, {"ETag", "\"v2\""}, {"Last-Modified", "Monday"}}),
         Verdict::allowed},
    };
    for (const AnswerCase& each : cases) {
        EngineRun run(*this, twoSegments());
        expectVerdict(run, 1, each);
    }
}

TEST_F(SegmentedDownloadAnswerTest, AnotherVersionIsRefusedWhileSomethingIsHeldAndElseEndsTheRun) {
    const QByteArray range = "bytes 500-999/1000";
    const AnswerCase cases[] = {
        {"another tag", head(206, 500, {{"Content-Range", range}, {"ETag", "\"v2\""}}), Verdict::refused},
        {"another tag and date",
         head(206, 500, {{"Content-Range", range}, {"ETag", "\"v2\""}, {"Last-Modified", "Tuesday"}}),
         Verdict::refused},
        {"another date", head(206, 500, {{"Content-Range", range}, {"Last-Modified", "Tuesday"}}),
         Verdict::refused},
    };
    for (AnswerCase each : cases) {
        {
            StartedRun run(*this, twoSegments());
            run.send(run.task(0), 1);
            EXPECT_EQ(run.task(1).respond(each.head), HTTPDisposition::cancel);
            run.http.pump();
            run.at(10);
            EXPECT_EQ(run.ranges().back(), "bytes=500-999") << each.name;
        }
        each.verdict = Verdict::rangeNotHonored;
        EngineRun run(*this, twoSegments());
        expectVerdict(run, 1, each);
    }
}

TEST_F(SegmentedDownloadAnswerTest, ServersAreComparedWithWhatTheyThemselvesSaid) {
    SegmentedConfig config = twoSegments();
    setSources(config, 2);
    config.options.connections = 4;
    StartedRun run(*this, config);
    const auto answer = [&](size_t index, const QByteArray& tag) {
        HTTPResponse response = run.honestHead(run.task(index));
        response.headers.set("ETag", tag);
        return run.task(index).respond(response);
    };
    EXPECT_EQ(answer(0, "\"v1\""), HTTPDisposition::allow);
    run.send(run.task(0), 10);
    EXPECT_EQ(answer(1, "\"mirror\""), HTTPDisposition::allow);
    EXPECT_EQ(answer(2, "\"mirror\""), HTTPDisposition::cancel);
    EXPECT_EQ(answer(3, "\"v1\""), HTTPDisposition::cancel);
}

TEST_F(SegmentedDownloadAnswerTest, AMirrorThatTurnsToAnotherVersionIsDoneWithout) {
    for (const bool ranged : {true, false}) {
        SCOPED_TRACE(ranged ? "ranged" : "stream");
        SegmentedConfig config = twoSegments();
        setSources(config, 2);
        config.ranged = ranged;
        config.validators.back().etag = u"\"mirror\""_s;
        StartedRun run(*this, config);
        if (!ranged) {
            ASSERT_EQ(run.task(0).respond(head(500, 0)), HTTPDisposition::cancel);
            run.http.pump();
            run.at(10);
        }
        ASSERT_EQ(run.lastTask().request().url.host(), u"s1.test"_s);
        HTTPResponse changed = run.honestHead(run.lastTask());
        changed.headers.set("ETag", "\"changed\"");
        // Nothing is held yet: that would be the end of the run if the primary answered so.
        EXPECT_EQ(run.lastTask().respond(changed), HTTPDisposition::cancel);
        run.http.pump();
        run.at(20);
        EXPECT_EQ(run.lastTask().request().url.host(), u"s0.test"_s);
        if (!ranged) {
            EXPECT_EQ(run.lastTask().respond(changed), HTTPDisposition::allow);
        }
        run.serveAll();
        EXPECT_TRUE(run.outcome());
        EXPECT_EQ(run.file(), fileBytes(1'000));
    }
}

TEST_F(SegmentedDownloadAnswerTest, TheWholeFileIsTakenOnlyWhereItFits) {
    const std::tuple<AnswerCase, int, size_t> cases[] = {
        {{"not at the start", head(200, 1'000), Verdict::rangeNotHonored}, 2, 1},
        {{"not at the start, though as long", head(200, 500), Verdict::rangeNotHonored}, 2, 1},
        {{"the whole beside others", head(200, 1'000), Verdict::rangeNotHonored}, 2, 0},
        {{"no length beside others", head(200, -1), Verdict::rangeNotHonored}, 2, 0},
        {{"just the segment", head(200, 500), Verdict::allowed}, 2, 0},
        {{"alone", head(200, 1'000), Verdict::allowed}, 1, 0},
        {{"alone without a length", head(200, -1), Verdict::allowed}, 1, 0},
        {{"alone and too short", head(200, 999), Verdict::rangeNotHonored}, 1, 0},
        {{"alone and too long", head(200, 1'001), Verdict::rangeNotHonored}, 1, 0},
        {{"alone, the version", head(200, 1'000, {{"ETag", "\"v1\""}}), Verdict::allowed}, 1, 0},
        {{"alone, another version", head(200, 1'000, {{"ETag", "\"v2\""}}), Verdict::rangeNotHonored}, 1, 0},
    };
    for (const auto& [answer, segments, index] : cases) {
        SegmentedConfig config = twoSegments();
        config.options.connections = segments;
        EngineRun run(*this, config);
        expectVerdict(run, index, answer);
    }
}

TEST_F(SegmentedDownloadAnswerTest, AStreamTakesSuccessOfTheRightLength) {
    const AnswerCase cases[] = {
        {"the file", head(200, 1'000), Verdict::allowed},
        {"of unknown length", head(200, -1), Verdict::allowed},
        {"another success", head(299, 1'000), Verdict::allowed},
        {"too short", head(200, 999), Verdict::sizeMismatch},
        {"too long", head(200, 1'001), Verdict::sizeMismatch},
        {"the file as a range", head(206, 1'000, {{"Content-Range", "bytes 0-999/1000"}}), Verdict::allowed},
        {"a part", head(206, 500, {{"Content-Range", "bytes 0-499/1000"}}), Verdict::refused},
        {"a range without its place", head(206, 1'000), Verdict::refused},
        {"a range without its length", head(206, -1, {{"Content-Range", "bytes 0-999/1000"}}),
         Verdict::refused},
        {"a range without the total", head(206, 1'000, {{"Content-Range", "bytes 0-999/*"}}),
         Verdict::refused},
        {"the whole of another file", head(206, 900, {{"Content-Range", "bytes 0-899/900"}}),
         Verdict::refused},
        {"no HTTP", head(0, -1), Verdict::refused},
        {"informational", head(199, 1'000), Verdict::refused},
        {"redirection", head(300, 1'000), Verdict::refused},
    };
    for (const AnswerCase& each : cases) {
        EngineRun run(*this, unrangedConfig(1'000));
        expectVerdict(run, 0, each);
    }
}

TEST_F(SegmentedDownloadAnswerTest, AWholeFileAfterProgressBeginsAtTheBeginning) {
    SegmentedConfig config = rangedConfig(1'000);
    config.resumeSegments = Segments{{0, 999, 300}};
    StartedRun run(*this, config);
    ASSERT_EQ(run.task(0).range(), "bytes=300-999");
    ASSERT_EQ(run.task(0).respond(head(200, 1'000)), HTTPDisposition::allow);
    run.at(0.25);
    EXPECT_EQ(run.progress().receivedBytes, 0);
    EXPECT_EQ(run.progress().segments.first().current, 0);
    // Interrupted here, it has only what came since.
    run.send(run.task(0), 100);
    run.at(1);
    EXPECT_TRUE(run.saves({{0, 999, 100}}));
    run.serve(run.task(0));
    ASSERT_TRUE(run.outcome());
    EXPECT_EQ(run.outcome()->totalWritten, 1'000);
    EXPECT_EQ(run.file(), fileBytes(1'000));
}

TEST_F(SegmentedDownloadAnswerTest, ABodyLongerThanTheFileIsNotTheFile) {
    // Also where a chunk ends with the file: a cancelled request would not hear of the rest.
    for (const auto& [ranged, first] : {std::pair(false, 990), {true, 990}, {false, 1'000}}) {
        SCOPED_TRACE(::testing::Message() << ranged << ", " << first);
        SegmentedConfig config = rangedConfig(1'000);
        config.ranged = ranged;
        StartedRun run(*this, config);
        ASSERT_EQ(run.task(0).respond(head(200, -1)), HTTPDisposition::allow);
        run.send(run.task(0), first);
        EXPECT_FALSE(run.task(0).isCancelAsked());
        run.send(run.task(0), 20);
        EXPECT_EQ(run.error(), DownloadError::sizeMismatch(1'000, first + 20));
        EXPECT_EQ(run.file().size(), 1'000);
    }
}

} // namespace
} // namespace fetra::test
