#include "system/Ticker.h"

#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace fetra {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using test::eventually;

constexpr auto deadline = 20s;

TEST(TickerTest, TicksNoEarlierThanOncePerPeriod) {
    constexpr auto period = 20ms;
    Ticker ticker(period);
    std::mutex mutex;
    std::vector<Clock::time_point> ticks;
    const auto added = Clock::now();
    const TickSource::Token token = ticker.add([&] {
        const std::lock_guard lock(mutex);
        ticks.push_back(Clock::now());
    });
    EXPECT_TRUE(eventually(deadline, [&] {
        const std::lock_guard lock(mutex);
        return ticks.size() >= 5;
    }));
    ticker.remove(token);
    for (size_t index = 0; index < ticks.size(); ++index)
        EXPECT_GE(ticks[index] - added, period * (index + 1)) << "tick " << index;
}

TEST(TickerTest, ASlowTickDoesNotMakeLaterOnesPileUp) {
    constexpr auto period = 10ms;
    Ticker ticker(period);
    std::atomic<int> ticks = 0;
    const auto added = Clock::now();
    const TickSource::Token token = ticker.add([&] {
        if (++ticks == 1)
            std::this_thread::sleep_for(30 * period);
    });
    EXPECT_TRUE(eventually(deadline, [&] { return ticks >= 3; }));
    const auto elapsed = Clock::now() - added;
    ticker.remove(token);
    EXPECT_GE(elapsed, 32 * period) << "the missed ticks were made up for";
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
