#pragma once

#include "support/FileScript.h"

#include <chrono>
#include <mutex>

namespace fetra::test {

/// A rate, of one answer or of several together.
class SharedPace {
public:
    /// When those bytes may go out, all that were reserved earlier going first; a rate of 0 is none.
    [[nodiscard]] std::chrono::steady_clock::time_point reserve(qint64 bytes, double bytesPerSecond);

private:
    std::mutex mutex_;
    std::chrono::steady_clock::time_point next_;
};

/// One answer about a file, told with the given lies.
void answerAbout(ServerFile file, const Lies& lies, SharedPace& pace, ServerExchange& exchange);

} // namespace fetra::test
