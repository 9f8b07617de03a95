#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace fetra::torrent {

/// Brings files to the disk on a thread of its own, which a disk that hangs may hold up for as long as it
/// likes: nobody waits for its end.
class ContentSync {
public:
    /// Begins. Files that do not exist are left out.
    explicit ContentSync(std::vector<std::string> paths);

    /// Waits for at most `patience`. The outcome, as an errno value or 0; nothing while it is under way.
    [[nodiscard]] std::optional<int> outcome(std::chrono::milliseconds patience = {}) const;

private:
    struct State {
        std::mutex lock;
        std::condition_variable changed;
        std::optional<int> outcome;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace fetra::torrent
