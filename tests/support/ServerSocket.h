#pragma once

#include <QByteArrayView>

#include <chrono>
#include <memory>
#include <mutex>

struct ssl_st;
struct ssl_ctx_st;

namespace fetra::test {

/// A connected socket, plain or under TLS, used by one thread; others may only call shutDown(). Blocking.
/// Every operation returns false (or 0 bytes) once the peer is gone or the socket shut down.
class ServerSocket {
public:
    /// Takes over the descriptor.
    explicit ServerSocket(int descriptor)
        : descriptor_(descriptor) {}
    ~ServerSocket() { release(); }
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    [[nodiscard]] bool startTLS(ssl_ctx_st* context);
    /// What has arrived, waiting for the first byte; 0 at the end.
    [[nodiscard]] qsizetype receive(char* buffer, qsizetype capacity);
    [[nodiscard]] bool send(QByteArrayView bytes);

    /// False as soon as the peer has gone, a half-close included, or the socket was shut down.
    [[nodiscard]] bool wait(std::chrono::milliseconds time) const;

    /// Under TLS, bytes that belong to none of its records.
    void sendBeneathTLS(QByteArrayView bytes);
    void notifyClose();
    /// FIN; then reads on until the peer goes, for at most that long, because closing over unread bytes makes
    /// an RST.
    void finish(std::chrono::milliseconds linger);
    void reset();
    [[nodiscard]] bool isEnded() const { return ended_; }
    /// Gives the descriptor back.
    void release();

    /// From any thread: wakes whatever is blocked on the socket; nothing more goes in or out.
    void shutDown();

private:
    bool hasEvent(short event, std::chrono::steady_clock::time_point end) const;
    void drainSendBuffer() const;
    void closeDescriptor();

    int descriptor_; ///< changed by the owning thread only, under the mutex
    std::shared_ptr<ssl_st> tls_;
    bool ended_ = false;
    /// Keeps shutDown() from a descriptor number that was closed and given out again.
    std::mutex descriptorMutex_;
};

} // namespace fetra::test
