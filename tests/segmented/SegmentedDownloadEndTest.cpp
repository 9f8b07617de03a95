#include "SegmentedDownloadTest.h"

#include <algorithm>
#include <thread>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Segments = QList<ResumeRecord::Seg>;

/// The longest that a call which never waits may take.
constexpr auto instant = 5ms;

template <typename Work>
std::chrono::steady_clock::duration timeOf(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::steady_clock::now() - start;
}

class SegmentedDownloadEndTest : public SegmentedDownloadTest {};

TEST_F(SegmentedDownloadEndTest, ARunCancelledBeforeItsStartSendsNothingAndLosesNothing) {
    SegmentedConfig config = rangedConfig(1'000, 4);
    config.resumeSegments = Segments{{0, 999, 400}};
    EngineRun run(*this, config);
    const ResumeRecord record{
        .url = config.recordURL, .totalSize = 1'000, .segments = *config.resumeSegments};
    ResumeStore::save(record, run.sidecarPath());
    run.engine().cancel();
    run.start();
    EXPECT_EQ(run.error(), DownloadError::cancelled());
    EXPECT_EQ(run.http.startedCount(), 0);
    EXPECT_TRUE(run.http.sessions().empty());
    EXPECT_EQ(run.record(), record);
    EXPECT_EQ(ticker.additions(), 0);
}

TEST_F(SegmentedDownloadEndTest, ARunReturnsWhenItsLastRequestHasCompleted) {
    StartedRun run(*this, rangedConfig(1'000, 3));
    run.engine().cancel();
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(run.task(i).isCancelAsked());
        EXPECT_FALSE(eventually(10ms, [&] { return run.hasEnded(); }));
        run.task(i).fail(TransportError::cancelled, u"cancelled"_s);
    }
    EXPECT_TRUE(eventually(10s, [&] { return run.hasEnded(); }));
    EXPECT_EQ(run.error(), DownloadError::cancelled());
    EXPECT_EQ(run.http.startedCount(), 3);
}

TEST_F(SegmentedDownloadEndTest, NeitherCancellingNorAnybodyElseWaitsForTheDisk) {
    auto shortest = std::chrono::steady_clock::duration::max();
    // The machine may be busy; a cancellation that waits is slow each time.
    for (int round = 0; round < 3; ++round) {
        EngineRun slow(*this, rangedConfig(1'000, 2));
        EngineRun other(*this, rangedConfig(1'000, 2));
        slow.start();
        other.start();
        slow.send(slow.task(0), 100);
        faults.holdSyncs(slow.filePath());
        slow.at(slow.now() + 1);
        ASSERT_TRUE(eventually(10s, [&] { return faults.heldCount() == 1; }));

        const auto first = timeOf([&] { slow.engine().cancel(); });
        slow.http.pump();
        // By now the end of the run waits for the disk too.
        const auto second = timeOf([&] { slow.engine().cancel(); });
        shortest = std::min(shortest, std::max(first, second));

        const size_t snapshots = other.progressCount();
        other.at(other.now() + 0.25);
        EXPECT_EQ(other.progressCount(), snapshots + 1);
        other.serveAll();
        EXPECT_TRUE(other.outcome());
        EXPECT_FALSE(slow.hasEnded());
        EXPECT_EQ(faults.heldCount(), 1);
        faults.release();
        EXPECT_EQ(slow.error(), DownloadError::cancelled());
    }
    EXPECT_LT(shortest, instant);
}

TEST_F(SegmentedDownloadEndTest, ATickPassesOverAnEngineThatIsBusy) {
    EngineRun busy(*this, rangedConfig(1'000, 2));
    EngineRun other(*this, rangedConfig(1'000));
    std::atomic<bool> inside = false;
    std::atomic<bool> released = false;
    busy.http.onStart = [&](FakeTask& task) {
        if (task.identifier() <= 2)
            return;
        inside = true;
        static_cast<void>(eventually(60s, [&] { return released.load(); }));
    };
    busy.start();
    other.start();
    busy.task(0).fail(TransportError::connectionLost, u"lost"_s);
    clock.advance(1);
    // This starts the lost request again, and gets no further, with the engine's lock.
    auto holder = std::async(std::launch::async, [&] { busy.serve(busy.task(1)); });
    ASSERT_TRUE(eventually(10s, [&] { return inside.load(); }));
    ticker.tick();
    EXPECT_EQ(busy.progressCount(), 0);
    EXPECT_EQ(other.progressCount(), 1);
    released = true;
    holder.get();
    ticker.tick();
    EXPECT_EQ(busy.progressCount(), 1);
}

TEST_F(SegmentedDownloadEndTest, SnapshotsSayWhereEverythingStandsAndTheLastOneShowsTheWholeFile) {
    SegmentedConfig config = rangedConfig(1'000, 3);
    setSources(config, 2);
    config.resumeSegments = Segments{{0, 99, 100}, {100, 499, 150}, {500, 899, 500}, {900, 999, 900}};
    StartedRun run(*this, config);
    run.send(run.task(0), 50);
    run.task(1).fail(TransportError::connectionLost, u"lost"_s);
    run.at(0.25);
    const DownloadProgress progress = run.progress();
    EXPECT_EQ(progress.totalBytes, 1'000);
    EXPECT_EQ(progress.receivedBytes, 200);
    EXPECT_DOUBLE_EQ(progress.bytesPerSecond, 200);
    EXPECT_EQ(progress.activeConnections, 2);
    EXPECT_EQ(progress.connectionLimit, 3);
    EXPECT_EQ(
        progress.segments,
        (QList<SegmentSnapshot>{{.start = 0, .end = 99, .current = 100, .active = false, .source = 0},
                                {.start = 100, .end = 499, .current = 200, .active = true, .source = 1},
                                {.start = 500, .end = 899, .current = 500, .active = false, .source = 1},
                                {.start = 900, .end = 999, .current = 900, .active = true, .source = 1}}));

    run.at(1);
    run.serveAll();
    ASSERT_TRUE(run.outcome());
    EXPECT_EQ(run.progress().receivedBytes, 1'000);
    EXPECT_EQ(run.progress().activeConnections, 0);
    EXPECT_EQ(ticker.size(), 0) << "no tick follows";
}

TEST_F(SegmentedDownloadEndTest, TheOwnerMayCancelFromItsProgressHandler) {
    EngineRun run(*this, rangedConfig(1'000, 2));
    run.onProgress = [&] { run.engine().cancel(); };
    run.start();
    run.at(0.25);
    EXPECT_EQ(run.error(), DownloadError::cancelled());
    EXPECT_EQ(run.progressCount(), 1);
}

TEST_F(SegmentedDownloadEndTest, WhatComesAfterTheEndChangesNothing) {
    for (const bool finished : {false, true}) {
        SCOPED_TRACE(finished);
        StartedRun run(*this, rangedConfig(1'000, 2));
        run.send(run.task(0), 100);
        if (finished)
            run.serveAll();
        else
            run.engine().cancel();
        EXPECT_EQ(run.outcome().has_value(), finished);
        const QByteArray file = run.file();
        const std::optional<ResumeRecord> record = run.record();
        const size_t snapshots = run.progressCount();

        const QByteArray data(500, '!');
        SegmentedDownload& engine = run.engine();
        EXPECT_EQ(engine.didReceiveResponse(run.task(0), head(200, 1'000)), HTTPDisposition::cancel);
        engine.didReceiveData(run.task(0), data);
        const TransportError error(TransportError::connectionLost, u"lost"_s);
        engine.didComplete(run.task(0), &error);
        engine.cancel();
        run.at(10);
        EXPECT_EQ(run.http.startedCount(), 2);
        EXPECT_EQ(run.file(), file);
        EXPECT_EQ(run.record(), record);
        EXPECT_EQ(run.progressCount(), snapshots);
    }
}

TEST_F(SegmentedDownloadEndTest, ThreadsThatServeTickAndCancelAtOnceLeaveATrueRecord) {
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        SegmentedConfig config = rangedConfig(400'000, 4);
        config.options.dynamicSplit = true;
        config.options.minSegmentSize = 10'000;
        StartedRun run(*this, config);
        for (size_t i = 0; i < 4; ++i)
            ASSERT_EQ(run.answer(run.task(i)), HTTPDisposition::allow);
        std::atomic<bool> stop = false;
        std::thread housekeeper([&] {
            while (!stop) {
                clock.advance(0.3);
                ticker.tick();
                std::this_thread::sleep_for(100us);
            }
        });
        std::vector<std::thread> servers;
        for (qint64 i = 0; i < 4; ++i) {
            servers.emplace_back([&, i] {
                FakeTask& task = run.task(static_cast<size_t>(i));
                while (!task.isCancelAsked() && task.position() < 100'000 * (i + 1))
                    run.send(task, 1'000);
            });
        }
        if (round % 2 == 0)
            run.engine().cancel();
        for (std::thread& server : servers)
            server.join();
        if (round % 2 == 1) {
            EXPECT_TRUE(eventually(10s, [&] {
                run.serveAll();
                return run.hasEnded();
            }));
        }
        const bool finished = run.outcome().has_value();
        stop = true;
        housekeeper.join();
        EXPECT_EQ(finished, round % 2 == 1);
        const auto record = run.record();
        for (const ResumeRecord::Seg& each : record ? record->segments : Segments()) {
            const qint64 size = each.current - each.start;
            EXPECT_TRUE(run.file().mid(each.start, size) == fileBytes(400'000).mid(each.start, size));
        }
        if (finished) {
            EXPECT_TRUE(run.file() == fileBytes(400'000));
        } else {
            EXPECT_TRUE(record && ResumeStore::isValidPartition(record->segments, 400'000));
        }
    }
}

} // namespace
} // namespace fetra::test
