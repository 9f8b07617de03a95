#pragma once

#include <chrono>

namespace fetra {

/// A point on the monotonic time line. Never shown and never stored: it means nothing in another process.
using TimePoint = std::chrono::steady_clock::time_point;

/// Earlier than any time a clock reports, and still safe to subtract from one.
inline constexpr TimePoint distantPast{TimePoint::duration::min() / 2};

/// `later - earlier` in seconds, negative when they are the other way round.
[[nodiscard]] inline double secondsBetween(TimePoint earlier, TimePoint later) {
    return std::chrono::duration<double>(later - earlier).count();
}

/// `seconds` as a duration of the monotonic time line.
[[nodiscard]] inline TimePoint::duration asDuration(double seconds) {
    return std::chrono::duration_cast<TimePoint::duration>(std::chrono::duration<double>(seconds));
}

/// Where a component asks what time it is, so that tests can answer.
class Clock {
public:
    virtual ~Clock() = default;
    [[nodiscard]] virtual TimePoint now() const = 0;
};

class SystemClock final : public Clock {
public:
    [[nodiscard]] TimePoint now() const override { return std::chrono::steady_clock::now(); }
};

} // namespace fetra
