#pragma once

#include <QJsonObject>

#include <optional>

namespace fetra {

/// How one torrent is to be transferred. A plain value.
struct TorrentOptions {
    /// Kilobytes (1,024 bytes) a second; 0: nothing is ever uploaded.
    qint64 uploadLimitKB = 0;
    /// Kilobytes (1,024 bytes) a second; below 1: no limit.
    qint64 downloadLimitKB = 0;
    /// Go on uploading for a while once the download is complete.
    bool seedAfterComplete = false;

    [[nodiscard]] QJsonObject toJson() const;
    /// Nothing when a field is missing or has another JSON type.
    [[nodiscard]] static std::optional<TorrentOptions> fromJson(const QJsonObject& object);

    bool operator==(const TorrentOptions&) const = default;
};

} // namespace fetra
