#pragma once

#include <QJsonObject>
#include <QMap>
#include <QString>

#include <optional>

namespace fetra {

/// What a caller asks of one transfer. A plain value.
struct DownloadOptions {
    static const QString defaultUserAgent;

    /// Parallel connections wanted for a ranged transfer, 1 to 64.
    qint64 connections = 16;
    /// Smallest byte range that a segment may be planned or split to, at least 65,536 bytes.
    qint64 minSegmentSize = 1'048'576;
    /// Failures in a row that one segment may have before the whole transfer gives up.
    qint64 maxRetries = 12;
    /// Idle time-out of each HTTP request in seconds, at least 5.
    double requestTimeout = 20.0;
    /// Extra headers, sent with every request of the transfer.
    QMap<QString, QString> headers = {};
    QString userAgent = defaultUserAgent;
    /// Idle connections may split running segments.
    bool dynamicSplit = true;
    /// Resume sidecars are read and written.
    bool resume = true;
    /// Hexadecimal SHA-256 digest, in any case, that the finished file must have.
    std::optional<QString> expectedSHA256 = {};

    /// The same options with every number brought into its range.
    [[nodiscard]] DownloadOptions clamped() const;

    [[nodiscard]] QJsonObject toJson() const;
    /// Nothing when a field is missing or has another JSON type. Numbers are taken as they stand, unclamped.
    [[nodiscard]] static std::optional<DownloadOptions> fromJson(const QJsonObject& object);

    bool operator==(const DownloadOptions&) const = default;
};

} // namespace fetra
