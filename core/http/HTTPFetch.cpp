#include "http/HTTPFetch.h"

#include <condition_variable>
#include <mutex>
#include <optional>

namespace fetra::HTTPFetch {

using namespace Qt::StringLiterals;

namespace {

/// Collects an answer and lets one thread wait for its completion.
class Collector final : public HTTPTaskDelegate {
public:
    /// Bytes of the body to take; absent: none, only the head is wanted.
    explicit Collector(std::optional<qint64> maxBytes)
        : maxBytes_(maxBytes) {}

    HTTPDisposition didReceiveResponse(HTTPTask&, const HTTPResponse& response) override {
        response_ = response;
        return maxBytes_ ? HTTPDisposition::allow : HTTPDisposition::cancel;
    }

    void didReceiveData(HTTPTask& task, std::span<const char> data) override {
        const qint64 room = *maxBytes_ + 1 - body_.size();
        body_.append(data.data(), std::min(room, static_cast<qint64>(data.size())));
        if (body_.size() > *maxBytes_)
            task.cancel();
    }

    void didComplete(HTTPTask&, const TransportError* error) override {
        const std::lock_guard lock(mutex_);
        if (error)
            error_.emplace(*error);
        done_ = true;
        wake_.notify_one();
    }

    /// Returns once the task has completed; throws unless enough was received.
    Answer wait() {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [this] { return done_; });
        const bool enough = response_ && (!maxBytes_ || body_.size() > *maxBytes_);
        if (error_ && !enough && !(response_ && response_->status == 0))
            throw TransportError(*error_);
        if (!response_)
            throw TransportError(TransportError::badResponse, u"The server sent no answer"_s);
        return {.response = *std::move(response_), .body = std::move(body_)};
    }

private:
    const std::optional<qint64> maxBytes_;
    std::optional<HTTPResponse> response_;
    QByteArray body_;

    std::mutex mutex_;
    std::condition_variable wake_;
    std::optional<TransportError> error_;
    bool done_ = false;
};

Answer run(HTTPSession& session, const HTTPRequest& request, std::optional<qint64> maxBytes) {
    Collector collector(maxBytes);
    const std::shared_ptr<HTTPTask> task = session.dataTask(request, collector);
    task->resume();
    return collector.wait();
}

} // namespace

HTTPResponse head(HTTPSession& session, const HTTPRequest& request) {
    return run(session, request, std::nullopt).response;
}

Answer body(HTTPSession& session, const HTTPRequest& request, qint64 maxBytes) {
    return run(session, request, maxBytes);
}

} // namespace fetra::HTTPFetch
