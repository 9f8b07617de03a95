#include "support/ServerSocket.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <cerrno>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace fetra::test {

using namespace std::chrono_literals;

void ServerSocket::release() {
    ended_ = true;
    tls_.reset();
    closeDescriptor();
}

bool ServerSocket::startTLS(ssl_ctx_st* context) {
    tls_ = std::shared_ptr<ssl_st>(SSL_new(context), SSL_free);
    if (!tls_ || SSL_set_fd(tls_.get(), descriptor_) != 1)
        return false;
    ERR_clear_error();
    return SSL_accept(tls_.get()) == 1;
}

qsizetype ServerSocket::receive(char* buffer, qsizetype capacity) {
    if (ended_)
        return 0;
    if (tls_) {
        ERR_clear_error();
        std::size_t count = 0;
        return SSL_read_ex(tls_.get(), buffer, static_cast<std::size_t>(capacity), &count) == 1
                   ? static_cast<qsizetype>(count)
                   : 0;
    }
    return std::max<ssize_t>(
        TEMP_FAILURE_RETRY(::recv(descriptor_, buffer, static_cast<std::size_t>(capacity), 0)), 0);
}

bool ServerSocket::send(QByteArrayView bytes) {
    while (!bytes.isEmpty() && !ended_) {
        // In pieces, so that a vanished client is noticed in the middle of a large body.
        const auto piece = static_cast<std::size_t>(std::min<qsizetype>(bytes.size(), 256 * 1024));
        std::size_t taken = 0;
        if (tls_) {
            ERR_clear_error();
            if (SSL_write_ex(tls_.get(), bytes.data(), piece, &taken) != 1)
                return false;
        } else {
            const ssize_t count = TEMP_FAILURE_RETRY(::send(descriptor_, bytes.data(), piece, MSG_NOSIGNAL));
            if (count <= 0)
                return false;
            taken = static_cast<std::size_t>(count);
        }
        bytes = bytes.sliced(static_cast<qsizetype>(taken));
    }
    return !ended_;
}

void ServerSocket::sendBeneathTLS(QByteArrayView bytes) {
    const std::shared_ptr<ssl_st> above = std::exchange(tls_, nullptr);
    (void)send(bytes);
    tls_ = above;
}

bool ServerSocket::hasEvent(short event, std::chrono::steady_clock::time_point end) const {
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd entry{.fd = descriptor_, .events = event, .revents = 0};
        const int found = ::poll(&entry, 1, static_cast<int>(std::clamp<qint64>(left.count(), 0, 1'000'000)));
        if (found > 0 || (found == 0 && std::chrono::steady_clock::now() >= end))
            return found > 0;
    }
}

bool ServerSocket::wait(std::chrono::milliseconds time) const {
    return !ended_ && !hasEvent(POLLRDHUP, std::chrono::steady_clock::now() + time);
}

void ServerSocket::drainSendBuffer() const {
    // An RST throws away what the peer's kernel has not taken yet; tests count on the bytes before it.
    const auto end = std::chrono::steady_clock::now() + 2s;
    int waiting = 0;
    while (::ioctl(descriptor_, SIOCOUTQ, &waiting) == 0 && waiting > 0 &&
           std::chrono::steady_clock::now() < end && wait(1ms)) {
    }
}

void ServerSocket::notifyClose() {
    if (ended_ || !tls_ || !SSL_is_init_finished(tls_.get()))
        return;
    ERR_clear_error();
    SSL_shutdown(tls_.get());
}

void ServerSocket::finish(std::chrono::milliseconds linger) {
    if (ended_)
        return;
    ended_ = true;
    ::shutdown(descriptor_, SHUT_WR);
    const auto end = std::chrono::steady_clock::now() + linger;
    char unread[4096];
    while (std::chrono::steady_clock::now() < end && hasEvent(POLLIN, end) &&
           ::recv(descriptor_, unread, sizeof unread, MSG_DONTWAIT) > 0) {
    }
}

void ServerSocket::reset() {
    if (ended_)
        return;
    drainSendBuffer();
    ended_ = true;
    const linger hard{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    closeDescriptor();
}

void ServerSocket::shutDown() {
    const std::lock_guard lock(descriptorMutex_);
    if (descriptor_ >= 0)
        ::shutdown(descriptor_, SHUT_RDWR);
}

void ServerSocket::closeDescriptor() {
    const std::lock_guard lock(descriptorMutex_);
    if (descriptor_ >= 0)
        ::close(descriptor_);
    descriptor_ = -1;
}

} // namespace fetra::test
