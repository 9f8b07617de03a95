#pragma once

#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace fetra {

/// Calls everybody registered again and again, so that tests can do the calling.
class TickSource {
public:
    virtual ~TickSource() = default;
    using Token = quint64;

    /// From now on `tick` is called once a period, on the source's thread. It must not block.
    [[nodiscard]] virtual Token add(std::function<void()> tick) = 0;
    /// When this returns, `tick` is not running and will not run again. Not to be called from a tick.
    virtual void remove(Token token) = 0;
};

/// One thread that ticks for the whole process.
class Ticker final : public TickSource {
public:
    static constexpr std::chrono::milliseconds enginePeriod{250};

    explicit Ticker(std::chrono::milliseconds period = enginePeriod);
    ~Ticker() override;

    [[nodiscard]] Token add(std::function<void()> tick) override;
    void remove(Token token) override;

private:
    struct Entry {
        Token token;
        std::function<void()> tick;
        std::chrono::steady_clock::time_point next;
    };

    void runLoop();

    const std::chrono::milliseconds period_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::list<Entry> entries_;
    Token lastToken_ = 0;
    Token running_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace fetra
