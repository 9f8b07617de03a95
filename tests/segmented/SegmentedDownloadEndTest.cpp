#include "SegmentedDownloadTest.h"

#include <algorithm>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The longest that a call which never waits may take.
constexpr auto instant = 5ms;

template <typename Work>
std::chrono::steady_clock::duration timeOf(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::steady_clock::now() - start;
}

class SegmentedDownloadEndTest : public SegmentedDownloadTest {};

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

} // namespace
} // namespace fetra::test
