// The scheduler, and what the transfers report.

#include "manager/DownloadManager.h"

#include "manager/DownloadFiles.h"
#include "system/MainThread.h"
#include "transfer/DownloadError.h"
#include "transfer/ErrorSentence.h"

#include <QDir>

#include <algorithm>
#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

DownloadOptions optionsFor(const DownloadItem& item) {
    return DownloadOptions{
        .connections = std::clamp<qint64>(item.connections(), 1, 64),
        .minSegmentSize = 1'048'576,
        .maxRetries = 12,
        .requestTimeout = 20.0,
        .headers = item.headers(),
        .userAgent = DownloadOptions::defaultUserAgent,
        .dynamicSplit = true,
        .resume = true,
        .expectedSHA256 = item.expectedSHA256(),
    };
}

/// A path that ends so is a folder even while there is none.
QUrl asFolder(const QUrl& folder) {
    const QString path = folder.toLocalFile();
    return path.endsWith(u'/') ? folder : QUrl::fromLocalFile(path + u'/');
}

QUrl joined(const QUrl& folder, const QString& name) {
    return QUrl::fromLocalFile(QDir(folder.toLocalFile()).filePath(name));
}

void rest(DownloadItem& item) {
    item.setBytesPerSecond(0);
    item.setActiveConnections(0);
    item.setPeers(0);
    item.setSeeds(0);
    item.setUploadBytesPerSecond(0);
}

} // namespace

void DownloadManager::schedule() {
    if (loading_ || isEnding_ || suspended_)
        return;
    if (batches_ > 0) {
        scheduleWanted_ = true;
        return;
    }
    // Over a copy, counting anew for each start: whoever hears of one may change the list.
    for (const Item& item : QList(items_)) {
        if (item->status() != DownloadStatus::queued)
            continue;
        if (activeCount() >= settings_.maxConcurrentDownloads)
            break;
        if (this->item(item->id()) != item)
            continue;
        start(*item);
    }
}

void DownloadManager::start(DownloadItem& item) {
    item.setStatus(DownloadStatus::probing);
    item.setErrorMessage(std::nullopt);
    if (item.isTorrent()) {
        startTorrent(item);
        return;
    }
    const QUuid id = item.id();
    launch(runners_, factory_.makeDownloader(optionsFor(item)), id,
           DownloadRequest{
               .url = item.url(),
               .mirrors = item.mirrors(),
               .target = item.destination().value_or(asFolder(item.directory())),
               .onStart =
                   [this, id](const QUrl& target, const RemoteInfo& info) {
                       events_.post(
                           [this, id, target, size = info.totalSize] { didStart(id, target, size); });
                   },
               .progress =
                   [this, id](const DownloadProgress& progress) {
                       events_.post([this, id, progress] { didProgress(id, progress); });
                   },
           });
}

void DownloadManager::startTorrent(DownloadItem& item) {
    const QUuid id = item.id();
    const TorrentOptions options{
        .uploadLimitKB = std::max<qint64>(settings_.torrentUploadLimitKB, 0),
        .downloadLimitKB = 0,
        .seedAfterComplete = settings_.torrentSeedAfterComplete,
    };
    item.setDestination(item.directory());
    launch(torrentRunners_, factory_.makeTorrentDownloader(options), id,
           TorrentRequest{
               .url = item.url(),
               .directory = item.directory(),
               .onStart =
                   [this, id](const QString& name) {
                       events_.post([this, id, name] { didStartTorrent(id, name); });
                   },
               .progress =
                   [this, id](const DownloadProgress& progress) {
                       events_.post([this, id, progress] { didProgress(id, progress); });
                   },
           });
}

template <typename Runner, typename Request>
void DownloadManager::launch(Runs<Runner>& runs, std::unique_ptr<Runner> runner, const QUuid& id,
                             Request request) {
    Run<Runner>& run = runs[id];
    run.runner = std::move(runner);
    try {
        run.thread = std::jthread([this, id, transfer = run.runner.get(), request = std::move(request)] {
            try {
                const DownloadResult result = transfer->download(request);
                events_.post([this, id, result] { didFinish(id, result); });
            } catch (...) {
                events_.post(
                    [this, id, failure = failureOf(std::current_exception())] { didFail(id, failure); });
            }
        });
    } catch (const std::exception&) {
        // No more threads to be had.
        events_.post([this, id, failure = failureOf(std::current_exception())] { didFail(id, failure); });
    }
}

void DownloadManager::cancelRunner(const DownloadItem& item) {
    pausing_.insert(item.id());
    if (const auto run = runners_.find(item.id()); run != runners_.end())
        run->second.runner->cancel();
    if (const auto run = torrentRunners_.find(item.id()); run != torrentRunners_.end())
        run->second.runner->cancel();
}

void DownloadManager::didStart(const QUuid& id, const QUrl& target, std::optional<qint64> totalSize) {
    if (const auto deletion = deletions_.find(id); deletion != deletions_.end())
        deletion->second = target;
    const Item item = this->item(id);
    if (!item || !item->isActive())
        return;
    item->setDestination(target);
    item->setFilename(target.fileName());
    item->setTotalBytes(totalSize);
    item->setStatus(DownloadStatus::downloading);
    persist();
}

void DownloadManager::didStartTorrent(const QUuid& id, const QString& name) {
    const Item item = this->item(id);
    if (!item || !item->isActive())
        return;
    item->setFilename(name);
    item->setDestination(joined(item->directory(), name));
    item->setStatus(DownloadStatus::downloading);
    persist();
}

void DownloadManager::didProgress(const QUuid& id, const DownloadProgress& progress) {
    const Item item = this->item(id);
    if (!item || !item->isActive())
        return;
    item->setReceivedBytes(progress.receivedBytes);
    if (progress.totalBytes)
        item->setTotalBytes(progress.totalBytes);
    item->setBytesPerSecond(progress.bytesPerSecond);
    item->setActiveConnections(progress.activeConnections);
    item->setConnectionLimit(progress.connectionLimit);
    item->setSegments(progress.segments);
    item->setPeers(progress.peers.value_or(0));
    item->setSeeds(progress.seeds.value_or(0));
    item->setUploadBytesPerSecond(progress.uploadBytesPerSecond.value_or(0));
    if (progress.uploadedBytes)
        item->setUploadedBytes(*progress.uploadedBytes);
}

bool DownloadManager::didEnd(const QUuid& id) {
    runners_.erase(id);
    torrentRunners_.erase(id);
    if (const auto deletion = deletions_.extract(id); deletion && deletion.mapped())
        DownloadFiles::removePartial(*deletion.mapped());
    return pausing_.remove(id);
}

void DownloadManager::didFinish(const QUuid& id, const DownloadResult& result) {
    didEnd(id);
    if (const Item item = this->item(id)) {
        item->setStatus(DownloadStatus::completed);
        item->setReceivedBytes(result.bytes);
        item->setTotalBytes(result.bytes);
        item->setDestination(result.destination);
        item->setFilename(result.destination.fileName());
        rest(*item);
        item->setAverageBytesPerSecond(result.averageBytesPerSecond);
        item->setCompletedAt(QDateTime::currentDateTimeUtc());
        item->setSegments({});
        if (onCompleted)
            onCompleted(item);
    }
    persist();
    schedule();
}

void DownloadManager::didFail(const QUuid& id, const Failure& failure) {
    const bool wasCancelledHere = didEnd(id);
    // The list says that it was running, and so the next start goes on with it.
    if (isEnding_ && !wasCancelledHere)
        return;
    if (const Item item = this->item(id)) {
        rest(*item);
        if (wasCancelledHere || failure.isCancellation) {
            const bool goesOnNextTime = suspended_ && suspended_->contains(id);
            item->setStatus(goesOnNextTime ? DownloadStatus::queued : DownloadStatus::paused);
        } else {
            item->setStatus(DownloadStatus::failed);
            item->setErrorMessage(failure.message);
            if (onFailed)
                onFailed(item);
        }
    }
    persist();
    schedule();
}

DownloadManager::Failure DownloadManager::failureOf(const std::exception_ptr& error) {
    Failure failure{.isCancellation = false, .message = errorSentence(error)};
    try {
        std::rethrow_exception(error);
    } catch (const DownloadError& e) {
        failure.isCancellation = e.is<DownloadError::Cancelled>();
    } catch (...) {
    }
    return failure;
}

} // namespace fetra
