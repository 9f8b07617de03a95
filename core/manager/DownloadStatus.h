#pragma once

#include <QString>

#include <optional>

namespace fetra {

/// The stage of its life that a download is in.
enum class DownloadStatus {
    /// Waits for a free slot.
    queued,
    /// A transfer has been made and asks the server, or starts the torrent helper. Active.
    probing,
    /// The transfer has begun; the destination is known. Active.
    downloading,
    /// Stopped by the user; not started again until resumed.
    paused,
    completed,
    /// Ended with an error; not started again until resumed.
    failed,
};

/// The text by which a status is stored and exchanged.
[[nodiscard]] QString statusText(DownloadStatus status);
/// Nothing for any other text.
[[nodiscard]] std::optional<DownloadStatus> statusFromText(const QString& text);

} // namespace fetra
