#include "SegmentedDownloadTest.h"

namespace fetra::test {
namespace {

class SegmentedDownloadAnswerTest : public SegmentedDownloadTest {};

TEST_F(SegmentedDownloadAnswerTest, AStreamTakesARangeOnlyWhenItIsTheWholeFile) {
    const std::tuple<const char*, HTTPResponse, bool> cases[] = {
        {"another success", head(299, 1'000), true},
        {"the file as a range", head(206, 1'000, {{"Content-Range", "bytes 0-999/1000"}}), true},
        {"a part", head(206, 500, {{"Content-Range", "bytes 0-499/1000"}}), false},
        {"without its place", head(206, 1'000), false},
        {"without its length", head(206, -1, {{"Content-Range", "bytes 0-999/1000"}}), false},
        {"without the total", head(206, 1'000, {{"Content-Range", "bytes 0-999/*"}}), false},
        {"the whole of another file", head(206, 900, {{"Content-Range", "bytes 0-899/900"}}), false},
        {"informational", head(199, 1'000), false},
        {"redirection", head(300, 1'000), false},
    };
    SegmentedConfig stream = rangedConfig(1'000);
    stream.ranged = false;
    for (const auto& [name, answer, allowed] : cases) {
        SCOPED_TRACE(name);
        StartedRun run(*this, stream);
        EXPECT_EQ(run.task(0).respond(answer) == HTTPDisposition::allow, allowed);
        run.http.pump();
        run.at(10);
        EXPECT_EQ(run.http.startedCount(), allowed ? 1 : 2) << "a refused one is asked for again";
    }
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
    }
}

} // namespace
} // namespace fetra::test
