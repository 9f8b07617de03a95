#pragma once

#include "transfer/DownloadOptions.h"
#include "transfer/ResumeStore.h"
#include "transfer/Validators.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

namespace fetra {

/// What one byte transfer works on.
struct SegmentedConfig {
    /// Addresses to fetch from, as the probe resolved them: the primary first, then the admitted mirrors.
    /// Never empty.
    QList<QUrl> sources;
    /// For each entry of `sources` the same server's address as it was requested, before redirects.
    QList<QUrl> originals;
    /// For each entry of `sources` what that server named when it was asked about the file.
    QList<Validators> validators;
    /// Size of the file in bytes, when known.
    std::optional<qint64> total;
    /// The server honours byte ranges.
    bool ranged = false;
    DownloadOptions options;
    QString sidecarPath;
    /// What resume records say about the file.
    QString recordURL;
    /// From a validated record, to continue from.
    std::optional<QList<ResumeRecord::Seg>> resumeSegments;
};

/// What a finished byte transfer hands back, in bytes.
struct SegmentedOutcome {
    /// Bytes held in the file, and those of them that were there when the run began.
    qint64 totalWritten = 0;
    qint64 resumedBytes = 0;
    /// The file's size, learned by the transfer where it was not known before.
    qint64 finalSize = 0;
    qint64 peakConnections = 0;
};

} // namespace fetra
