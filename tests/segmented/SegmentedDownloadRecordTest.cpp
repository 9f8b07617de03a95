#include "SegmentedDownloadTest.h"
#include "system/PosixError.h"

#include <cerrno>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Segments = QList<ResumeRecord::Seg>;

const DownloadError flushError = DownloadError::io(u"could not flush downloaded data to disk"_s);

class SegmentedDownloadRecordTest : public SegmentedDownloadTest {
protected:
    /// All that the record claims lies in the file, and it covers the file.
    static void expectRecordHolds(const EngineRun& run, qint64 total) {
        const auto record = run.record();
        ASSERT_TRUE(record);
        EXPECT_EQ(record->totalSize, total);
        EXPECT_TRUE(ResumeStore::isValidPartition(record->segments, total));
        const QByteArray file = run.file();
        for (const ResumeRecord::Seg& each : record->segments) {
            const qint64 size = each.current - each.start;
            EXPECT_EQ(file.mid(each.start, size), fileBytes(total).mid(each.start, size));
        }
    }
};

TEST_F(SegmentedDownloadRecordTest, IsSavedOnceASecondWhenThereIsNews) {
    using Steps = std::vector<std::tuple<double, qint64, bool>>;
    SegmentedConfig withoutResume = rangedConfig(1'000);
    withoutResume.options.resume = false;
    // At that time so many bytes have come, and then it is saved or not.
    const std::tuple<const char*, SegmentedConfig, Steps> cases[] = {
        {"not within the first second", rangedConfig(1'000), {{0.25, 10, false}, {0.999, 10, false}}},
        {"then once", rangedConfig(1'000), {{1, 10, true}, {1.25, 10, false}, {1.999, 10, false}}},
        {"again a second later", rangedConfig(1'000), {{1.1, 10, true}, {2, 10, false}, {2.1, 10, true}}},
        {"not without news", rangedConfig(1'000), {{1, 10, true}, {2, 0, false}, {3, 0, false}}},
        {"at the first news", rangedConfig(1'000), {{1, 10, true}, {5, 0, false}, {5.25, 10, true}}},
        {"even when nothing has arrived", rangedConfig(1'000), {{1, 0, true}}},
        {"not of a stream", unrangedConfig(1'000), {{1, 10, false}, {2, 10, false}}},
        {"not of an unknown size", rangedConfig(std::nullopt), {{1, 10, false}, {2, 10, false}}},
        {"not against the options", withoutResume, {{1, 10, false}, {2, 10, false}}},
    };
    for (const auto& [name, config, steps] : cases) {
        SCOPED_TRACE(name);
        const int before = faults.dataSyncCount();
        int saved = 0;
        qint64 held = 0;
        {
            StartedRun run(*this, config);
            for (const auto& [at, bytes, isSaved] : steps) {
                run.send(run.task(0), bytes);
                held += bytes;
                run.at(at);
                saved += isSaved ? 1 : 0;
                EXPECT_TRUE(!isSaved || run.saves({{0, 999, held}})) << at;
            }
        }
        // The run has ended, and with it all that was queued.
        EXPECT_EQ(faults.dataSyncCount() - before, saved);
    }
}

TEST_F(SegmentedDownloadRecordTest, SaysAllThatALaterRunNeeds) {
    SegmentedConfig config = rangedConfig(1'000, 3);
    config.options.dynamicSplit = true;
    config.resumeSegments = Segments{{0, 399, 0}, {400, 979, 500}, {980, 999, 980}};
    config.validators = {{.etag = u"W/\"tag\""_s, .lastModified = u"Monday"_s}};
    StartedRun run(*this, config);
    run.serve(run.task(2));
    run.send(run.task(1), 20);
    run.at(1);
    const Segments expected{{0, 399, 0}, {400, 739, 520}, {980, 999, 1'000}, {740, 979, 740}};
    ASSERT_TRUE(run.saves(expected));
    EXPECT_EQ(run.record(), (ResumeRecord{.version = 2,
                                          .url = u"http://record.test/file"_s,
                                          .totalSize = 1'000,
                                          .etag = u"W/\"tag\""_s,
                                          .lastModified = u"Monday"_s,
                                          .segments = expected}));
    expectRecordHolds(run, 1'000);
}

TEST_F(SegmentedDownloadRecordTest, TheEndWaitsForTheWriteUnderWayAndCountsIt) {
    StartedRun run(*this, rangedConfig(1'000));
    run.send(run.task(0), 100);
    faults.holdWrites(run.filePath());
    auto writer = std::async(std::launch::async, [&] { run.send(run.task(0), 200); });
    ASSERT_TRUE(eventually(10s, [&] { return faults.heldCount() == 1; }));
    run.engine().cancel();
    EXPECT_FALSE(eventually(30ms, [&] { return run.hasEnded(); }));
    faults.release();
    writer.get();
    EXPECT_EQ(run.error(), DownloadError::cancelled());
    EXPECT_EQ(run.record()->segments, (Segments{{0, 999, 300}}));
    expectRecordHolds(run, 1'000);
}

TEST_F(SegmentedDownloadRecordTest, ASlowDiskGetsOneSaveAtATime) {
    StartedRun run(*this, rangedConfig(1'000));
    faults.holdSyncs(run.filePath());
    for (int second = 1; second <= 5; ++second) {
        run.send(run.task(0), 10);
        run.at(second);
    }
    EXPECT_TRUE(eventually(10s, [&] { return faults.heldCount() == 1; }));
    EXPECT_EQ(run.record(), std::nullopt);
    faults.release();
    EXPECT_TRUE(run.saves({{0, 999, 50}}));
    run.engine().cancel();
    EXPECT_EQ(run.error(), DownloadError::cancelled());
    EXPECT_EQ(faults.dataSyncCount(), 2);
}

TEST_F(SegmentedDownloadRecordTest, AFailedSyncEndsTheRunAndTheRecordStaysAsItWas) {
    for (const bool hasRecord : {false, true}) {
        SCOPED_TRACE(hasRecord);
        StartedRun run(*this, rangedConfig(1'000, 2));
        run.send(run.task(0), 100);
        if (hasRecord) {
            run.at(1);
            EXPECT_TRUE(run.saves({{0, 499, 100}, {500, 999, 500}}));
        }
        run.send(run.task(1), 100);
        // No save is due yet, so that none on its way meets the failure that is meant for the next.
        run.at(hasRecord ? 1.5 : 0.5);
        faults.failSync({EIO});
        run.at(2);
        // The save may have been held up by the one before.
        EXPECT_TRUE(eventually(10s, [&] {
            ticker.tick();
            return run.task(1).isCancelAsked();
        }));
        EXPECT_EQ(run.error(), flushError);
        EXPECT_EQ(run.record().has_value(), hasRecord);
        if (hasRecord) {
            EXPECT_EQ(run.record()->segments, (Segments{{0, 499, 100}, {500, 999, 500}}));
        }
    }
}

TEST_F(SegmentedDownloadRecordTest, AFailedSyncAtTheEndIsNoCompletion) {
    StartedRun run(*this, rangedConfig(1'000));
    run.send(run.task(0), 400);
    run.at(1);
    EXPECT_TRUE(run.saves({{0, 999, 400}}));
    run.send(run.task(0), 600);
    faults.failSync({EIO, EIO, EIO});
    run.task(0).finish();
    EXPECT_EQ(run.error(), flushError);
    EXPECT_EQ(run.record()->segments, (Segments{{0, 999, 400}}));
}

TEST_F(SegmentedDownloadRecordTest, AFailedWriteEndsTheRunWithTheSystemsWords) {
    StartedRun run(*this, rangedConfig(1'000, 2));
    run.send(run.task(0), 100);
    run.send(run.task(1), 30);
    faults.failWrite({ENOSPC});
    run.send(run.task(0), 100);
    // Nothing is written any more.
    run.send(run.task(1), 30);
    EXPECT_EQ(run.error(), DownloadError::io(PosixError(ENOSPC).description()));
    EXPECT_EQ(run.record()->segments, (Segments{{0, 499, 100}, {500, 999, 530}}));
    expectRecordHolds(run, 1'000);
}

TEST_F(SegmentedDownloadRecordTest, AFinishedRunKeepsACompleteRecordWhereThereWasOne) {
    const std::tuple<const char*, bool, bool, bool, bool> cases[] = {
        {"a short run", false, false, true, false},
        {"with a save", false, true, true, true},
        {"resumed", true, false, true, true},
        {"against the options", true, false, false, false}};
    for (const auto& [name, resumed, saved, resume, kept] : cases) {
        SCOPED_TRACE(name);
        SegmentedConfig config = rangedConfig(1'000);
        config.options.resume = resume;
        if (resumed)
            config.resumeSegments = Segments{{0, 999, 100}};
        StartedRun run(*this, config);
        if (saved) {
            run.at(1);
            EXPECT_TRUE(run.saves({{0, 999, 0}}));
        }
        run.serveAll();
        EXPECT_TRUE(run.outcome());
        EXPECT_EQ(run.record().has_value(), kept);
        if (kept) {
            EXPECT_TRUE(run.record()->isComplete());
            expectRecordHolds(run, 1'000);
        }
    }
}

} // namespace
} // namespace fetra::test
