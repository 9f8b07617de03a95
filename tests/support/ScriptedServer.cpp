#include "support/ScriptedServer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace fetra::test {

using namespace std::chrono_literals;

namespace {

constexpr qsizetype kMaxHeadBytes = 1024 * 1024;

} // namespace

struct ScriptedServer::Connection {
    Connection(int descriptor, qint64 serial)
        : socket(descriptor)
        , number(serial) {}

    /// The next request, waiting for it; nothing at the end of the connection.
    std::optional<ServerRequest> readRequest() {
        char buffer[16 * 1024];
        qsizetype end = 0;
        while ((end = unread.indexOf("\r\n\r\n")) < 0) {
            const qsizetype count = socket.receive(buffer, sizeof buffer);
            if (count <= 0 || unread.size() > kMaxHeadBytes)
                return std::nullopt;
            unread.append(buffer, count);
        }
        auto request = ServerRequest::parseHead(QByteArrayView(unread).first(end));
        unread.remove(0, end + 4);
        return request;
    }

    ServerSocket socket;
    const qint64 number;
    QByteArray unread; ///< arrived and not yet part of a request
    std::atomic<bool> done = false;
    std::jthread thread;
};

ScriptedServer::ScriptedServer(Handler handler, ServerOptions options)
    : options_(std::move(options)) {
    setHandler(std::move(handler));
    if (options_.certificate)
        tls_ = options_.certificate->makeServerContext();
    listen();
    acceptThread_ = std::thread([this] { acceptLoop(); });
}

ScriptedServer::~ScriptedServer() {
    stop();
}

void ScriptedServer::listen() {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(listener_, 512) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "the test server cannot listen");
    }
    port_ = ntohs(address.sin_port);
}

void ScriptedServer::stop() {
    stopping_ = true;
    if (acceptThread_.joinable()) {
        ::shutdown(listener_, SHUT_RDWR); // wakes the thread from accept
        acceptThread_.join();
        ::close(listener_);
    }
    std::list<std::unique_ptr<Connection>> dropped;
    {
        const std::lock_guard lock(mutex_);
        dropped.swap(connections_);
    }
    for (const auto& connection : dropped)
        connection->socket.shutDown();
}

void ScriptedServer::setHandler(Handler handler) {
    auto shared = std::make_shared<const Handler>(std::move(handler));
    const std::lock_guard lock(mutex_);
    handler_ = std::move(shared);
}

void ScriptedServer::setConnectionRule(std::function<ConnectionFate(qint64)> rule) {
    const std::lock_guard lock(mutex_);
    connectionRule_ = std::move(rule);
}

void ScriptedServer::acceptLoop() {
    while (!stopping_) {
        const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0) {
            // Out of descriptors is a case that tests make on purpose; it passes.
            if (!stopping_ && (errno == EMFILE || errno == ENFILE))
                std::this_thread::sleep_for(5ms);
            continue;
        }
        const int yes = 1;
        ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);

        const std::lock_guard lock(mutex_);
        std::erase_if(connections_, [](const auto& each) { return each->done.load(); });
        Connection& added =
            *connections_.emplace_back(std::make_unique<Connection>(descriptor, ++connectionsAccepted_));
        added.thread = std::jthread([this, &added] { serve(added); });
    }
}

void ScriptedServer::serve(Connection& connection) {
    std::function<ConnectionFate(qint64)> rule;
    {
        const std::lock_guard lock(mutex_);
        rule = connectionRule_;
    }
    switch (rule ? rule(connection.number) : ConnectionFate::Serve) {
    case ConnectionFate::Serve:
        if (!tls_ || connection.socket.startTLS(tls_.get()))
            while (auto request = connection.readRequest())
                if (!answer(connection, std::move(*request)))
                    break;
        connection.socket.notifyClose();
        break;
    case ConnectionFate::Close:
        break;
    case ConnectionFate::Reset:
        connection.socket.reset();
        break;
    case ConnectionFate::Babble:
        (void)connection.socket.send("SSH-2.0-nonsense\r\n");
        break;
    case ConnectionFate::Silence:
        while (connection.socket.wait(1h)) {
        }
        break;
    }
    connection.socket.finish(1s);
    connection.socket.release();
    connection.done = true;
}

bool ScriptedServer::answer(Connection& connection, ServerRequest request) {
    std::shared_ptr<const Handler> handler;
    {
        const std::lock_guard lock(mutex_);
        maxExchanges_ = std::max(maxExchanges_.load(), ++exchanges_);
        request.serial = std::ssize(log_) + 1;
        log_.push_back(request);
        handler = handler_;
    }
    ServerExchange exchange(*this, connection.socket, std::move(request));
    if (*handler)
        (*handler)(exchange);
    else
        exchange.respond(404);
    const QByteArray wish = exchange.request().header("Connection").value_or(QByteArray()).toLower();
    return exchange.sentAnything() && wish != "close" && !connection.socket.isEnded();
}

QUrl ScriptedServer::url(const QByteArray& path, const QByteArray& host) const {
    const QByteArray scheme = tls_ ? "https://" : "http://";
    return QUrl::fromEncoded(scheme + host + ':' + QByteArray::number(port_) + path);
}

int ScriptedServer::connectionsOpen() const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(
        std::ranges::count_if(connections_, [](const auto& each) { return !each->done; }));
}

} // namespace fetra::test
