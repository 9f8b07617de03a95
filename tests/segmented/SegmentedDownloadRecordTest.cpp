#include "SegmentedDownloadTest.h"

#include <cerrno>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class SegmentedDownloadRecordTest : public SegmentedDownloadTest {};

TEST_F(SegmentedDownloadRecordTest, IsSavedOnceASecondWhenThereIsNews) {
    using Steps = std::vector<std::tuple<double, qint64, bool>>;
    // At that time so many bytes have come, and then it is saved or not.
    const std::pair<const char*, Steps> cases[] = {
        {"not within the first second", {{0.25, 10, false}, {0.999, 10, false}}},
        {"then once", {{1, 10, true}, {1.25, 10, false}, {1.999, 10, false}}},
        {"again a second later", {{1.1, 10, true}, {2, 10, false}, {2.1, 10, true}}},
        {"not without news", {{1, 10, true}, {2, 0, false}, {3, 0, false}}},
        {"at the first news", {{1, 10, true}, {5, 0, false}, {5.25, 10, true}}},
        {"even when nothing has arrived", {{1, 0, true}}},
    };
    for (const auto& [name, steps] : cases) {
        SCOPED_TRACE(name);
        const int before = faults.dataSyncCount();
        int saved = 0;
        qint64 held = 0;
        {
            StartedRun run(*this, rangedConfig(1'000));
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

TEST_F(SegmentedDownloadRecordTest, AFailedSyncAtTheEndIsNoCompletion) {
    StartedRun run(*this, rangedConfig(1'000));
    run.send(run.task(0), 1'000);
    faults.failSync({EIO, EIO, EIO});
    run.task(0).finish();
    EXPECT_EQ(run.error(), DownloadError::io(u"could not flush downloaded data to disk"_s));
}

} // namespace
} // namespace fetra::test
