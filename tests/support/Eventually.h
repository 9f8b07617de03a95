#pragma once

#include <chrono>
#include <thread>

namespace fetra::test {

/// Asks the predicate every few milliseconds until it says yes; false when the deadline passed first. It is
/// asked at least once and once more after the deadline, so a machine that stood still costs no verdict.
template <typename Predicate>
[[nodiscard]] bool eventually(std::chrono::milliseconds deadline, Predicate&& predicate) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= end)
            return predicate();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace fetra::test
