#pragma once

#include "support/ServerExchange.h"
#include "support/TestCertificate.h"

#include <QUrl>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

struct ssl_ctx_st;

namespace fetra::test {

/// What happens to a connection before its first byte is read (before the handshake under TLS).
enum class ConnectionFate {
    Serve,
    Close,   ///< FIN at once
    Reset,   ///< RST at once
    Silence, ///< neither read nor answered until the client goes
    Babble,  ///< plain text that is neither HTTP nor TLS, then FIN
};

struct ServerOptions {
    std::optional<TestCertificate> certificate = {}; ///< TLS when present
};

/// An HTTP/1.1 server inside the test process on 127.0.0.1, with a thread for each connection and keep-alive,
/// whose answers are whatever its handler sends. Everything public may be called from any thread.
class ScriptedServer {
public:
    /// Listens when the constructor returns; throws std::runtime_error when it cannot.
    explicit ScriptedServer(Handler handler = {}, ServerOptions options = {});
    /// Ends every connection and joins every thread; a handler may wait by no other means than its exchange.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    /// Answers requests whose heads arrive from now on; an empty handler answers 404.
    void setHandler(Handler handler);
    /// Asked with the connection's number, from 1.
    void setConnectionRule(std::function<ConnectionFate(qint64 connection)> rule);

    /// Ends every connection (FIN, no close_notify) and stops listening: the port then refuses. Idempotent.
    void stop();

    [[nodiscard]] quint16 port() const { return port_; }
    /// The path is percent-encoded and may carry a query. Hosts that lead here and that the certificate
    /// covers: "127.0.0.1", "localhost", "a.localhost" and "b.localhost", two sites, "x.a.localhost" and
    /// "y.a.localhost", two hosts of one, and any name below ".test.localhost".
    [[nodiscard]] QUrl url(const QByteArray& path = "/", const QByteArray& host = "127.0.0.1") const;

    [[nodiscard]] qint64 requests() const {
        const std::lock_guard lock(mutex_);
        return std::ssize(log_);
    }
    [[nodiscard]] qint64 requests(const QByteArray& path) const { return std::ssize(log(path)); }
    [[nodiscard]] qint64 connectionsAccepted() const { return connectionsAccepted_; }
    [[nodiscard]] int connectionsOpen() const;
    [[nodiscard]] int maxSimultaneousExchanges() const { return maxExchanges_; }
    /// Body bytes given to the system for sending: an upper bound of what clients have read.
    [[nodiscard]] qint64 bodyBytesSent() const { return bodyBytes_; }
    /// Every request so far, in the order of their serial numbers.
    [[nodiscard]] std::vector<ServerRequest> log() const {
        const std::lock_guard lock(mutex_);
        return log_;
    }
    [[nodiscard]] std::vector<ServerRequest> log(const QByteArray& path) const {
        std::vector<ServerRequest> all = log();
        std::erase_if(all, [&](const ServerRequest& request) { return request.path != path; });
        return all;
    }

private:
    friend class ServerExchange;
    struct Connection;

    void listen();
    void acceptLoop();
    void serve(Connection& connection);
    bool answer(Connection& connection, ServerRequest request);

    const ServerOptions options_;
    std::shared_ptr<ssl_ctx_st> tls_;
    int listener_ = -1;
    quint16 port_ = 0;
    std::thread acceptThread_;
    std::atomic<bool> stopping_ = false;

    std::atomic<qint64> connectionsAccepted_ = 0;
    std::atomic<int> exchanges_ = 0;
    std::atomic<int> maxExchanges_ = 0;
    std::atomic<qint64> bodyBytes_ = 0;

    mutable std::mutex mutex_; ///< guards what follows
    std::shared_ptr<const Handler> handler_;
    std::function<ConnectionFate(qint64)> connectionRule_;
    std::list<std::unique_ptr<Connection>> connections_;
    std::vector<ServerRequest> log_;
};

} // namespace fetra::test
