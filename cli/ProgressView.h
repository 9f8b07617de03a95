#pragma once

#include "transfer/DownloadProgress.h"
#include "transfer/DownloadResult.h"
#include "transfer/RemoteInfo.h"

#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

namespace fetra::cli {

/// Which of the downloads of a run is meant.
struct DownloadLabel {
    QUuid id = {};
    /// As the user gave it.
    QUrl url = {};
    /// The file's, or what stands for it until it is known.
    QString name = {};
};

struct TransferStart {
    /// Where the file will be.
    QUrl destination;
    std::optional<qint64> totalBytes = std::nullopt;
    /// Absent for a torrent.
    std::optional<RemoteInfo> info = std::nullopt;
    qint64 connections = 0;
    qint64 mirrors = 0;
    bool resume = true;
};

struct TransferFailure {
    /// For the user.
    QString sentence;
    /// The user ended it.
    bool interrupted = false;
    /// Whether the same command continues from what is here; unknown when the transfer had not begun.
    std::optional<bool> resumable = std::nullopt;
    qint64 receivedBytes = 0;
};

/// All downloads of a run together.
struct RunTotals {
    qint64 count = 0;
    qint64 completed = 0;
    qint64 failed = 0;
    qint64 running = 0;
    qint64 queued = 0;
    double bytesPerSecond = 0;
    /// Seconds; an estimate while sizes are unknown.
    std::optional<double> timeLeft = std::nullopt;
};

struct RunEnd {
    /// The user ended it.
    bool interrupted = false;
    /// Of the interrupted downloads those that go on from what is here.
    qint64 resumable = 0;
    /// The file that keeps the list, when there is one.
    std::optional<QString> state = std::nullopt;
    /// Seconds.
    double elapsed = 0;
    /// Of the completed files.
    qint64 bytes = 0;
};

/// How downloads are shown. Used by one thread only. Of each download it hears in this order: `asking`,
/// `started`, `progressed` any number of times, then one of the ends; a failure may come without a start.
class ProgressView {
public:
    virtual ~ProgressView() = default;

    /// Its turn has come.
    virtual void asking(const DownloadLabel&) {}
    virtual void started(const DownloadLabel& label, const TransferStart& start) = 0;
    virtual void progressed(const DownloadLabel& label, const DownloadProgress& progress) = 0;
    virtual void completed(const DownloadLabel& label, const DownloadResult& result) = 0;
    virtual void failed(const DownloadLabel& label, const TransferFailure& failure) = 0;
    /// Ctrl-C was heard and the downloads are about to end.
    virtual void stopping() {}
    /// The run is over.
    virtual void ended(const RunTotals&, const RunEnd&) {}

    /// Time has passed, or the terminal has another size.
    virtual void refresh(const RunTotals&) {}
    /// Leaves the terminal as it was found, until the next `refresh`; before the process stops or ends.
    virtual void leave() {}
    /// A descriptor to watch besides; `refresh` is due when it is readable. -1: none.
    [[nodiscard]] virtual int descriptor() const { return -1; }
};

} // namespace fetra::cli
