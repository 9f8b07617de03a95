#pragma once

#include "transfer/DownloadProgress.h"
#include "transfer/DownloadResult.h"
#include "transfer/RemoteInfo.h"

#include <QString>
#include <QUrl>

#include <exception>
#include <mutex>
#include <optional>
#include <variant>

namespace fetra::cli {

/// Hands what the threads of a transfer report to the thread that shows it. Reporting never waits for the
/// showing: of several snapshots in a row only the latest is kept.
class TransferFeed {
public:
    struct Started {
        QUrl destination;
        RemoteInfo info;
    };
    /// The result, or what `download` threw.
    using Outcome = std::variant<DownloadResult, std::exception_ptr>;
    /// Everything new since the last look, in the order it is to be shown.
    struct News {
        std::optional<Started> started;
        std::optional<DownloadProgress> progress;
        std::optional<Outcome> outcome;
    };

    TransferFeed();
    ~TransferFeed();
    TransferFeed(const TransferFeed&) = delete;
    TransferFeed& operator=(const TransferFeed&) = delete;

    void reportStart(const QUrl& destination, const RemoteInfo& info);
    void reportProgress(const DownloadProgress& progress);
    void reportOutcome(Outcome outcome);

    /// Readable when there is news.
    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] News take();

private:
    void signalNews();

    std::mutex mutex_;
    News news_;
    int descriptor_ = -1;
};

} // namespace fetra::cli
