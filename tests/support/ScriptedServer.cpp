#include "support/ScriptedServer.h"

#include "support/ServerSocket.h"

#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
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
constexpr qsizetype kMaxBodyBytes = 16 * 1024 * 1024;

std::shared_ptr<ssl_ctx_st> makeTLSContext(const TestCertificate& certificate) {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    const auto readOnly = [](const QByteArray& pem) {
        return std::unique_ptr<BIO, decltype(&BIO_free)>(BIO_new_mem_buf(pem.data(), int(pem.size())),
                                                         BIO_free);
    };
    const auto certificateBio = readOnly(certificate.certificatePEM());
    const auto keyBio = readOnly(certificate.keyPEM());
    const std::unique_ptr<X509, decltype(&X509_free)> x509(
        PEM_read_bio_X509(certificateBio.get(), nullptr, nullptr, nullptr), X509_free);
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr), EVP_PKEY_free);
    if (!context || !x509 || !key || SSL_CTX_use_certificate(context.get(), x509.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1)
        throw std::runtime_error("the test server cannot use its certificate");
    return context;
}

void blockPipeSignal() {
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
}

} // namespace

struct ScriptedServer::Connection {
    Connection(int descriptor, qint64 serial)
        : socket(descriptor)
        , number(serial) {}

    /// The next request, waiting for it; nothing at the end of the connection.
    std::optional<ServerRequest> readRequest();

    ServerSocket socket;
    const qint64 number;
    std::thread thread;
    std::atomic<bool> done = false;

private:
    bool readMore();
    QByteArray unread_; ///< arrived and not yet part of a request
};

bool ScriptedServer::Connection::readMore() {
    char buffer[16 * 1024];
    const qsizetype count = socket.receive(buffer, sizeof buffer);
    unread_.append(buffer, count);
    return count > 0;
}

std::optional<ServerRequest> ScriptedServer::Connection::readRequest() {
    qsizetype end = 0;
    while ((end = unread_.indexOf("\r\n\r\n")) < 0) {
        if (unread_.size() > kMaxHeadBytes || !readMore())
            return std::nullopt;
    }
    auto request = ServerRequest::parseHead(QByteArrayView(unread_).first(end));
    unread_.remove(0, end + 4);
    if (!request)
        return std::nullopt;
    const qsizetype length = request->header("Content-Length").value_or("0").toLongLong();
    if (length < 0 || length > kMaxBodyBytes)
        return std::nullopt;
    while (unread_.size() < length) {
        if (!readMore())
            return std::nullopt;
    }
    request->body = unread_.first(length);
    unread_.remove(0, length);
    return request;
}

ScriptedServer::ScriptedServer(Handler handler, ServerOptions options)
    : options_(std::move(options)) {
    setHandler(std::move(handler));
    if (options_.certificate)
        tls_ = makeTLSContext(*options_.certificate);
    listen(options_.port);
    acceptThread_ = std::thread([this] { acceptLoop(); });
}

ScriptedServer::~ScriptedServer() {
    stop();
}

void ScriptedServer::listen(quint16 port) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(listener_, 512) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        const int error = errno;
        if (listener_ >= 0)
            ::close(listener_);
        throw std::system_error(error, std::generic_category(), "the test server cannot listen");
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
    dropConnections();
}

void ScriptedServer::dropConnections() {
    std::list<std::unique_ptr<Connection>> dropped;
    {
        const std::lock_guard lock(mutex_);
        dropped.swap(connections_);
    }
    for (const auto& connection : dropped)
        connection->socket.shutDown();
    for (const auto& connection : dropped)
        connection->thread.join();
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
    blockPipeSignal();
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
        if (options_.sendBufferBytes > 0)
            ::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &options_.sendBufferBytes, sizeof(int));

        std::list<std::unique_ptr<Connection>> finished;
        {
            const std::lock_guard lock(mutex_);
            reapLocked(finished);
            connections_.push_back(std::make_unique<Connection>(descriptor, ++connectionsAccepted_));
            Connection& connection = *connections_.back();
            connection.thread = std::thread([this, &connection] { serve(connection); });
        }
        for (const auto& connection : finished)
            connection->thread.join();
    }
}

void ScriptedServer::reapLocked(std::list<std::unique_ptr<Connection>>& finished) {
    for (auto each = connections_.begin(); each != connections_.end();) {
        const auto next = std::next(each);
        if ((*each)->done)
            finished.splice(finished.end(), connections_, each);
        each = next;
    }
}

void ScriptedServer::serve(Connection& connection) {
    blockPipeSignal();
    std::function<ConnectionFate(qint64)> rule;
    {
        const std::lock_guard lock(mutex_);
        rule = connectionRule_;
    }
    switch (rule ? rule(connection.number) : ConnectionFate::Serve) {
    case ConnectionFate::Serve:
        if (!tls_ || connection.socket.startTLS(tls_.get()))
            serveRequests(connection);
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

void ScriptedServer::serveRequests(Connection& connection) {
    while (auto request = connection.readRequest()) {
        if (!answer(connection, std::move(*request)))
            return;
    }
}

bool ScriptedServer::answer(Connection& connection, ServerRequest request) {
    std::shared_ptr<const Handler> handler;
    {
        const std::lock_guard lock(mutex_);
        beginExchange(request);
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

void ScriptedServer::beginExchange(ServerRequest& request) {
    maxExchanges_ = std::max(maxExchanges_.load(), ++exchanges_);
    request.serial = std::ssize(log_) + 1;
    log_.push_back(request);
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
