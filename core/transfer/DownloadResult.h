#pragma once

#include <QString>
#include <QUrl>

#include <optional>

namespace fetra {

/// The outcome of a finished HTTP transfer.
struct DownloadResult {
    /// Where the finished file lies now (a file URL).
    QUrl destination;
    /// Size of the finished file, bytes fetched by this run, and bytes already present when it began.
    qint64 bytes = 0;
    qint64 bytesThisSession = 0;
    qint64 resumedFrom = 0;
    /// Seconds from the start of the transfer to the rename of the file.
    double elapsed = 0;
    double averageBytesPerSecond = 0;
    /// Most requests that ran at once.
    qint64 peakConnections = 0;
    /// Servers the transfer drew from: the primary and every admitted mirror.
    qint64 mirrorsUsed = 1;
    /// Lower-case digest; present only when one was expected and matched.
    std::optional<QString> sha256;
};

} // namespace fetra
