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

TEST_F(SegmentedDownloadAnswerTest, WhatMayBeAnythingNeverReplacesBytesThatARecordVouchesFor) {
    StartedRun run(*this, rangedConfig(1'000));
    run.send(run.task(0), 100);
    run.at(1);
    ASSERT_TRUE(run.saves({{0, 999, 100}}));
    run.task(0).fail(TransportError::connectionLost, {});
    run.at(5);
    // All of the file, as far as its head goes.
    EXPECT_EQ(run.task(1).respond(head(200, 1'000)), HTTPDisposition::allow);
    run.task(1).fail(TransportError::connectionLost, {});
    run.at(10);
    EXPECT_EQ(run.task(2).respond(head(200, -1)), HTTPDisposition::cancel);
    EXPECT_EQ(run.error(), DownloadError::rangeNotHonored());
}

} // namespace
} // namespace fetra::test
