#pragma once

#include "system/PosixFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace fetra::test {

[[nodiscard]] inline sockaddr_un addressOf(const QString& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path - 1);
    return address;
}

/// Negative when nobody listens, or with SOCK_NONBLOCK when too many wait already.
[[nodiscard]] inline int connectTo(const QString& path, int flags = 0) {
    const int number = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    const sockaddr_un address = addressOf(path);
    if (::connect(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return number;
    ::close(number);
    return -1;
}

/// A client that sends what the test says and never blocks.
class RawClient {
public:
    explicit RawClient(const QString& path, QByteArray content = {})
        : socket_(connectTo(path, SOCK_NONBLOCK))
        , unsent_(std::move(content)) {}

    [[nodiscard]] bool isConnected() const { return socket_.isOpen(); }
    [[nodiscard]] const QByteArray& answer() const { return answer_; }

    /// Sends and receives what it can; true once the other side has closed.
    bool hasEnded() {
        const ssize_t sent =
            ::send(socket_.number(), unsent_.constData(), static_cast<size_t>(unsent_.size()), MSG_NOSIGNAL);
        if (sent > 0)
            unsent_.remove(0, sent);
        char buffer[64];
        const ssize_t size = ::recv(socket_.number(), buffer, sizeof buffer, 0);
        if (size > 0)
            answer_.append(buffer, size);
        return size == 0 || (size < 0 && errno != EAGAIN);
    }
    [[nodiscard]] bool hasSent() {
        static_cast<void>(hasEnded());
        return unsent_.isEmpty();
    }

private:
    PosixFile::Descriptor socket_;
    QByteArray unsent_;
    QByteArray answer_;
};

} // namespace fetra::test
