#pragma once

#include "system/PosixFile.h"

#include <QSocketNotifier>

#include <deque>
#include <functional>
#include <mutex>

namespace fetra {

/// Functions that any thread leaves for the thread that made the mailbox, which runs them from its event loop
/// in the order they came. What is left when the mailbox goes is dropped; none of them may end it.
class Mailbox {
public:
    using Work = std::function<void()>;

    /// `around` is called for each delivery and calls what it is given, which runs all that has come. Throws
    /// `PosixError` when the process has no descriptor left.
    explicit Mailbox(std::function<void(const Work& runAll)> around);
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    /// From any thread, as long as the mailbox lives.
    void post(Work work);
    /// Runs now what has come so far; on the mailbox's thread.
    void deliver();

private:
    PosixFile::Descriptor wake_;
    QSocketNotifier notifier_;
    const std::function<void(const Work&)> around_;
    std::mutex mutex_;
    std::deque<Work> work_;
};

} // namespace fetra
