#pragma once

#include "http/HTTPSession.h"
#include "support/Eventually.h"

#include <condition_variable>
#include <gtest/gtest.h>
#include <list>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace fetra::test {

/// A delegate that writes down what it hears, and objects when it hears it in the wrong order.
class Recorder final : public HTTPTaskDelegate {
public:
    bool cancelsAtTheFirstData = false;

    HTTPDisposition didReceiveResponse(HTTPTask&, const HTTPResponse&) override {
        const std::lock_guard lock(mutex_);
        EXPECT_EQ(std::pair(heads_++, completions_), std::pair(0, 0))
            << "a second head, or one after the end";
        return HTTPDisposition::allow;
    }

    void didReceiveData(HTTPTask& task, std::span<const char> data) override {
        if (cancelsAtTheFirstData)
            task.cancel();
        const std::lock_guard lock(mutex_);
        EXPECT_EQ(std::pair(heads_, completions_), std::pair(1, 0))
            << "data before the head or after the end";
        received_ += data.size();
        wake_.notify_all();
    }

    void didComplete(HTTPTask&, const TransportError* error) override {
        const std::lock_guard lock(mutex_);
        ++completions_;
        EXPECT_EQ(completions_, 1) << "a second end";
        EXPECT_TRUE(error || heads_ == 1) << "whole without a head";
        if (error)
            error_.emplace(*error);
        wake_.notify_all();
    }

    /// False when the task has not completed in time.
    [[nodiscard]] bool waitForEnd() {
        std::unique_lock lock(mutex_);
        return wake_.wait_for(lock, std::chrono::seconds(20), [this] { return completions_ > 0; });
    }
    [[nodiscard]] bool waitForBody(size_t bytes) {
        std::unique_lock lock(mutex_);
        return wake_.wait_for(lock, std::chrono::seconds(20), [&] { return received_ >= bytes; });
    }

    /// For use after the end.
    [[nodiscard]] size_t received() const { return received_; }
    [[nodiscard]] int errorCode() const { return error_ ? error_->code() : 0; }
    [[nodiscard]] QString errorText() const { return error_ ? error_->description() : QString(); }

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    size_t received_ = 0;
    std::optional<TransportError> error_;
    int heads_ = 0;
    int completions_ = 0;
};

/// A request for each, all of them started.
inline std::vector<std::shared_ptr<HTTPTask>> startAll(HTTPSession& session, std::list<Recorder>& recorders,
                                                       const QUrl& url) {
    std::vector<std::shared_ptr<HTTPTask>> tasks;
    for (Recorder& each : recorders) {
        tasks.push_back(session.dataTask({.url = url}, each));
        tasks.back()->resume();
    }
    return tasks;
}

} // namespace fetra::test
