#pragma once

#include "browser/CaptureJob.h"
#include "helpers/host/MessageFrames.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <variant>

/// What one message of the browser extension means and what is answered. Pure.
namespace fetra::host::HostMessage {

/// What is wrong with a message, as a sentence for the extension. It repeats nothing of the message.
struct Refusal {
    QString sentence;
};

/// The job that a message asks for: a JSON object with an HTTP, HTTPS or magnet `url` and perhaps `cookie`,
/// `referrer`, `userAgent` and a plain `filename`. Where the file goes is not the browser's business.
[[nodiscard]] std::variant<CaptureJob, Refusal> job(const QByteArray& message);

/// The JSON to answer `frame` with. `deposit` gets the job and throws `PosixError` where it cannot keep it.
[[nodiscard]] QByteArray reply(const MessageFrames::Frame& frame,
                               const std::function<void(const CaptureJob&)>& deposit);

} // namespace fetra::host::HostMessage
