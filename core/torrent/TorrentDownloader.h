#pragma once

#include "segmented/EngineServices.h"
#include "torrent/TorrentOptions.h"
#include "transfer/DownloadProgress.h"
#include "transfer/DownloadResult.h"

#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace fetra {

class ChildProcess;

/// What to download, and who hears of it.
struct TorrentRequest {
    /// A magnet link, or a `.torrent` file here or on a server.
    QUrl url{};
    /// A file URL: the folder that the content goes to. Made when it is missing.
    QUrl directory{};
    /// Called once, on the thread of `download`, when the size is known, with the file name of the content;
    /// never when there is none that stays in its folder.
    std::function<void(const QString& name)> onStart{};
    /// Called on the thread of `download` for every report of the helper program.
    std::function<void(const DownloadProgress&)> progress{};
};

/// Carries out one torrent download through the helper program `fetra-torrent`. Used for one `download`.
class TorrentDownloader {
public:
    TorrentDownloader(const TorrentOptions& options, const EngineServices& services);
    ~TorrentDownloader();
    TorrentDownloader(const TorrentDownloader&) = delete;
    TorrentDownloader& operator=(const TorrentDownloader&) = delete;

    /// Blocks the calling thread until the content is there, seeding included. Throws `DownloadError`,
    /// `TransportError` when a remote `.torrent` file cannot be had, or `PosixError` when a folder, a file or
    /// the helper program cannot be made or started.
    [[nodiscard]] DownloadResult download(const TorrentRequest& request);

    /// Makes `download` end with `DownloadError::cancelled`, as soon as the helper has saved its state and at
    /// the latest when it is killed for taking too long. Any thread, any number of times; never waits.
    void cancel();

    /// Whether an address is for this class rather than for an HTTP download.
    [[nodiscard]] static bool isTorrentSource(const QUrl& url);
    /// What to call the download until the torrent's own name is known.
    [[nodiscard]] static QString displayName(const QUrl& url);
    /// Where the helper program is, or nothing.
    [[nodiscard]] static std::optional<QString> helperPath();

private:
    class Reading;

    [[nodiscard]] bool isCancelled() const;
    /// Throws `DownloadError::cancelled` when that was asked for.
    void requireWanted() const;
    [[nodiscard]] QByteArray fetch(const QUrl& url);
    [[nodiscard]] QStringList arguments(const QString& folder, const QString& source) const;
    void run(const QString& helper, const QStringList& arguments, Reading& reading);

    const TorrentOptions options_;
    const EngineServices services_;

    /// Guards what follows; never held while something of it is asked to end.
    mutable std::mutex lock_;
    std::shared_ptr<HTTPSession> session_;
    std::shared_ptr<ChildProcess> process_;
    bool cancelled_ = false;
};

} // namespace fetra
