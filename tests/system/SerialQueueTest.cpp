#include "system/SerialQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace fetra {
namespace {

TEST(SerialQueueTest, RunsOneAfterTheOtherInTheOrderGiven) {
    constexpr int threads = 4;
    constexpr int each = 1000;
    std::array<std::vector<int>, threads> seen; // Unguarded on purpose: the queue is the guard.
    SerialQueue queue("test");
    {
        std::vector<std::jthread> writers;
        for (size_t thread = 0; thread < threads; ++thread)
            writers.emplace_back([&, thread] {
                for (int number = 0; number < each; ++number)
                    queue.async([&, thread, number] { seen[thread].push_back(number); });
            });
    }
    queue.sync([&] {
        for (const std::vector<int>& numbers : seen) {
            EXPECT_EQ(numbers.size(), size_t{each});
            EXPECT_TRUE(std::ranges::is_sorted(numbers));
        }
    });
}

TEST(SerialQueueTest, ThrowsWhatTheWorkThrowsAndReleasesWhatItOwnsBeforeTheNextRuns) {
    SerialQueue queue("test");
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("disk"); }), std::runtime_error);
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = owned;
    queue.async([kept = std::move(owned)] {});
    bool gone = false;
    queue.sync([&] { gone = watch.expired(); });
    EXPECT_TRUE(gone);
}

TEST(SerialQueueTest, TheDestructorRunsWhatIsQueuedAndWhatThatQueues) {
    std::atomic<int> ran = 0;
    {
        SerialQueue queue("test");
        std::promise<void> gate;
        queue.async([&, future = gate.get_future().share()] { future.wait(); });
        for (int number = 0; number < 10; ++number)
            queue.async([&] {
                ++ran;
                queue.async([&] { ++ran; });
            });
        gate.set_value();
    }
    EXPECT_EQ(ran, 20);
}

} // namespace
} // namespace fetra
