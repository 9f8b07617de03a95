#include "system/SerialQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace fetra {
namespace {

TEST(SerialQueueTest, RunsAllOneAfterTheOtherInTheOrderGivenBeforeItEnds) {
    constexpr int threads = 4;
    constexpr int each = 1000;
    std::array<std::vector<int>, threads> seen; // Unguarded on purpose: the queue is the guard.
    int late = 0;
    {
        SerialQueue queue("test");
        std::vector<std::jthread> writers;
        for (size_t thread = 0; thread < threads; ++thread)
            writers.emplace_back([&, thread] {
                for (int number = 0; number < each; ++number)
                    queue.async([&, thread, number] {
                        seen[thread].push_back(number);
                        queue.async([&] { ++late; });
                    });
            });
    }
    for (const std::vector<int>& numbers : seen) {
        EXPECT_EQ(numbers.size(), size_t{each});
        EXPECT_TRUE(std::ranges::is_sorted(numbers));
    }
    EXPECT_EQ(late, threads * each);
}

TEST(SerialQueueTest, ReleasesWhatTheWorkOwnsBeforeTheNextRuns) {
    SerialQueue queue("test");
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = owned;
    queue.async([kept = std::move(owned)] {});
    queue.sync([&] { EXPECT_TRUE(watch.expired()); });
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("disk"); }), std::runtime_error);
}

} // namespace
} // namespace fetra
