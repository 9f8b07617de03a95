#pragma once

#include "support/FileScript.h"

#include <chrono>
#include <mutex>
#include <optional>

namespace fetra::test {

/// A rate that several answers share.
class SharedPace {
public:
    /// When those bytes may go out, all that were reserved earlier going first.
    [[nodiscard]] std::chrono::steady_clock::time_point reserve(qint64 bytes, double bytesPerSecond);

private:
    std::mutex mutex_;
    std::chrono::steady_clock::time_point next_;
};

/// One answer about a file, told with the given lies.
class FileAnswer {
public:
    FileAnswer(ServerExchange& exchange, const Lies& lies, ServerFile file, SharedPace& pace);
    ~FileAnswer();
    FileAnswer(const FileAnswer&) = delete;
    FileAnswer& operator=(const FileAnswer&) = delete;

    void send();

private:
    struct Span {
        qint64 first;
        qint64 last;
    };

    bool enter();
    void release();

    bool rangeIsHonoured() const;
    std::optional<Span> resolveRange() const;
    void compose();
    void composeWhole();
    void composePartial(Span span);
    void composeUnsatisfiable();
    void addFileHeaders();
    void addLabels(Span span);
    void addFraming();

    bool hasBody() const;
    bool isChunked() const;
    std::optional<qint64> cutWithinBody() const;
    bool sendHead();
    bool sendPayload();
    bool sendPiece(QByteArrayView piece, bool isFirst);
    void sendEnd();
    void carryOutCut();

    ServerExchange& exchange_;
    const Lies& lies_;
    const ServerFile file_;
    SharedPace& pace_;
    bool entered_ = false;

    int status_ = 200;
    HeaderList headers_;
    QByteArray payload_;       ///< may point into file_
    qint64 payloadOffset_ = 0; ///< of its first byte in the file
};

} // namespace fetra::test
