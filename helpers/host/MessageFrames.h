#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

namespace fetra::host {

/// Takes a browser's stream apart into messages: each is a length of 4 bytes in native order and that many
/// bytes. The content of a message that is too long is skipped, never stored, so that the stream stays in
/// step.
class MessageFrames {
public:
    static constexpr qsizetype maxMessageBytes = 1'048'576;

    struct Frame {
        /// False for a length of 0 or over the limit; there is no content then.
        bool isValid = false;
        QByteArray content = {};
    };

    /// What has been read, cut wherever it happened to be.
    void append(QByteArrayView bytes);
    /// The next message that is there; a bad length is reported as soon as it has come.
    [[nodiscard]] std::optional<Frame> next();

    /// A message with its length before it.
    [[nodiscard]] static QByteArray encoded(const QByteArray& content);

private:
    QByteArray buffer_;
    /// Bytes still to come of a message that is too long.
    qint64 skip_ = 0;
};

} // namespace fetra::host
