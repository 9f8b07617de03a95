#include "system/Ticker.h"

#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace fetra {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using test::eventually;

constexpr auto deadline = 20s;

TEST(TickerTest, TicksOncePerPeriodAndMakesUpForNoneThatWasMissed) {
    constexpr auto period = 10ms;
    Ticker ticker(period);
    std::atomic<int> ticks = 0;
    const auto added = Clock::now();
    const TickSource::Token token = ticker.add([&] {
        const int tick = ticks + 1;
        EXPECT_GE(Clock::now() - added, period * (tick <= 5 ? tick : tick + 29)) << "tick " << tick;
        if (tick == 5)
            std::this_thread::sleep_for(30 * period);
        ticks = tick;
    });
    EXPECT_TRUE(eventually(deadline, [&] { return ticks >= 8; }));
    ticker.remove(token);
}

TEST(TickerTest, RemoveWaitsForATickInFlightAndNoneFollows) {
    Ticker ticker(1ms);
    for (int round = 0; round < 100; ++round) {
        std::atomic<bool> isInside = false;
        std::atomic<int> ticks = 0;
        const TickSource::Token token = ticker.add([&] {
            isInside = true;
            ++ticks;
            std::this_thread::sleep_for(500us);
            isInside = false;
        });
        ASSERT_TRUE(eventually(deadline, [&] { return ticks > 0; }));
        ticker.remove(token);
        ticker.remove(token); // Already gone: no harm.
        ASSERT_FALSE(isInside);
    }
}

} // namespace
} // namespace fetra
