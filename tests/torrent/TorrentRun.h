#pragma once

#include "support/DownloadRun.h"
#include "torrent/TorrentDownloader.h"

#include <QStringList>

#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace fetra::test {

/// A torrent download on a thread of its own, over the real HTTP client. Destroying it cancels it and waits.
class TorrentRun {
public:
    TorrentRun(const QUrl& url, const QString& folder, const TorrentOptions& options = {})
        : downloader_(options, world_.services())
        , request_{.url = url, .directory = QUrl::fromLocalFile(folder)} {
        request_.onStart = [this](const QString& name) {
            const std::lock_guard lock(lock_);
            starts_ += name;
        };
        request_.progress = [this](const DownloadProgress& progress) {
            const std::lock_guard lock(lock_);
            reports_.push_back(progress);
        };
        thread_ = std::thread([this] { ending_ = endingOf([&] { return downloader_.download(request_); }); });
    }
    ~TorrentRun() {
        cancel();
        (void)ending();
    }
    TorrentRun(const TorrentRun&) = delete;
    TorrentRun& operator=(const TorrentRun&) = delete;

    void cancel() { downloader_.cancel(); }
    /// Waits for the end; `Ending::words`.
    [[nodiscard]] QString ending() {
        if (thread_.joinable())
            thread_.join();
        return ending_.words;
    }

    /// The names that the start was reported with.
    [[nodiscard]] QStringList starts() const {
        const std::lock_guard lock(lock_);
        return starts_;
    }
    [[nodiscard]] std::vector<DownloadProgress> reports() const {
        const std::lock_guard lock(lock_);
        return reports_;
    }
    /// As the last report says.
    [[nodiscard]] qint64 receivedBytes() const {
        const auto all = reports();
        return all.empty() ? 0 : all.back().receivedBytes;
    }
    /// After the end.
    [[nodiscard]] const std::optional<DownloadResult>& result() const { return ending_.result; }

private:
    RealWorld world_;
    TorrentDownloader downloader_;
    /// Outlives the thread: ThreadSanitizer does not see how Qt counts the users of its texts.
    TorrentRequest request_;

    mutable std::mutex lock_;
    QStringList starts_;
    std::vector<DownloadProgress> reports_;

    Ending ending_;
    std::thread thread_;
};

} // namespace fetra::test
