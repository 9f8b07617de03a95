#pragma once

#include "http/HTTPSession.h"
#include "support/ServerExchange.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace fetra::test {

class FakeHTTP;

/// One request, and the server's end of it: what the test does reaches the delegate before the call returns.
/// Calls for one task must not overlap; those that a real client could not bring about throw.
class FakeTask final : public HTTPTask, public std::enable_shared_from_this<FakeTask> {
public:
    struct Making {
        FakeHTTP& client;
        quint64 identifier;
        size_t session;
        HTTPRequest request;
        HTTPTaskDelegate& delegate;
    };
    explicit FakeTask(Making making);

    [[nodiscard]] quint64 identifier() const override { return making_.identifier; }
    void resume() override;
    /// Only asks, for the caller may hold a lock that its delegate needs.
    void cancel() override;

    [[nodiscard]] const HTTPRequest& request() const { return making_.request; }
    /// The request's "Range", empty without one, and the bytes that it names.
    [[nodiscard]] QByteArray range() const;
    [[nodiscard]] qint64 first() const { return asked_.first; }
    [[nodiscard]] std::optional<qint64> last() const { return asked_.last; }
    /// Which of the client's sessions made it.
    [[nodiscard]] size_t session() const { return making_.session; }
    [[nodiscard]] bool isCancelAsked() const { return cancelAsked_; }
    [[nodiscard]] bool isComplete() const { return complete_; }
    [[nodiscard]] bool hasAnswered() const { return answered_; }
    [[nodiscard]] bool isRefused() const { return refused_; }
    /// Where in the file the next byte of an honest body lies.
    [[nodiscard]] qint64 position() const { return bodyStart_ + sent_; }

    HTTPDisposition respond(const HTTPResponse& response);
    void send(std::span<const char> data);
    void finish();
    void fail(int code, const QString& description);

private:
    friend class FakeHTTP;
    void require(bool possible) const;
    void complete(const TransportError* error);

    const Making making_;
    const RequestedRange asked_;
    qint64 bodyStart_ = 0;
    qint64 sent_ = 0;
    bool answered_ = false;
    bool refused_ = false;
    std::atomic<bool> started_{false};
    std::atomic<bool> cancelAsked_{false};
    std::atomic<bool> complete_{false};
};

/// An HTTP client without a network and without a thread, so that a run is the same each time.
class FakeHTTP final : public HTTPClient {
public:
    enum class SessionState { running, finishing, cancelled };
    struct SessionRecord {
        HTTPSessionConfiguration configuration;
        SessionState state = SessionState::running;
    };

    [[nodiscard]] std::unique_ptr<HTTPSession>
    makeSession(const HTTPSessionConfiguration& configuration) override;

    /// Tasks in the order of their start.
    [[nodiscard]] size_t startedCount() const {
        const std::lock_guard lock(mutex_);
        return started_.size();
    }
    [[nodiscard]] FakeTask& task(size_t index) const {
        const std::lock_guard lock(mutex_);
        return *started_.at(index);
    }
    /// Those without a completion, in the order of their start.
    [[nodiscard]] std::vector<std::shared_ptr<FakeTask>> live() const {
        const std::lock_guard lock(mutex_);
        return live_;
    }
    [[nodiscard]] std::vector<SessionRecord> sessions() const {
        const std::lock_guard lock(mutex_);
        return sessions_;
    }

    /// Ends every task that somebody wants cancelled, in the order of asking, until there is none left.
    void pump();

    /// Called from within each start, with whatever lock the starter holds.
    std::function<void(FakeTask&)> onStart;

private:
    friend class FakeTask;
    class Session;
    void endSession(size_t session, SessionState state);

    mutable std::mutex mutex_;
    quint64 lastIdentifier_ = 0;
    std::vector<SessionRecord> sessions_;
    std::vector<std::shared_ptr<FakeTask>> started_;
    std::vector<std::shared_ptr<FakeTask>> live_;
    std::vector<std::shared_ptr<FakeTask>> cancelQueue_;
};

} // namespace fetra::test
