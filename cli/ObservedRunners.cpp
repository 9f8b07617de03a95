#include "ObservedRunners.h"

#include "transfer/ErrorSentence.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

DownloadRequest observed(DownloadRequest request, const std::shared_ptr<TransferNotes>& notes) {
    request.onStart = [notes, onStart = std::move(request.onStart)](const QUrl& destination,
                                                                    const RemoteInfo& info) {
        notes->info = info;
        onStart(destination, info);
    };
    return request;
}

TorrentRequest observed(const TorrentRequest& request, const std::shared_ptr<TransferNotes>&) {
    return request;
}

template <typename Request>
class ObservedRunner final : public TransferRunner<Request> {
public:
    ObservedRunner(std::unique_ptr<TransferRunner<Request>> runner, std::shared_ptr<TransferNotes> notes)
        : runner_(std::move(runner))
        , notes_(notes ? std::move(notes) : std::make_shared<TransferNotes>()) {}

    [[nodiscard]] DownloadResult download(const Request& request) override {
        try {
            DownloadResult result = runner_->download(observed(request, notes_));
            notes_->result = result;
            return result;
        } catch (...) {
            notes_->error = errorSentence(std::current_exception());
            throw;
        }
    }
    void cancel() override { runner_->cancel(); }

private:
    const std::unique_ptr<TransferRunner<Request>> runner_;
    const std::shared_ptr<TransferNotes> notes_;
};

} // namespace

std::unique_ptr<HTTPRunner> ObservedRunners::makeDownloader(const DownloadOptions& options) {
    DownloadOptions wanted = options;
    wanted.resume = options.resume && terms_.resume;
    for (const auto& [name, value] : options.headers.asKeyValueRange())
        if (name.compare("user-agent"_L1, Qt::CaseInsensitive) == 0)
            wanted.userAgent = value;
    return std::make_unique<ObservedRunner<DownloadRequest>>(engine_.makeDownloader(wanted),
                                                             std::exchange(next_, nullptr));
}

std::unique_ptr<TorrentRunner> ObservedRunners::makeTorrentDownloader(const TorrentOptions& options) {
    return std::make_unique<ObservedRunner<TorrentRequest>>(engine_.makeTorrentDownloader(options),
                                                            std::exchange(next_, nullptr));
}

} // namespace fetra::cli
