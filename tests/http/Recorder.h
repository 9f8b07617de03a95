#pragma once

#include "http/HTTPSession.h"
#include "support/Eventually.h"

#include <QByteArray>

#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <optional>
#include <utility>

namespace fetra::test {

/// A delegate that writes down what it hears, and objects when it hears it in the wrong order.
class Recorder final : public HTTPTaskDelegate {
public:
    /// Called on the I/O thread for each chunk, before it is written down.
    std::function<void(HTTPTask&)> onData;

    HTTPDisposition didReceiveResponse(HTTPTask&, const HTTPResponse&) override {
        const std::lock_guard lock(mutex_);
        EXPECT_EQ(std::pair(heads_++, completions_), std::pair(0, 0))
            << "a second head, or one after the end";
        return HTTPDisposition::allow;
    }

    void didReceiveData(HTTPTask& task, std::span<const char> data) override {
        if (onData)
            onData(task);
        const std::lock_guard lock(mutex_);
        EXPECT_EQ(std::pair(heads_, completions_), std::pair(1, 0))
            << "data before the head or after the end";
        body_.append(data.data(), static_cast<qsizetype>(data.size()));
        wake_.notify_all();
    }

    void didComplete(HTTPTask&, const TransportError* error) override {
        const std::lock_guard lock(mutex_);
        ++completions_;
        EXPECT_EQ(completions_, 1) << "a second end";
        if (error)
            error_.emplace(*error);
        wake_.notify_all();
    }

    /// False when the task has not completed in time.
    [[nodiscard]] bool waitForEnd() {
        std::unique_lock lock(mutex_);
        return wake_.wait_for(lock, std::chrono::seconds(20), [this] { return completions_ > 0; });
    }
    [[nodiscard]] bool waitForBody(qsizetype bytes) {
        std::unique_lock lock(mutex_);
        return wake_.wait_for(lock, std::chrono::seconds(20), [&] { return body_.size() >= bytes; });
    }

    /// For use after the end.
    [[nodiscard]] const QByteArray& body() const { return body_; }
    [[nodiscard]] int errorCode() const { return error_ ? error_->code() : 0; }
    [[nodiscard]] QString errorText() const { return error_ ? error_->description() : QString(); }

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    QByteArray body_;
    std::optional<TransportError> error_;
    int heads_ = 0;
    int completions_ = 0;
};

} // namespace fetra::test
