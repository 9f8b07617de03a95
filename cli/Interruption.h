#pragma once

#include <csignal>
#include <optional>

namespace fetra::cli {

/// The signals that concern a running command, delivered through a descriptor instead of a handler. Made
/// before any other thread starts, since threads inherit the blocked set; what the parent process has chosen
/// to ignore (nohup, background jobs) stays ignored.
class Interruption {
public:
    enum class Kind {
        /// Ctrl-C, SIGTERM, SIGHUP.
        stop,
        /// SIGQUIT.
        abort,
        /// Ctrl-Z; `suspend` carries it out.
        suspend,
        resize,
    };

    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// For a command that has nothing to save: the stopping signals end the process at once, with status 130.
    static void endAtOnce();

    /// Readable when a signal has arrived.
    [[nodiscard]] int descriptor() const { return descriptor_; }
    /// The next signal that has arrived, if any. Never waits.
    [[nodiscard]] std::optional<Kind> next();
    /// Stops the process as Ctrl-Z does; returns when it continues.
    void suspend();

private:
    sigset_t previous_{};
    int descriptor_ = -1;
};

} // namespace fetra::cli
