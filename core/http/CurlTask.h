#pragma once

#include "http/CurlExchange.h"
#include "http/HTTPSession.h"

#include <atomic>
#include <memory>
#include <optional>
#include <set>

namespace fetra {

class CurlSessionState;
class CurlWorker;

/// One request with its redirects. The public face may be called from any thread; everything else runs on the
/// thread of the session's worker.
class CurlTask final : public HTTPTask,
                       public std::enable_shared_from_this<CurlTask>,
                       private CurlExchange::Listener {
public:
    static constexpr int maxRedirects = 20;

    CurlTask(std::shared_ptr<CurlSessionState> session, const HTTPRequest& request,
             HTTPTaskDelegate& delegate);
    ~CurlTask() override;

    [[nodiscard]] quint64 identifier() const override { return identifier_; }
    void resume() override;
    void cancel() override;

    [[nodiscard]] CurlSessionState& session() const { return *session_; }
    [[nodiscard]] QString host() const { return request_.url.host(); }

    /// The worker admits the task: the first exchange begins, or the task completes with what is wrong with
    /// it.
    void begin();
    /// Hands on what the exchange has collected.
    void flush() {
        if (exchange_)
            exchange_->flush();
    }
    /// libcurl has ended the exchange.
    void exchangeEnded(CURLcode result);
    /// Ends the task now, unless it has ended; the delegate hears of it.
    void abort(const TransportError& error);

    /// Aborts the task when it has been idle or running for too long.
    void judge(TimePoint now);

private:
    enum class State { created, running, done };
    enum class Connection { any, fresh };

    bool exchangeHead(const ResponseHead& head) override;
    bool exchangeBody(std::span<const char> data) override;
    [[nodiscard]] bool exchangeMayContinue() const override { return !cancelled_; }

    void startExchange(const QUrl& url, Connection connection = Connection::any);
    void endExchange();
    void followRedirect();
    void complete(const TransportError* error);
    [[nodiscard]] std::optional<TransportError> requestProblem() const;
    [[nodiscard]] std::vector<QByteArray> headerLinesFor(const QUrl& url) const;
    [[nodiscard]] QByteArray credentialsFor(const QUrl& url) const;

    const quint64 identifier_;
    const std::shared_ptr<CurlSessionState> session_;
    const HTTPRequest request_;
    HTTPTaskDelegate& delegate_;
    std::atomic<bool> cancelled_{false};
    std::atomic<bool> resumed_{false};

    State state_ = State::created;
    TimePoint startedAt_;
    std::unique_ptr<CurlExchange> exchange_;
    QUrl url_;
    std::set<QUrl> visited_;
    /// The "Location" of a redirect whose body is still being read over.
    std::optional<QByteArray> location_;
    TimePoint redirectedAt_;
    qint64 drained_ = 0;
    bool responseGiven_ = false;
    std::optional<TransportError> problem_;
};

} // namespace fetra
