#pragma once

#include "system/PosixFile.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <mutex>
#include <optional>

#include <sys/types.h>

namespace fetra {

/// Another program, started to be read. It inherits the environment and nothing else: its standard output is
/// a pipe, its standard input and standard error are the null device, every other descriptor is closed, and
/// signals are as a program finds them by default.
///
/// One thread reads and waits; `terminate` may come from any thread.
class ChildProcess {
public:
    struct Command {
        /// The path of the program, not looked up anywhere.
        QString program;
        QStringList arguments;
        /// How long a child that was asked to end may take before it is killed.
        std::chrono::milliseconds grace{5'000};
    };

    /// Starts it. Throws `PosixError`.
    explicit ChildProcess(const Command& command);
    /// Kills the child if it still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Blocks until there is output, and returns what there is; empty at its end, which a killed child has
    /// reached too. Throws `PosixError`.
    [[nodiscard]] QByteArray read();

    /// Blocks until the child has ended. One that lingers for longer than the grace is asked to end.
    void wait();

    /// Asks the child to end (SIGTERM), and has `read` and `wait` kill it when the grace is over. Never
    /// waits.
    void terminate();

private:
    using Moment = std::chrono::steady_clock::time_point;

    /// Waits until `descriptor` is readable; false when the child had to be killed, or `until` has passed.
    [[nodiscard]] bool await(int descriptor, std::optional<Moment> until = std::nullopt);
    [[nodiscard]] std::optional<Moment> killMoment() const;
    void kill();
    void reap();

    const std::chrono::milliseconds grace_;
    PosixFile::Descriptor output_;
    /// Readable when the child has ended.
    PosixFile::Descriptor end_;
    /// Readable once `terminate` was called.
    PosixFile::Descriptor wake_;
    bool killed_ = false;

    /// Guards the process number, which is another process's once the child has been reaped.
    mutable std::mutex lock_;
    pid_t process_ = -1;
    std::optional<Moment> killAt_;
};

} // namespace fetra
