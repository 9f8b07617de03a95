#pragma once

#include "segmented/EngineServices.h"
#include "transfer/DownloadOptions.h"
#include "transfer/DownloadProgress.h"
#include "transfer/DownloadResult.h"
#include "transfer/RemoteInfo.h"

#include <QList>
#include <QUrl>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace fetra {

class FileSink;
class SegmentedDownload;
struct Reservation;
struct SegmentedConfig;
struct SegmentedOutcome;

/// What to download, and who hears of it.
struct DownloadRequest {
    QUrl url{};
    /// Other addresses of the same file. Each is used only once its bytes have been compared.
    QList<QUrl> mirrors{};
    /// A file URL: an existing folder, a folder to be made (its path ends in "/"), or the file itself.
    QUrl target{};
    /// Called once, on the thread of `download`, with the reserved destination, before any data are fetched.
    std::function<void(const QUrl& destination, const RemoteInfo& info)> onStart{};
    /// Called about four times a second on a thread of the engine's, and a last time on the thread of
    /// `download` when the bytes are all there. Must not block.
    std::function<void(const DownloadProgress&)> progress{};
};

/// Carries out one HTTP download, from the probe to a verified file under its final name. Used for one
/// `download`.
class Downloader {
public:
    Downloader(const DownloadOptions& options, const EngineServices& services);
    ~Downloader();
    Downloader(const Downloader&) = delete;
    Downloader& operator=(const Downloader&) = delete;

    /// Blocks the calling thread until the file is there. Throws `DownloadError` or, from the server
    /// questions before the transfer, `TransportError`; the partial file then stays for a later `download` to
    /// continue.
    [[nodiscard]] DownloadResult download(const DownloadRequest& request);

    /// What the server says about `url`. Blocks; throws as `download` does.
    [[nodiscard]] RemoteInfo probe(const QUrl& url);

    /// Makes `download` end soon with `DownloadError::cancelled`, its resume data saved. Any thread, any
    /// number of times; never waits.
    void cancel();

    /// Where a file of that name goes: a place that overwrites nothing and collides with no running transfer,
    /// yet finds the partial file of an interrupted one.
    [[nodiscard]] static QUrl resolveDestination(const QUrl& target, const RemoteInfo& info);
    /// The first of "name (1).ext", "name (2).ext", ... that neither exists nor has a partial file.
    [[nodiscard]] static QUrl uniqueURL(const QUrl& url);
    /// Size in bytes, or nothing when the file cannot be examined.
    [[nodiscard]] static std::optional<qint64> fileSize(const QString& path);

private:
    using ProgressHandler = std::function<void(const DownloadProgress&)>;
    struct VerifiedFile {
        qint64 bytes = 0;
        std::optional<QString> sha256;
    };

    [[nodiscard]] DownloadResult run(const DownloadRequest& request);
    /// The session for what is asked of servers outside the engine, known to `cancel`. Throws `cancelled`.
    [[nodiscard]] std::shared_ptr<HTTPSession> openQuestions(const QUrl& home);
    [[nodiscard]] Reservation reserve(const QUrl& target, const RemoteInfo& info) const;
    /// The ranged transfer, or the single stream when the server turns out not to honour ranges.
    [[nodiscard]] SegmentedOutcome transfer(const SegmentedConfig& config, Reservation& reservation,
                                            const ProgressHandler& progress);
    [[nodiscard]] bool offersWholeFile(const SegmentedConfig& config);
    [[nodiscard]] SegmentedOutcome runEngine(const SegmentedConfig& config, FileSink& sink,
                                             const ProgressHandler& progress);
    [[nodiscard]] VerifiedFile verify(const Reservation& reservation, const RemoteInfo& info,
                                      const SegmentedOutcome& outcome) const;
    /// Gives the verified file its final name, which it returns, and removes the sidecar.
    [[nodiscard]] static QUrl moveIntoPlace(const Reservation& reservation);

    const DownloadOptions options_;
    const EngineServices services_;

    /// Guards what follows, and is never held while the engine's lock is taken.
    std::mutex lock_;
    std::shared_ptr<HTTPSession> questions_;
    std::shared_ptr<SegmentedDownload> engine_;
    bool cancelled_ = false;
};

} // namespace fetra
