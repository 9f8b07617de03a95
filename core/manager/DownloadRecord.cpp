#include "manager/DownloadRecord.h"

#include "system/AbsoluteURL.h"
#include "transfer/JsonFields.h"

#include <QJsonArray>
#include <QTimeZone>

#include <cmath>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// 2001-01-01 00:00:00 UTC, in milliseconds since 1970.
constexpr qint64 epochMilliseconds = 978'307'200'000;
/// Seconds that leave room for the arithmetic on them: about the years -31,000 to 33,000.
constexpr double largestSeconds = 1e12;

double toSeconds(const QDateTime& date) {
    return static_cast<double>(date.toMSecsSinceEpoch() - epochMilliseconds) / 1000.0;
}

std::optional<QDateTime> readDate(const QJsonObject& object, const QString& key) {
    const std::optional<double> seconds = JsonFields::number(object, key);
    if (!seconds || std::abs(*seconds) > largestSeconds)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(epochMilliseconds + std::llround(*seconds * 1000.0), Qt::UTC);
}

std::optional<QUuid> readUuid(const QJsonObject& object, const QString& key) {
    constexpr qsizetype canonicalLength = 36;
    const QString text = JsonFields::string(object, key).value_or(QString());
    const QUuid id = QUuid::fromString(text);
    return text.size() == canonicalLength && !id.isNull() ? std::optional(id) : std::nullopt;
}

std::optional<DownloadStatus> readStatus(const QJsonObject& object, const QString& key) {
    const std::optional<QString> text = JsonFields::string(object, key);
    return text ? statusFromText(*text) : std::nullopt;
}

std::optional<QList<QUrl>> readUrls(const QJsonObject& object, const QString& key) {
    if (!object.value(key).isArray())
        return std::nullopt;
    QList<QUrl> list;
    for (const QJsonValue& value : object.value(key).toArray()) {
        const std::optional<QUrl> url = JsonFields::url({{key, value}}, key);
        if (!url)
            return std::nullopt;
        list.append(*url);
    }
    return list;
}

std::optional<QMap<QString, QString>> readTexts(const QJsonObject& object, const QString& key) {
    if (!object.value(key).isObject())
        return std::nullopt;
    const QJsonObject map = object.value(key).toObject();
    QMap<QString, QString> result;
    for (auto each = map.begin(); each != map.end(); ++each) {
        if (!each.value().isString())
            return std::nullopt;
        result.insert(each.key(), each.value().toString());
    }
    return result;
}

/// Text that JSON can carry: a name on disk need not be valid Unicode.
QString portable(const QString& text) {
    return text.isValidUtf16() ? text : QString::fromUtf8(text.toUtf8());
}

QJsonArray toArray(const QList<QUrl>& list) {
    QJsonArray array;
    for (const QUrl& url : list)
        array.append(absoluteString(url));
    return array;
}

QJsonObject toObject(const QMap<QString, QString>& map) {
    QJsonObject object;
    for (auto each = map.begin(); each != map.end(); ++each)
        object.insert(each.key(), portable(each.value()));
    return object;
}

} // namespace

QJsonObject DownloadRecord::toJson() const {
    QJsonObject object{
        {u"id"_s, id.toString(QUuid::WithoutBraces).toUpper()},
        {u"url"_s, absoluteString(url)},
        {u"mirrors"_s, toArray(mirrors)},
        {u"directory"_s, absoluteString(directory)},
        {u"connections"_s, connections},
        {u"filename"_s, portable(filename)},
        {u"status"_s, statusText(status)},
        {u"receivedBytes"_s, receivedBytes},
        {u"averageBytesPerSecond"_s, averageBytesPerSecond},
        {u"addedAt"_s, toSeconds(addedAt)},
    };
    if (destination)
        object.insert(u"destination"_s, absoluteString(*destination));
    if (totalBytes)
        object.insert(u"totalBytes"_s, *totalBytes);
    if (errorMessage)
        object.insert(u"errorMessage"_s, portable(*errorMessage));
    if (completedAt)
        object.insert(u"completedAt"_s, toSeconds(*completedAt));
    if (expectedSHA256)
        object.insert(u"expectedSHA256"_s, portable(*expectedSHA256));
    if (headers)
        object.insert(u"headers"_s, toObject(*headers));
    return object;
}

std::optional<DownloadRecord> DownloadRecord::fromJson(const QJsonObject& object) {
    const auto id = readUuid(object, u"id"_s);
    const auto url = JsonFields::url(object, u"url"_s);
    const auto mirrors = readUrls(object, u"mirrors"_s);
    const auto directory = JsonFields::url(object, u"directory"_s);
    const auto connections = JsonFields::integer(object, u"connections"_s);
    const auto filename = JsonFields::string(object, u"filename"_s);
    const auto destination = JsonFields::optional<QUrl>(&JsonFields::url, object, u"destination"_s);
    const auto state = readStatus(object, u"status"_s);
    const auto totalBytes = JsonFields::optional<qint64>(&JsonFields::integer, object, u"totalBytes"_s);
    const auto receivedBytes = JsonFields::integer(object, u"receivedBytes"_s);
    const auto average = JsonFields::number(object, u"averageBytesPerSecond"_s);
    const auto message = JsonFields::optional<QString>(&JsonFields::string, object, u"errorMessage"_s);
    const auto addedAt = readDate(object, u"addedAt"_s);
    const auto completedAt = JsonFields::optional<QDateTime>(&readDate, object, u"completedAt"_s);
    const auto sha256 = JsonFields::optional<QString>(&JsonFields::string, object, u"expectedSHA256"_s);
    const auto headers = JsonFields::optional<QMap<QString, QString>>(&readTexts, object, u"headers"_s);
    if (!id || !url || !mirrors || !directory || !connections || !filename || !destination.valid || !state ||
        !totalBytes.valid || !receivedBytes || !average || !message.valid || !addedAt || !completedAt.valid ||
        !sha256.valid || !headers.valid)
        return std::nullopt;
    return DownloadRecord{
        .id = *id,
        .url = *url,
        .mirrors = *mirrors,
        .directory = *directory,
        .connections = *connections,
        .filename = *filename,
        .destination = destination.value,
        .status = *state,
        .totalBytes = totalBytes.value,
        .receivedBytes = *receivedBytes,
        .averageBytesPerSecond = *average,
        .errorMessage = message.value,
        .addedAt = *addedAt,
        .completedAt = completedAt.value,
        .expectedSHA256 = sha256.value,
        .headers = headers.value,
    };
}

} // namespace fetra
