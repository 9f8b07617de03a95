#pragma once

#include "manager/DownloadRecord.h"

namespace fetra {

/// The transfer settings of the user.
struct TransferSettings {
    qint64 maxConcurrentDownloads = 3;
    /// For new downloads, when nobody says otherwise.
    qint64 connectionsPerDownload = 16;
    /// The folder for new downloads, when nobody says otherwise (a file URL).
    QUrl defaultDirectory = {};
    /// Unfinished downloads go back into the queue after a restart.
    bool autoStart = true;
    /// In KB (1,024 bytes) a second.
    qint64 torrentUploadLimitKB = 64;
    bool torrentSeedAfterComplete = false;

    bool operator==(const TransferSettings&) const = default;
};

/// What the state file holds: the list in its order, and the settings.
struct ManagerState {
    QList<DownloadRecord> items = {};
    TransferSettings settings = {};

    /// The settings' part of the object.
    [[nodiscard]] static QJsonObject toJson(const TransferSettings& settings);
    /// All or nothing: one bad record makes the whole state unreadable.
    [[nodiscard]] static std::optional<ManagerState> fromJson(const QJsonObject& object);

    bool operator==(const ManagerState&) const = default;
};

} // namespace fetra
