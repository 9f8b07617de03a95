#pragma once

#include "torrent/TorrentDownloader.h"
#include "torrent/TorrentOptions.h"
#include "transfer/Downloader.h"
#include "transfer/DownloadOptions.h"
#include "transfer/DownloadResult.h"

#include <memory>

namespace fetra {

/// One transfer as the manager sees it. `download` blocks a thread of the transfer's own and is called once;
/// its callbacks come on any thread. `cancel` comes from the main thread, at any time, and never waits.
template <typename Request>
class TransferRunner {
public:
    virtual ~TransferRunner() = default;

    /// Throws `DownloadError`, `TransportError` or `PosixError`.
    [[nodiscard]] virtual DownloadResult download(const Request& request) = 0;
    virtual void cancel() = 0;
};

using HTTPRunner = TransferRunner<DownloadRequest>;
using TorrentRunner = TransferRunner<TorrentRequest>;

/// Where the manager gets its transfers from, so that tests can hand out others. Asked on the main thread.
class RunnerFactory {
public:
    virtual ~RunnerFactory() = default;
    [[nodiscard]] virtual std::unique_ptr<HTTPRunner> makeDownloader(const DownloadOptions& options) = 0;
    [[nodiscard]] virtual std::unique_ptr<TorrentRunner>
    makeTorrentDownloader(const TorrentOptions& options) = 0;
};

/// The real ones: `Downloader` and `TorrentDownloader`.
class EngineRunners final : public RunnerFactory {
public:
    explicit EngineRunners(const EngineServices& services)
        : services_(services) {}

    [[nodiscard]] std::unique_ptr<HTTPRunner> makeDownloader(const DownloadOptions& options) override;
    [[nodiscard]] std::unique_ptr<TorrentRunner>
    makeTorrentDownloader(const TorrentOptions& options) override;

private:
    const EngineServices services_;
};

} // namespace fetra
