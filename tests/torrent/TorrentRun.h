#pragma once

#include "http/CurlClient.h"
#include "system/Clock.h"
#include "system/Random.h"
#include "system/Ticker.h"
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
    TorrentRun(const QUrl& url, const QString& folder, const TorrentOptions& options = {});
    ~TorrentRun();
    TorrentRun(const TorrentRun&) = delete;
    TorrentRun& operator=(const TorrentRun&) = delete;

    void cancel() { downloader_.cancel(); }
    /// Waits for the end: "complete", the description of a `DownloadError`, or "transport" or "posix" and a
    /// code.
    [[nodiscard]] QString ending();

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
        const std::lock_guard lock(lock_);
        return reports_.empty() ? 0 : reports_.back().receivedBytes;
    }
    /// After the end.
    [[nodiscard]] const std::optional<DownloadResult>& result() const { return result_; }

private:
    void download(const TorrentRequest& request);

    CurlClient http_;
    SystemClock clock_;
    SystemRandom random_;
    Ticker ticker_;
    TorrentDownloader downloader_;

    mutable std::mutex lock_;
    QStringList starts_;
    std::vector<DownloadProgress> reports_;

    QString ending_;
    std::optional<DownloadResult> result_;
    std::thread thread_;
};

} // namespace fetra::test
