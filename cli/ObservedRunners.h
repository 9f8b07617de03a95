#pragma once

#include "manager/TransferRunner.h"
#include "transfer/RemoteInfo.h"

#include <QString>

#include <memory>
#include <optional>

namespace fetra::cli {

/// What a transfer tells besides what its item keeps. Written by the transfer's threads, each part before the
/// manager hears of the event it belongs to, and read after that: no lock is needed.
struct TransferNotes {
    std::optional<RemoteInfo> info = {};
    std::optional<DownloadResult> result = {};
    /// What it ended with instead of a result, as the sentence for the user.
    QString error = {};
};

/// Hands the manager transfers that follow the command line where the manager has no word for it, and that
/// note down what they tell. Main thread only.
class ObservedRunners final : public RunnerFactory {
public:
    struct Terms {
        /// Resume data are read and written.
        bool resume = true;
    };

    /// `engine` outlives it.
    ObservedRunners(RunnerFactory& engine, Terms terms)
        : engine_(engine)
        , terms_(terms) {}

    /// Where the next transfer to be made writes its notes.
    void noteNext(std::shared_ptr<TransferNotes> notes) { next_ = std::move(notes); }

    [[nodiscard]] std::unique_ptr<HTTPRunner> makeDownloader(const DownloadOptions& options) override;
    [[nodiscard]] std::unique_ptr<TorrentRunner>
    makeTorrentDownloader(const TorrentOptions& options) override;

private:
    RunnerFactory& engine_;
    const Terms terms_;
    std::shared_ptr<TransferNotes> next_;
};

} // namespace fetra::cli
