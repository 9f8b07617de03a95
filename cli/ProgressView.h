#pragma once

#include "transfer/DownloadProgress.h"
#include "transfer/DownloadResult.h"
#include "transfer/RemoteInfo.h"

#include <QString>
#include <QUrl>

#include <optional>

namespace fetra::cli {

struct TransferStart {
    /// As the user gave it.
    QUrl url;
    /// Where the file will be.
    QUrl destination;
    RemoteInfo info;
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

/// How a download is shown. Used by one thread only, in this order: `started`, `progressed` any number of
/// times, then one of the ends; a failure may come without a start.
class ProgressView {
public:
    virtual ~ProgressView() = default;

    virtual void started(const TransferStart& start) = 0;
    virtual void progressed(const DownloadProgress& progress) = 0;
    /// Ctrl-C was heard and the download is about to end.
    virtual void stopping() {}
    virtual void completed(const DownloadResult& result) = 0;
    virtual void failed(const TransferFailure& failure) = 0;

    /// Time has passed, or the terminal has another size.
    virtual void refresh() {}
    /// Leaves the terminal as it was found, until the next `refresh`; before the process stops or ends.
    virtual void leave() {}
    /// A descriptor to watch besides; `refresh` is due when it is readable. -1: none.
    [[nodiscard]] virtual int descriptor() const { return -1; }
};

} // namespace fetra::cli
