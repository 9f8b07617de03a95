#pragma once

#include <QString>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

/// What the benchmarks of lists share.
namespace fetra::bench {

inline constexpr int itemCount = 10'000;

inline double milliseconds(const std::function<void()>& work) {
    const auto begun = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begun).count();
}

inline double median(int rounds, const std::function<void()>& work) {
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round)
        times.push_back(milliseconds(work));
    std::ranges::nth_element(times, times.begin() + rounds / 2);
    return times[static_cast<size_t>(rounds / 2)];
}

inline void report(const char* what, double value, const char* unit, double limit) {
    std::printf("%-52s %9.2f %-4s (at most %g)%s\n", what, value, unit, limit,
                value > limit ? "  MISSED" : "");
}

/// `count` links, a line each, the first with the number `from`.
inline QString links(int from, int count) {
    QString text;
    for (int number = from; number < from + count; ++number)
        text += QStringLiteral("https://downloads.example.com/releases/2026/package-%1-x86_64.tar.gz\n")
                    .arg(number);
    return text;
}

} // namespace fetra::bench
