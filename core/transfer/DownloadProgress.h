#pragma once

#include <QJsonObject>
#include <QList>

#include <optional>

namespace fetra {

/// One byte range of a running transfer, as shown to the user. Offsets in bytes.
struct SegmentSnapshot {
    qint64 start = 0;
    /// The last byte, inclusive; -1 while the size is unknown.
    qint64 end = 0;
    /// The next byte to be written; the range is complete when `current` > `end`.
    qint64 current = 0;
    /// A request is running for the range.
    bool active = false;
    /// Index of the server: 0 the primary, higher numbers the mirrors.
    qint64 source = 0;

    [[nodiscard]] qint64 length() const { return end >= start ? end - start + 1 : 0; }
    [[nodiscard]] qint64 done() const { return current > start ? current - start : 0; }

    [[nodiscard]] QJsonObject toJson() const;
    [[nodiscard]] static std::optional<SegmentSnapshot> fromJson(const QJsonObject& object);

    bool operator==(const SegmentSnapshot&) const = default;
};

[[nodiscard]] size_t qHash(const SegmentSnapshot& snapshot, size_t seed = 0);

/// How far a running transfer is. A plain value, taken as a snapshot a few times a second.
struct DownloadProgress {
    std::optional<qint64> totalBytes = {};
    /// Bytes held in the file, those kept from an earlier run included.
    qint64 receivedBytes = 0;
    double bytesPerSecond = 0;
    /// Requests running now, and how many the engine allows itself now.
    qint64 activeConnections = 0;
    qint64 connectionLimit = 0;
    /// One entry a byte range, in plan order.
    QList<SegmentSnapshot> segments = {};

    /// Torrents only.
    std::optional<qint64> peers = {};
    std::optional<qint64> seeds = {};
    std::optional<double> uploadBytesPerSecond = {};
    std::optional<qint64> uploadedBytes = {};

    /// 0 to 1; absent while the size is unknown or zero.
    [[nodiscard]] std::optional<double> fraction() const;
    /// Seconds left at the present speed; absent while size or speed say nothing.
    [[nodiscard]] std::optional<double> eta() const;
};

} // namespace fetra
