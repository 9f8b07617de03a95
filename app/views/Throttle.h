#pragma once

#include <QElapsedTimer>
#include <QTimer>

#include <chrono>
#include <functional>

namespace fetra {

/// Does a piece of work soon after it is asked for, once for all requests of an event loop turn, and never
/// more often than once an interval. Main thread only.
class Throttle final : public QObject {
public:
    Throttle(std::chrono::milliseconds interval, std::function<void()> work);

    void request();
    /// Does at once what has been asked for, if something has.
    void flush();
    /// Forgets what has been asked for.
    void cancel() { timer_.stop(); }

private:
    void run();

    const std::chrono::milliseconds interval_;
    const std::function<void()> work_;
    QTimer timer_;
    QElapsedTimer sinceLast_;
};

} // namespace fetra
