#pragma once

#include "segmented/SegmentedDownload.h"
#include "support/Eventually.h"
#include "support/FakeClock.h"
#include "support/FakeHTTP.h"
#include "support/SystemFaults.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <optional>
#include <vector>

namespace fetra::test {

/// A ranged file of `total` bytes on one server, fetched over `connections`, with a smallest segment of one
/// byte and no splits.
[[nodiscard]] SegmentedConfig rangedConfig(std::optional<qint64> total, qint64 connections = 1);
/// That many servers, each with an address of its own and another one before redirects.
void setSources(SegmentedConfig& config, int count);

[[nodiscard]] HTTPResponse head(int status, qint64 length, const HeaderList& headers = {});

/// Returns once the engine gives its lock away. It has it from its registration for ticks to its first
/// requests.
void passLock(SegmentedDownload& engine);

/// What the tests of the engine share: time, chance and ticks that the test governs, and a disk whose syncs
/// cost nothing.
class SegmentedDownloadTest : public ::testing::Test {
protected:
    friend class EngineRun;
    SegmentedDownloadTest() { faults.skipSyncs(); }

    FakeClock clock;
    FakeRandom random;
    FakeTickSource ticker;
    TempFolder folder;
    SystemFaults faults;
};

/// One engine at work on a file of its own, `run` on a thread that only waits, and everything else on the
/// thread of the test. What its bytes are does not matter here. At the latest it ends with its scope.
class EngineRun {
public:
    EngineRun(SegmentedDownloadTest& test, SegmentedConfig config);
    ~EngineRun();
    EngineRun(const EngineRun&) = delete;
    EngineRun& operator=(const EngineRun&) = delete;

    /// Returns when the first requests are out, or the run has ended.
    void start();

    FakeHTTP http;
    [[nodiscard]] SegmentedDownload& engine() { return *engine_; }
    [[nodiscard]] FakeTask& task(size_t index) const { return http.task(index); }
    [[nodiscard]] FakeTask& lastTask() const { return http.task(http.startedCount() - 1); }
    /// The "Range" values of all requests so far, in order.
    [[nodiscard]] std::vector<QByteArray> ranges() const;

    /// The head that an honest server gives this request.
    [[nodiscard]] HTTPResponse honestHead(const FakeTask& task) const;
    /// The next bytes of the body, after an honest head where there was none yet.
    void send(FakeTask& task, qint64 bytes);
    /// All that is left of the answer, and its end.
    void serve(FakeTask& task);
    /// Serves what is asked for until nothing is.
    void serveAll();

    /// Sets the clock to that many seconds after the start, and ticks.
    void at(double seconds) {
        test_.clock.set(startedAt_ + seconds);
        test_.ticker.tick();
    }
    /// Seconds after the start.
    [[nodiscard]] double now() const { return test_.clock.seconds() - startedAt_; }
    /// Whether the next request leaves that many seconds from now: not a millisecond earlier, and at once.
    [[nodiscard]] ::testing::AssertionResult restartsAfter(double seconds);

    /// The latest snapshot; a tick makes one.
    [[nodiscard]] DownloadProgress progress() const {
        const std::lock_guard lock(mutex_);
        return progress_;
    }
    [[nodiscard]] size_t progressCount() const {
        const std::lock_guard lock(mutex_);
        return progressCount_;
    }
    [[nodiscard]] qint64 limit() {
        test_.ticker.tick();
        return progress().connectionLimit;
    }

    [[nodiscard]] bool hasEnded() const {
        return end_ || future_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }
    /// Both let the asked cancellations happen and wait for the end of the run.
    [[nodiscard]] std::optional<DownloadError> error() { return end().error; }
    [[nodiscard]] std::optional<SegmentedOutcome> outcome() { return end().outcome; }

    [[nodiscard]] QString filePath() const { return path_; }
    [[nodiscard]] std::optional<ResumeRecord> record() const {
        return ResumeStore::load(config_.sidecarPath);
    }
    /// Ticks until the sidecar says this about the segments; false when it does not in time.
    [[nodiscard]] bool saves(const QList<ResumeRecord::Seg>& segments);

private:
    struct End {
        std::optional<SegmentedOutcome> outcome;
        std::optional<DownloadError> error;
    };
    [[nodiscard]] const End& end();

    SegmentedDownloadTest& test_;
    const SegmentedConfig config_;
    const QString path_;
    FileSink sink_;
    const double startedAt_;

    mutable std::mutex mutex_;
    DownloadProgress progress_;
    size_t progressCount_ = 0;

    std::unique_ptr<SegmentedDownload> engine_;
    std::future<End> future_;
    std::optional<End> end_;
};

/// One that has been started.
class StartedRun : public EngineRun {
public:
    StartedRun(SegmentedDownloadTest& test, const SegmentedConfig& config)
        : EngineRun(test, config) {
        start();
    }
};

} // namespace fetra::test
