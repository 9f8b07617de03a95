#pragma once

#include "manager/TransferRunner.h"
#include "transfer/DownloadError.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

namespace fetra::test {

/// A transfer that does what the test says, on the thread that the manager gives it. Ends as cancelled when
/// it is cancelled, unless `staysDeaf`.
class ScriptedTransfer {
public:
    void report(const QUrl& file, std::optional<qint64> total) {
        push([=, this] { onStart(file, RemoteInfo{.totalSize = total}); });
    }
    void reportName(const QString& name) {
        push([=, this] { onName(name); });
    }
    void report(const DownloadProgress& progress) {
        push([=, this] { onProgress(progress); });
    }
    void finish(const DownloadResult& result) {
        push([=, this] { result_ = result; });
    }
    template <typename Error>
    void fail(const Error& error) {
        push([error] { throw error; });
    }

    void cancel();
    [[nodiscard]] bool isCancelled() const;
    DownloadResult run();

    /// As the manager asked.
    QUrl url;
    QUrl target;
    DownloadOptions options;
    std::optional<TorrentOptions> torrent;
    bool staysDeaf = false;

    std::function<void(const QUrl&, const RemoteInfo&)> onStart;
    std::function<void(const QString&)> onName;
    std::function<void(const DownloadProgress&)> onProgress;

private:
    using Step = std::function<void()>;
    void push(Step step);

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Step> steps_;
    std::optional<DownloadResult> result_; ///< the transfer's thread only
    bool isCancelled_ = false;
};

/// Hands out scripted transfers and keeps them, in the order of their starts.
class ScriptedRunners final : public RunnerFactory {
public:
    [[nodiscard]] std::unique_ptr<HTTPRunner> makeDownloader(const DownloadOptions& options) override;
    [[nodiscard]] std::unique_ptr<TorrentRunner>
    makeTorrentDownloader(const TorrentOptions& options) override;

    std::vector<std::shared_ptr<ScriptedTransfer>> transfers;
};

} // namespace fetra::test
