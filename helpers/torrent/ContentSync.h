#pragma once

#include "helpers/torrent/ContentFiles.h"

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
    struct Outcome {
        /// The errno value of the first failure, which a missing file is too, or 0.
        int error = 0;
        /// Those of the files once they were safe. None after a failure.
        ContentFiles::Marks marks = {};
    };

    /// Begins. `folder` is the one that all the files lie below.
    ContentSync(std::vector<ContentFile> files, std::string folder);

    /// Waits for at most `patience`. Nothing while it is under way.
    [[nodiscard]] std::optional<Outcome> outcome(std::chrono::milliseconds patience = {}) const;

private:
    struct State {
        std::mutex lock;
        std::condition_variable changed;
        std::optional<Outcome> outcome;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace fetra::torrent
