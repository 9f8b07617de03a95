#include "manager/TransferRunner.h"

namespace fetra {

namespace {

template <typename Engine, typename Request>
class EngineRunner final : public TransferRunner<Request> {
public:
    template <typename Options>
    EngineRunner(const Options& options, const EngineServices& services)
        : engine_(options, services) {}

    [[nodiscard]] DownloadResult download(const Request& request) override {
        return engine_.download(request);
    }
    void cancel() override { engine_.cancel(); }

private:
    Engine engine_;
};

} // namespace

std::unique_ptr<HTTPRunner> EngineRunners::makeDownloader(const DownloadOptions& options) {
    return std::make_unique<EngineRunner<Downloader, DownloadRequest>>(options, services_);
}

std::unique_ptr<TorrentRunner> EngineRunners::makeTorrentDownloader(const TorrentOptions& options) {
    return std::make_unique<EngineRunner<TorrentDownloader, TorrentRequest>>(options, services_);
}

} // namespace fetra
