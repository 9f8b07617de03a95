#include "Check.h"
#include "helpers/host/HostMessage.h"
#include "helpers/host/MessageFrames.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace fetra;
using namespace fetra::host;
using namespace Qt::StringLiterals;
using fuzz::check;

namespace {

void checkJob(const CaptureJob& job) {
    const QString scheme = job.url.scheme();
    check(scheme == "http"_L1 || scheme == "https"_L1 || scheme == "magnet"_L1, "nothing else is downloaded");
    check(!job.filename.contains(u'/') && job.directory.isEmpty(), "the browser chooses no folder");
    const QByteArray content = QJsonDocument(job.toJson()).toJson(QJsonDocument::Compact);
    check(content.size() > CaptureJob::maxFileBytes || CaptureJob::parse(content).has_value(),
          "the application understands what it is handed");
}

/// What the stream holds and is answered, when it comes `step` bytes at a time.
QByteArrayList replies(QByteArrayView stream, qsizetype step) {
    QByteArrayList replies;
    MessageFrames frames;
    for (qsizetype at = 0; at < stream.size(); at += step) {
        frames.append(stream.sliced(at, std::min(step, stream.size() - at)));
        while (const auto frame = frames.next()) {
            int kept = 0;
            replies += HostMessage::reply(*frame, [&](const CaptureJob& job) {
                checkJob(job);
                ++kept;
            });
            const QJsonObject reply = QJsonDocument::fromJson(replies.last()).object();
            check(reply.value("ok"_L1) == QJsonValue(kept == 1), "what is kept is ok");
            check(reply.contains("error"_L1) == (kept == 0), "and what is not has a reason");
        }
    }
    return replies;
}

} // namespace

/// The first byte says how the stream is cut. The rest is a stream, and then again the content of one
/// message, so that mutations need not hit a length to reach the message itself.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const QByteArray content(reinterpret_cast<const char*>(data) + 1, static_cast<qsizetype>(size - 1));
    for (const QByteArray& stream : {content, MessageFrames::encoded(content)}) {
        const QByteArrayList whole = replies(stream, std::max<qsizetype>(stream.size(), 1));
        if (const qsizetype step = 1 + data[0]; step < stream.size())
            check(replies(stream, step) == whole, "cuts do not matter");
    }
    return 0;
}
