#pragma once

#include "transfer/RemoteInfo.h"

#include <QList>
#include <QString>

#include <optional>

namespace fetra {

/// How far an interrupted ranged transfer came: the content of the sidecar beside its partial file.
struct ResumeRecord {
    static constexpr qint64 currentVersion = 2;

    /// Bytes `start` to `end`, inclusive, of which `start` to `current` - 1 have been received and synced.
    struct Seg {
        qint64 start = 0;
        qint64 end = 0;
        qint64 current = 0;
        bool operator==(const Seg&) const = default;
    };

    /// Written, and not looked at when reading.
    qint64 version = currentVersion;
    /// The requested address, absolute.
    QString url = {};
    qint64 totalSize = 0;
    /// The validators that the server sent when the transfer began.
    std::optional<QString> etag = {};
    std::optional<QString> lastModified = {};
    QList<Seg> segments = {};

    [[nodiscard]] bool isComplete() const;
    [[nodiscard]] qint64 heldBytes() const;

    bool operator==(const ResumeRecord&) const = default;
};

/// Reads, writes and judges resume sidecars. Stateless; one writer a path at a time.
namespace ResumeStore {

/// The record in the file at `path`; nothing when it is missing, over 4 MiB or no valid record. Throws
/// `PosixError` when it cannot be read now, for want of descriptors perhaps: no reason to start over.
[[nodiscard]] std::optional<ResumeRecord> load(const QString& path);
/// The record that `json` holds, or nothing: the pure half of `load`.
[[nodiscard]] std::optional<ResumeRecord> decode(const QByteArray& json);
[[nodiscard]] QByteArray encode(const ResumeRecord& record);

/// Replaces the file atomically. A failure keeps the previous record and is only logged. When the disk is too
/// full for a second file, the previous record is overwritten in place if the new one fits its blocks and no
/// power loss can tear it.
void save(const ResumeRecord& record, const QString& path);
/// Deletes the file; that it is missing is no error.
void remove(const QString& path);
/// Deletes it for good, before another file takes the place of the one that it speaks of: when this returns,
/// no power loss brings it back. Throws `PosixError`.
void forget(const QString& path);

/// Whether a transfer of the file that `info` describes may continue from `record` with the partial file at
/// `partPath`.
[[nodiscard]] bool validate(const ResumeRecord& record, const RemoteInfo& info, const QString& partPath);
/// Whether both speak of the same file: ranges, size, address and validators, all but what lies on disk.
[[nodiscard]] bool describesSameFile(const ResumeRecord& record, const RemoteInfo& info);
/// Whether the segments, in any order, tile bytes 0 to `total` - 1 with every `current` in its range.
[[nodiscard]] bool isValidPartition(const QList<ResumeRecord::Seg>& segments, qint64 total);

} // namespace ResumeStore
} // namespace fetra
