#include "system/SerialQueue.h"

#include <future>
#include <memory>
#include <utility>

#include <pthread.h>

namespace fetra {

SerialQueue::SerialQueue(std::string name)
    : name_(name.substr(0, 15)) {}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    if (thread_.joinable())
        thread_.join();
}

void SerialQueue::async(std::function<void()> work) {
    {
        const std::lock_guard lock(mutex_);
        work_.push_back(std::move(work));
        if (!thread_.joinable())
            thread_ = std::thread([this] { runLoop(); });
    }
    wake_.notify_one();
}

void SerialQueue::sync(const std::function<void()>& work) {
    // Shared, because the queue may still hold the task for a moment after the result has been handed over.
    const auto task = std::make_shared<std::packaged_task<void()>>(std::cref(work));
    std::future<void> result = task->get_future();
    async([task] { (*task)(); });
    result.get();
}

void SerialQueue::runLoop() {
    ::pthread_setname_np(::pthread_self(), name_.c_str());
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !work_.empty(); });
        if (work_.empty())
            return;
        std::function<void()> next = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        next();
        next = nullptr; // What the work owned goes away here, not under the lock.
        lock.lock();
    }
}

} // namespace fetra
