#pragma once

#include "support/ServerSocket.h"

#include <QByteArray>
#include <QByteArrayView>

#include <chrono>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace fetra::test {

class ScriptedServer;

using HeaderList = std::vector<std::pair<QByteArray, QByteArray>>;

/// Of a "Range: bytes=FIRST-LAST" header, both ends inclusive.
struct RequestedRange {
    qint64 first = 0;
    std::optional<qint64> last;

    [[nodiscard]] static std::optional<RequestedRange> parse(const QByteArray& value);
};

/// What the server's log keeps.
struct ServerRequest {
    QByteArray method;
    QByteArray target; ///< as sent: path and query
    QByteArray path;   ///< percent escapes left as they are
    HeaderList headers;
    std::optional<RequestedRange> range;

    qint64 serial = 0; ///< on this server, from 1

    /// Of a head without its blank line.
    [[nodiscard]] static std::optional<ServerRequest> parseHead(QByteArrayView head);
    /// The first value of that name in any case of letters.
    [[nodiscard]] std::optional<QByteArray> header(QByteArrayView name) const;
    /// The customary first question about a file, "Range: bytes=0-0".
    [[nodiscard]] bool isProbe() const { return range && range->first == 0 && range->last == 0; }
};

/// One request and the means to answer it in any way, right or wrong, on its connection's thread. Whatever
/// sends or waits returns false once nothing more can reach the client: it went or half-closed, the handler
/// ended the connection, or the server stops. A connection that was not ended is kept for the next request,
/// unless the client asked for "Connection: close" or nothing at all was sent.
class ServerExchange {
public:
    ServerExchange(ScriptedServer& server, ServerSocket& socket, ServerRequest request)
        : server_(server)
        , socket_(socket)
        , request_(std::move(request)) {}
    ~ServerExchange() { release(); }
    ServerExchange(const ServerExchange&) = delete;
    ServerExchange& operator=(const ServerExchange&) = delete;

    [[nodiscard]] const ServerRequest& request() const { return request_; }

    /// A whole answer with Content-Length added; 204 and 304 have no body.
    bool respond(int status, const HeaderList& headers = {}, QByteArrayView body = {});

    /// Not counted as body.
    bool send(QByteArrayView bytes) {
        sentAnything_ = true;
        return socket_.send(bytes);
    }
    bool sendHead(int status, const HeaderList& headers) { return send(makeHead(status, headers)); }
    [[nodiscard]] static QByteArray makeHead(int status, const HeaderList& headers,
                                             QByteArrayView version = "HTTP/1.1");
    /// Bytes counted in bodyBytesSent().
    bool sendBody(QByteArrayView bytes);

    bool wait(std::chrono::milliseconds time) { return socket_.wait(time); }
    /// Holds the connection silent until the client goes or the server stops.
    void stall();

    /// The ends. What was sent before has reached the client's kernel first.
    void close();              ///< close_notify under TLS, then FIN
    void closeWithoutNotify(); ///< FIN alone, as a cut connection looks under TLS
    void reset();              ///< RST
    void spoil();              ///< an alert in the clear, which a TLS connection cannot hold, then FIN

    /// No longer counts as in progress. Just before the last bytes, so that a client that has seen the end of
    /// one answer never meets its ghost in a count of simultaneous exchanges.
    void release();

    [[nodiscard]] bool sentAnything() const { return sentAnything_; }

private:
    ScriptedServer& server_;
    ServerSocket& socket_;
    ServerRequest request_;
    bool sentAnything_ = false;
    bool released_ = false;
};

/// Runs on the connection's thread, on several at once: what it captures must bear that.
using Handler = std::function<void(ServerExchange&)>;

} // namespace fetra::test
