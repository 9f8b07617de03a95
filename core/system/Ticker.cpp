#include "system/Ticker.h"

#include <algorithm>
#include <utility>

#include <pthread.h>

namespace fetra {

Ticker::Ticker(std::chrono::milliseconds period)
    : period_(period) {}

Ticker::~Ticker() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    if (thread_.joinable())
        thread_.join();
}

Ticker::Token Ticker::add(std::function<void()> tick) {
    Token token = 0;
    {
        const std::lock_guard lock(mutex_);
        token = ++lastToken_;
        entries_.push_back({token, std::move(tick), std::chrono::steady_clock::now() + period_});
        if (!thread_.joinable())
            thread_ = std::thread([this] { runLoop(); });
    }
    wake_.notify_one();
    return token;
}

void Ticker::remove(Token token) {
    std::list<Entry> removed; // Destroyed without the lock: what the tick owns may want this ticker.
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [&] { return running_ != token; });
    const auto entry = std::ranges::find(entries_, token, &Entry::token);
    if (entry != entries_.end())
        removed.splice(removed.end(), entries_, entry);
}

void Ticker::runLoop() {
    ::pthread_setname_np(::pthread_self(), "fetra.tick");
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        const auto due = std::ranges::min_element(entries_, {}, &Entry::next);
        if (due == entries_.end()) {
            wake_.wait(lock);
            continue;
        }
        const auto now = std::chrono::steady_clock::now();
        if (due->next > now) {
            const auto next = due->next; // The entry may go while the lock is open.
            wake_.wait_until(lock, next);
            continue;
        }
        running_ = due->token;
        lock.unlock();
        due->tick(); // Safe unlocked: `remove` leaves a running entry where it is.
        lock.lock();
        running_ = 0;
        // The ticks that a slow one has missed are skipped; the phase stays.
        const auto late = std::chrono::steady_clock::now() - due->next;
        due->next += period_ * (late / period_ + 1);
        idle_.notify_all();
    }
}

} // namespace fetra
