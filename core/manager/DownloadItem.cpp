#include "manager/DownloadItem.h"

#include "torrent/TorrentDownloader.h"

#include <QJsonDocument>

#include <algorithm>
#include <cmath>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// How an encoded record begins. Commands on the whole list change the status alone: where it has its place,
/// the rest need not be encoded anew.
constexpr QByteArrayView beforeStatus("{\"status\":\"");

} // namespace

DownloadItem::DownloadItem(const DownloadRecord& record)
    : record_(record)
    , isTorrent_(TorrentDownloader::isTorrentSource(record.url)) {
    setHeaders(headers());
}

template <typename T>
void DownloadItem::assignLive(T& field, const T& value, Field name) {
    if (field == value)
        return;
    field = value;
    Q_EMIT changed(name);
}

template <typename T>
void DownloadItem::assignStored(T& field, const T& value, Field name) {
    if (field == value)
        return;
    field = value;
    encoded_.clear();
    Q_EMIT changed(name);
}

QMap<QString, QString> DownloadItem::headers() const {
    return record_.headers.value_or(QMap<QString, QString>());
}

void DownloadItem::setMirrors(const QList<QUrl>& mirrors) {
    assignStored(record_.mirrors, mirrors, Field::mirrors);
}

void DownloadItem::setDirectory(const QUrl& directory) {
    assignStored(record_.directory, directory, Field::directory);
}

void DownloadItem::setConnections(qint64 connections) {
    assignStored(record_.connections, connections, Field::connections);
}

void DownloadItem::setFilename(const QString& filename) {
    assignStored(record_.filename, filename, Field::filename);
}

void DownloadItem::setDestination(const std::optional<QUrl>& destination) {
    assignStored(record_.destination, destination, Field::destination);
}

void DownloadItem::setStatus(DownloadStatus status) {
    if (!encoded_.isEmpty())
        encoded_.replace(beforeStatus.size(), statusText(record_.status).size(),
                         statusText(status).toLatin1());
    assignLive(record_.status, status, Field::status);
}

void DownloadItem::setTotalBytes(std::optional<qint64> bytes) {
    assignStored(record_.totalBytes, bytes, Field::totalBytes);
}

void DownloadItem::setReceivedBytes(qint64 bytes) {
    assignStored(record_.receivedBytes, bytes, Field::receivedBytes);
}

void DownloadItem::setAverageBytesPerSecond(double rate) {
    // The state file has no words for other numbers.
    assignStored(record_.averageBytesPerSecond, std::isfinite(rate) ? rate : 0.0,
                 Field::averageBytesPerSecond);
}

void DownloadItem::setErrorMessage(const std::optional<QString>& message) {
    assignStored(record_.errorMessage, message, Field::errorMessage);
}

void DownloadItem::setCompletedAt(const std::optional<QDateTime>& date) {
    assignStored(record_.completedAt, date, Field::completedAt);
}

void DownloadItem::setExpectedSHA256(const std::optional<QString>& digest) {
    assignStored(record_.expectedSHA256, digest, Field::expectedSHA256);
}

void DownloadItem::setHeaders(const QMap<QString, QString>& headers) {
    const auto stored = headers.isEmpty() ? std::nullopt : std::optional(headers);
    assignStored(record_.headers, stored, Field::headers);
}

void DownloadItem::setBytesPerSecond(double rate) {
    assignLive(live_.bytesPerSecond, rate, Field::bytesPerSecond);
}

void DownloadItem::setActiveConnections(qint64 count) {
    assignLive(live_.activeConnections, count, Field::activeConnections);
}

void DownloadItem::setConnectionLimit(qint64 count) {
    assignLive(live_.connectionLimit, count, Field::connectionLimit);
}

void DownloadItem::setSegments(const QList<SegmentSnapshot>& segments) {
    assignLive(live_.segments, segments, Field::segments);
}

void DownloadItem::setPeers(qint64 count) {
    assignLive(live_.peers, count, Field::peers);
}

void DownloadItem::setSeeds(qint64 count) {
    assignLive(live_.seeds, count, Field::seeds);
}

void DownloadItem::setUploadBytesPerSecond(double rate) {
    assignLive(live_.uploadBytesPerSecond, rate, Field::uploadBytesPerSecond);
}

void DownloadItem::setUploadedBytes(qint64 bytes) {
    assignLive(live_.uploadedBytes, bytes, Field::uploadedBytes);
}

const QByteArray& DownloadItem::encodedRecord() const {
    if (encoded_.isEmpty()) {
        QJsonObject rest = record_.toJson();
        rest.remove(u"status"_s);
        encoded_ = beforeStatus.toByteArray() + statusText(status()).toLatin1() + "\"," +
                   QJsonDocument(rest).toJson(QJsonDocument::Compact).sliced(1);
        encoded_.squeeze();
    }
    return encoded_;
}

bool DownloadItem::isActive() const {
    return status() == DownloadStatus::probing || status() == DownloadStatus::downloading;
}

double DownloadItem::fraction() const {
    if (status() == DownloadStatus::completed)
        return 1.0;
    if (totalBytes().value_or(0) <= 0)
        return 0.0;
    return std::clamp(static_cast<double>(receivedBytes()) / static_cast<double>(*totalBytes()), 0.0, 1.0);
}

std::optional<double> DownloadItem::eta() const {
    if (status() != DownloadStatus::downloading)
        return std::nullopt;
    return DownloadProgress{
        .totalBytes = totalBytes(), .receivedBytes = receivedBytes(), .bytesPerSecond = bytesPerSecond()}
        .eta();
}

} // namespace fetra
