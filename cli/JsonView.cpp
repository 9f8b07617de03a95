#include "JsonView.h"

#include "system/AbsoluteURL.h"

#include <QJsonDocument>

#include <cmath>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

template <typename T>
void insertKnown(QJsonObject& object, const QString& key, const std::optional<T>& value) {
    if (value)
        object.insert(key, *value);
}

} // namespace

QByteArray jsonText(const QJsonObject& object, bool indented) {
    const QByteArray raw =
        QJsonDocument(object).toJson(indented ? QJsonDocument::Indented : QJsonDocument::Compact).trimmed();
    QByteArray text;
    text.reserve(raw.size() + 1);
    // JSON allows DEL and the controls above it (0xC2 0x80 to 0xC2 0x9F in UTF-8) to stand as they are.
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const auto byte = uchar(raw[i]);
        const auto following = uchar(i + 1 < raw.size() ? raw[i + 1] : '\0');
        if (byte == 0x7F) {
            text += "\\u007f";
        } else if (byte == 0xC2 && following >= 0x80 && following <= 0x9F) {
            text += "\\u00" + QByteArray::number(following, 16);
            ++i;
        } else {
            text += raw[i];
        }
    }
    return text + '\n';
}

JsonView::JsonView(Events events, std::function<void(const QByteArray&)> write)
    : events_(events)
    , write_(std::move(write)) {}

void JsonView::started(const DownloadLabel& label, const TransferStart& start) {
    QJsonObject fields{
        {u"path"_s, start.destination.toLocalFile()},
        {u"name"_s, start.destination.fileName()},
    };
    if (start.info) {
        fields.insert(u"ranges"_s, start.info->acceptsRanges);
        fields.insert(u"connections"_s, start.info->acceptsRanges ? start.connections : 1);
        fields.insert(u"mirrors"_s, start.mirrors);
        fields.insert(u"resume"_s, start.resume);
    }
    insertKnown(fields, u"total"_s, start.totalBytes);
    emitEvent(u"start"_s, label, fields);
}

void JsonView::progressed(const DownloadLabel& label, const DownloadProgress& progress) {
    if (events_ == Events::withoutProgress)
        return;
    QJsonObject fields{
        {u"receivedBytes"_s, progress.receivedBytes},
        {u"bytesPerSecond"_s, std::isfinite(progress.bytesPerSecond) ? progress.bytesPerSecond : 0.0},
        {u"activeConnections"_s, progress.activeConnections},
        {u"connectionLimit"_s, progress.connectionLimit},
    };
    insertKnown(fields, u"totalBytes"_s, progress.totalBytes);
    insertKnown(fields, u"fraction"_s, progress.fraction());
    insertKnown(fields, u"eta"_s, progress.eta());
    emitEvent(u"progress"_s, label, fields);
}

void JsonView::completed(const DownloadLabel& label, const DownloadResult& result) {
    QJsonObject fields{
        {u"destination"_s, absoluteString(result.destination)},
        {u"path"_s, result.destination.toLocalFile()},
        {u"bytes"_s, result.bytes},
        {u"bytesThisSession"_s, result.bytesThisSession},
        {u"resumedFrom"_s, result.resumedFrom},
        {u"elapsed"_s, result.elapsed},
        {u"averageBytesPerSecond"_s, result.averageBytesPerSecond},
        {u"peakConnections"_s, result.peakConnections},
        {u"mirrorsUsed"_s, result.mirrorsUsed},
    };
    insertKnown(fields, u"sha256"_s, result.sha256);
    emitEvent(u"complete"_s, label, fields);
}

void JsonView::failed(const DownloadLabel& label, const TransferFailure& failure) {
    QJsonObject fields{{u"error"_s, failure.sentence}, {u"interrupted"_s, failure.interrupted}};
    insertKnown(fields, u"resumable"_s, failure.resumable);
    emitEvent(u"failed"_s, label, fields);
}

void JsonView::emitEvent(const QString& name, const DownloadLabel& label, QJsonObject fields) {
    fields.insert(u"event"_s, name);
    fields.insert(u"id"_s, label.id.toString(QUuid::WithoutBraces).toUpper());
    fields.insert(u"url"_s, presentableString(label.url));
    write_(jsonText(fields, false));
}

} // namespace fetra::cli
