#pragma once

#include <sys/types.h>

namespace fetra::torrent {

/// Whether this program is to end: a signal asked for it, or the program that started it is gone. Made before
/// the first thread, so that all of them leave the signals to this.
class StopRequest {
public:
    StopRequest();

    /// Asked on one thread.
    [[nodiscard]] bool arrived();
    /// As if a signal had come.
    void raise() { arrived_ = true; }

private:
    const pid_t parent_;
    bool arrived_ = false;
};

} // namespace fetra::torrent
