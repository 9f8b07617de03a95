#include "support/ScriptedRunners.h"

#include <utility>

namespace fetra::test {

namespace {

void takeOver(ScriptedTransfer& transfer, const DownloadRequest& request) {
    transfer.target = request.target;
    transfer.onStart = request.onStart;
}

void takeOver(ScriptedTransfer& transfer, const TorrentRequest& request) {
    transfer.target = request.directory;
    transfer.onName = request.onStart;
}

template <typename Request>
class Runner final : public TransferRunner<Request> {
public:
    explicit Runner(std::shared_ptr<ScriptedTransfer> transfer)
        : transfer_(std::move(transfer)) {}

    DownloadResult download(const Request& request) override {
        transfer_->url = request.url;
        transfer_->onProgress = request.progress;
        takeOver(*transfer_, request);
        return transfer_->run();
    }
    void cancel() override { transfer_->cancel(); }

private:
    const std::shared_ptr<ScriptedTransfer> transfer_;
};

} // namespace

void ScriptedTransfer::push(Step step) {
    const std::lock_guard lock(mutex_);
    steps_.push_back(std::move(step));
    wake_.notify_all();
}

void ScriptedTransfer::cancel() {
    const std::lock_guard lock(mutex_);
    isCancelled_ = true;
    wake_.notify_all();
}

bool ScriptedTransfer::isCancelled() const {
    const std::lock_guard lock(mutex_);
    return isCancelled_;
}

DownloadResult ScriptedTransfer::run() {
    while (!result_) {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [&] { return !steps_.empty() || (isCancelled_ && !staysDeaf); });
        if (steps_.empty())
            throw DownloadError::cancelled();
        const Step step = std::move(steps_.front());
        steps_.pop_front();
        lock.unlock();
        step();
    }
    return *std::exchange(result_, std::nullopt);
}

std::unique_ptr<HTTPRunner> ScriptedRunners::makeDownloader(const DownloadOptions& options) {
    transfers.push_back(std::make_shared<ScriptedTransfer>());
    transfers.back()->options = options;
    return std::make_unique<Runner<DownloadRequest>>(transfers.back());
}

std::unique_ptr<TorrentRunner> ScriptedRunners::makeTorrentDownloader(const TorrentOptions& options) {
    transfers.push_back(std::make_shared<ScriptedTransfer>());
    transfers.back()->torrent = options;
    return std::make_unique<Runner<TorrentRequest>>(transfers.back());
}

} // namespace fetra::test
