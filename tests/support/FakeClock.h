#pragma once

#include "system/Clock.h"
#include "system/Random.h"
#include "system/Ticker.h"

#include <atomic>
#include <cmath>
#include <functional>
#include <map>
#include <mutex>

namespace fetra::test {

/// Stands still until it is told otherwise. Any thread may read it.
class FakeClock final : public Clock {
public:
    [[nodiscard]] TimePoint now() const override {
        return TimePoint(std::chrono::nanoseconds(nanoseconds_.load()));
    }
    /// Since the clock was made.
    [[nodiscard]] double seconds() const {
        return static_cast<double>(nanoseconds_.load() - origin) / perSecond;
    }
    void set(double seconds) { nanoseconds_ = origin + std::llround(seconds * perSecond); }
    void advance(double seconds) { nanoseconds_ += std::llround(seconds * perSecond); }

private:
    static constexpr qint64 origin = 1'000'000'000'000;
    static constexpr double perSecond = 1e9;
    std::atomic<qint64> nanoseconds_{origin};
};

/// Answers with the same point of every interval.
class FakeRandom final : public Random {
public:
    /// 0 is the lower end, 1 the upper one.
    void set(double point) { point_ = point; }
    [[nodiscard]] double uniform(double low, double high) override { return low + (high - low) * point_; }

private:
    std::atomic<double> point_{0.5};
};

/// Ticks when the test says so, on the calling thread; one thread ticks at a time.
class FakeTickSource final : public TickSource {
public:
    [[nodiscard]] Token add(std::function<void()> tick) override {
        const std::lock_guard lock(mutex_);
        ticks_.emplace(++lastToken_, std::move(tick));
        return lastToken_;
    }
    void remove(Token token) override {
        const std::lock_guard lock(mutex_);
        ticks_.erase(token);
    }
    /// Calls everybody registered once, in the order of registration.
    void tick() {
        const std::lock_guard lock(mutex_);
        for (const auto& [token, call] : ticks_)
            call();
    }
    /// Registrations ever, and now.
    [[nodiscard]] Token additions() const {
        const std::lock_guard lock(mutex_);
        return lastToken_;
    }
    [[nodiscard]] size_t size() const {
        const std::lock_guard lock(mutex_);
        return ticks_.size();
    }

private:
    mutable std::mutex mutex_;
    std::map<Token, std::function<void()>> ticks_;
    Token lastToken_ = 0;
};

} // namespace fetra::test
