#pragma once

#include "transfer/FileSink.h"
#include "transfer/ResumeStore.h"

#include <QUrl>

#include <memory>
#include <optional>

namespace fetra {

/// The place that a transfer has claimed for its file.
struct Reservation {
    static constexpr const char* partSuffix = ".part";
    static constexpr const char* sidecarSuffix = ".fetra";

    explicit Reservation(const QUrl& file)
        : destination(file)
        , partPath(partPathOf(file))
        , sidecarPath(file.toLocalFile() + QLatin1StringView(sidecarSuffix)) {}

    [[nodiscard]] static QString partPathOf(const QUrl& file) {
        return file.toLocalFile() + QLatin1StringView(partSuffix);
    }

    QUrl destination;
    QString partPath;
    QString sidecarPath;
    /// The open partial file. Absent when an earlier transfer got as far as giving the file its final name:
    /// then `destination` is whole and only the sidecar is left over.
    std::unique_ptr<FileSink> sink;
    /// What an interrupted transfer has left, when it can be continued.
    std::optional<QList<ResumeRecord::Seg>> resumeSegments;
};

} // namespace fetra
