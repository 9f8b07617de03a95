#pragma once

#include "manager/DownloadStatus.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QUrl>
#include <QUuid>

#include <optional>

namespace fetra {

/// A download as it is stored. A plain value.
struct DownloadRecord {
    QUuid id = {};
    /// http, https, magnet, or the address of a .torrent file.
    QUrl url = {};
    /// Other addresses of the same file.
    QList<QUrl> mirrors = {};
    /// The folder it is saved into (a file URL).
    QUrl directory = {};
    /// Parallel connections asked for.
    qint64 connections = 0;
    /// The name it is shown by; the file's own once that is known.
    QString filename = {};
    /// The file (for a torrent its file or folder), once known.
    std::optional<QUrl> destination = {};
    DownloadStatus status = DownloadStatus::queued;
    std::optional<qint64> totalBytes = {};
    qint64 receivedBytes = 0;
    /// Of the finished run; 0 until then.
    double averageBytesPerSecond = 0;
    /// Why it failed last.
    std::optional<QString> errorMessage = {};
    QDateTime addedAt = {};
    std::optional<QDateTime> completedAt = {};
    std::optional<QString> expectedSHA256 = {};
    /// Extra request headers; absent rather than empty.
    std::optional<QMap<QString, QString>> headers = {};

    [[nodiscard]] QJsonObject toJson() const;
    /// Nothing when a required field is missing or any has another type or no meaning.
    [[nodiscard]] static std::optional<DownloadRecord> fromJson(const QJsonObject& object);

    bool operator==(const DownloadRecord&) const = default;
};

} // namespace fetra
