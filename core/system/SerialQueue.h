#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace fetra {

/// Runs functions one after the other, in the order given, on a thread of its own that starts with the first
/// one. Callable from any thread. The destructor runs what is still queued and joins.
class SerialQueue {
public:
    /// `name` is the thread's name, at most 15 characters.
    explicit SerialQueue(std::string name);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void async(std::function<void()> work);
    /// Returns when `work` has run; what `work` throws is thrown here. Not to be called from the queue
    /// itself.
    void sync(const std::function<void()>& work);

private:
    void runLoop();

    const std::string name_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> work_;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace fetra
