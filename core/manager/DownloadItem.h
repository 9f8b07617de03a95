#pragma once

#include "manager/DownloadRecord.h"
#include "transfer/DownloadProgress.h"

#include <QObject>

namespace fetra {

/// One download of the manager's list: what to fetch, where to put it, how far it has come and what went
/// wrong. Confined to the main thread. The manager makes and changes items; views share them and hear of each
/// field that changes.
class DownloadItem final : public QObject {
    Q_OBJECT

public:
    enum class Field {
        mirrors,
        directory,
        connections,
        filename,
        destination,
        status,
        totalBytes,
        receivedBytes,
        bytesPerSecond,
        averageBytesPerSecond,
        activeConnections,
        connectionLimit,
        segments,
        peers,
        seeds,
        uploadBytesPerSecond,
        uploadedBytes,
        errorMessage,
        completedAt,
        expectedSHA256,
        headers,
    };
    Q_ENUM(Field)

    explicit DownloadItem(const DownloadRecord& record);

    [[nodiscard]] const QUuid& id() const { return record_.id; }
    [[nodiscard]] const QUrl& url() const { return record_.url; }
    [[nodiscard]] const QDateTime& addedAt() const { return record_.addedAt; }

    [[nodiscard]] const QList<QUrl>& mirrors() const { return record_.mirrors; }
    [[nodiscard]] const QUrl& directory() const { return record_.directory; }
    [[nodiscard]] qint64 connections() const { return record_.connections; }
    [[nodiscard]] const QString& filename() const { return record_.filename; }
    [[nodiscard]] const std::optional<QUrl>& destination() const { return record_.destination; }
    [[nodiscard]] DownloadStatus status() const { return record_.status; }
    [[nodiscard]] std::optional<qint64> totalBytes() const { return record_.totalBytes; }
    [[nodiscard]] qint64 receivedBytes() const { return record_.receivedBytes; }
    [[nodiscard]] double averageBytesPerSecond() const { return record_.averageBytesPerSecond; }
    [[nodiscard]] const std::optional<QString>& errorMessage() const { return record_.errorMessage; }
    [[nodiscard]] const std::optional<QDateTime>& completedAt() const { return record_.completedAt; }
    [[nodiscard]] const std::optional<QString>& expectedSHA256() const { return record_.expectedSHA256; }
    [[nodiscard]] QMap<QString, QString> headers() const;

    /// Live only: zero or empty whenever an item is made, and never stored. Rates in bytes per second.
    [[nodiscard]] double bytesPerSecond() const { return live_.bytesPerSecond; }
    [[nodiscard]] qint64 activeConnections() const { return live_.activeConnections; }
    [[nodiscard]] qint64 connectionLimit() const { return live_.connectionLimit; }
    [[nodiscard]] const QList<SegmentSnapshot>& segments() const { return live_.segments; }
    [[nodiscard]] qint64 peers() const { return live_.peers; }
    [[nodiscard]] qint64 seeds() const { return live_.seeds; }
    [[nodiscard]] double uploadBytesPerSecond() const { return live_.uploadBytesPerSecond; }
    [[nodiscard]] qint64 uploadedBytes() const { return live_.uploadedBytes; }

    void setMirrors(const QList<QUrl>& mirrors);
    void setDirectory(const QUrl& directory);
    void setConnections(qint64 connections);
    void setFilename(const QString& filename);
    void setDestination(const std::optional<QUrl>& destination);
    void setStatus(DownloadStatus status);
    void setTotalBytes(std::optional<qint64> bytes);
    void setReceivedBytes(qint64 bytes);
    void setAverageBytesPerSecond(double rate);
    void setErrorMessage(const std::optional<QString>& message);
    void setCompletedAt(const std::optional<QDateTime>& date);
    void setExpectedSHA256(const std::optional<QString>& digest);
    void setHeaders(const QMap<QString, QString>& headers);
    void setBytesPerSecond(double rate);
    void setActiveConnections(qint64 count);
    void setConnectionLimit(qint64 count);
    void setSegments(const QList<SegmentSnapshot>& segments);
    void setPeers(qint64 count);
    void setSeeds(qint64 count);
    void setUploadBytesPerSecond(double rate);
    void setUploadedBytes(qint64 bytes);

    /// What is stored of it.
    [[nodiscard]] const DownloadRecord& record() const { return record_; }
    /// The same as compact JSON, kept until it changes: the whole list is written on every save, and all but
    /// a few of its items are as they were.
    [[nodiscard]] const QByteArray& encodedRecord() const;

    /// `probing` or `downloading`.
    [[nodiscard]] bool isActive() const;
    [[nodiscard]] bool isTorrent() const { return isTorrent_; }
    /// 0 to 1.
    [[nodiscard]] double fraction() const;
    /// Seconds left; absent when it is not downloading, or size or speed say nothing.
    [[nodiscard]] std::optional<double> eta() const;

Q_SIGNALS:
    /// Once for each assignment of another value.
    void changed(fetra::DownloadItem::Field field);

private:
    struct Live {
        double bytesPerSecond = 0;
        qint64 activeConnections = 0;
        qint64 connectionLimit = 0;
        QList<SegmentSnapshot> segments = {};
        qint64 peers = 0;
        qint64 seeds = 0;
        double uploadBytesPerSecond = 0;
        qint64 uploadedBytes = 0;
    };

    template <typename T>
    void assignStored(T& field, const T& value, Field name);
    template <typename T>
    void assignLive(T& field, const T& value, Field name);

    DownloadRecord record_;
    /// Lists ask each of their items, and the address never changes.
    const bool isTorrent_;
    Live live_;
    mutable QByteArray encoded_;
};

} // namespace fetra
