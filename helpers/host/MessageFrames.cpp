#include "helpers/host/MessageFrames.h"

#include <algorithm>
#include <cstring>

namespace fetra::host {

namespace {

constexpr qsizetype headBytes = sizeof(quint32);

} // namespace

void MessageFrames::append(QByteArrayView bytes) {
    const qsizetype skipped = std::min<qint64>(skip_, bytes.size());
    skip_ -= skipped;
    buffer_ += bytes.sliced(skipped);
}

std::optional<MessageFrames::Frame> MessageFrames::next() {
    if (buffer_.size() < headBytes)
        return std::nullopt;
    quint32 length = 0;
    std::memcpy(&length, buffer_.constData(), headBytes);
    if (length == 0 || length > maxMessageBytes) {
        const qsizetype here = std::min<qsizetype>(length, buffer_.size() - headBytes);
        skip_ = length - here;
        buffer_.remove(0, headBytes + here);
        return Frame{};
    }
    if (buffer_.size() - headBytes < length)
        return std::nullopt;
    Frame frame{.isValid = true, .content = buffer_.mid(headBytes, length)};
    buffer_.remove(0, headBytes + length);
    return frame;
}

QByteArray MessageFrames::encoded(const QByteArray& content) {
    const auto length = static_cast<quint32>(content.size());
    QByteArray frame(headBytes, Qt::Uninitialized);
    std::memcpy(frame.data(), &length, headBytes);
    return frame + content;
}

} // namespace fetra::host
