#include "helpers/host/HostMessage.h"

#include "system/PosixError.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace fetra::host::HostMessage {

using namespace Qt::StringLiterals;

namespace {

bool isDownloadable(const QUrl& url) {
    const QString scheme = url.scheme();
    if (scheme == "magnet"_L1)
        return true;
    return (scheme == "http"_L1 || scheme == "https"_L1) && !url.host().isEmpty();
}

bool isPath(const QString& name) {
    return name.contains(u'/') || name.contains(u'\\') || name == "."_L1 || name == ".."_L1;
}

/// Empty when the job was kept.
QString problem(const MessageFrames::Frame& frame, const std::function<void(const CaptureJob&)>& deposit) {
    if (!frame.isValid)
        return u"The message must have 1 to %1 bytes."_s.arg(MessageFrames::maxMessageBytes);
    const auto request = job(frame.content);
    if (const auto* refusal = std::get_if<Refusal>(&request))
        return refusal->sentence;
    try {
        deposit(std::get<CaptureJob>(request));
        return {};
    } catch (const PosixError& error) {
        return u"The download could not be handed over: %1."_s.arg(error.description());
    }
}

} // namespace

std::variant<CaptureJob, Refusal> job(const QByteArray& message) {
    const QJsonDocument document = QJsonDocument::fromJson(message);
    if (!document.isObject())
        return Refusal{u"The message is not a JSON object."_s};
    std::optional<CaptureJob> job = CaptureJob::fromJson(document.object());
    if (!job)
        return Refusal{u"The message has no valid url, or a text of more than %1 bytes."_s.arg(
            CaptureJob::maxStringBytes)};
    if (!isDownloadable(job->url))
        return Refusal{u"Only HTTP, HTTPS and magnet links can be downloaded."_s};
    if (isPath(job->filename))
        return Refusal{u"The filename must be a name without a folder."_s};
    job->directory.clear();
    return *std::move(job);
}

QByteArray reply(const MessageFrames::Frame& frame, const std::function<void(const CaptureJob&)>& deposit) {
    const QString error = problem(frame, deposit);
    QJsonObject object{{u"ok"_s, error.isEmpty()}};
    if (!error.isEmpty())
        object.insert(u"error"_s, error);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace fetra::host::HostMessage
