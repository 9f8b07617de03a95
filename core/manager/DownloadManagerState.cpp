// Saving and loading.

#include "manager/DownloadManager.h"

#include "system/AbsoluteURL.h"
#include "system/Log.h"

#include <QJsonDocument>

#include <algorithm>
#include <utility>
#include <vector>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// What is left of an interrupted run goes on by itself, or waits for the user.
DownloadStatus statusAfterRestart(DownloadStatus stored, bool autoStart) {
    switch (stored) {
    case DownloadStatus::queued:
    case DownloadStatus::probing:
    case DownloadStatus::downloading:
        return autoStart ? DownloadStatus::queued : DownloadStatus::paused;
    case DownloadStatus::paused:
    case DownloadStatus::completed:
    case DownloadStatus::failed:
        break;
    }
    return stored;
}

} // namespace

void DownloadManager::noteItemsChanged() {
    if (batches_ > 0)
        itemsChanged_ = true;
    else
        Q_EMIT changed(Field::items);
}

void DownloadManager::endBatch() {
    if (--batches_ > 0)
        return;
    if (std::exchange(itemsChanged_, false))
        Q_EMIT changed(Field::items);
    if (std::exchange(saveWanted_, false))
        persist();
    if (std::exchange(scheduleWanted_, false))
        schedule();
}

void DownloadManager::persist() {
    if (loading_ || !stateFile_)
        return;
    if (batches_ > 0) {
        saveWanted_ = true;
        return;
    }
    const QByteArray settings = QJsonDocument(ManagerState::toJson(settings_)).toJson(QJsonDocument::Compact);
    std::vector<QByteArrayView> pieces{"{\"items\":["};
    pieces.reserve(static_cast<size_t>(items_.size()) * 2 + 3);
    for (const Item& item : items_) {
        if (pieces.size() > 1)
            pieces.emplace_back(",");
        pieces.emplace_back(item->encodedRecord());
    }
    pieces.emplace_back("],");
    pieces.emplace_back(QByteArrayView(settings).sliced(1));
    try {
        stateFile_->save(pieces);
        unsaved_ = false;
    } catch (const std::exception& error) {
        unsaved_ = true;
        Log::warn([&] { return u"state save failed: "_s + QString::fromUtf8(error.what()); });
    }
}

void DownloadManager::load() {
    std::optional<ManagerState> state = stateFile_ ? stateFile_->load() : std::nullopt;
    if (!state)
        return;
    loading_ = true;
    setMaxConcurrentDownloads(std::max<qint64>(state->settings.maxConcurrentDownloads, 1));
    setConnectionsPerDownload(std::max<qint64>(state->settings.connectionsPerDownload, 1));
    if (isLocalPath(state->settings.defaultDirectory))
        setDefaultDirectory(state->settings.defaultDirectory);
    setAutoStart(state->settings.autoStart);
    setTorrentUploadLimitKB(std::max<qint64>(state->settings.torrentUploadLimitKB, 0));
    setTorrentSeedAfterComplete(state->settings.torrentSeedAfterComplete);
    QList<Item> items;
    items.reserve(state->items.size());
    QSet<QUuid> ids;
    for (DownloadRecord& record : state->items) {
        // Files are written by hand, too: each item has an id of its own, and places are on this machine.
        if (ids.contains(record.id))
            record.id = QUuid::createUuid();
        ids.insert(record.id);
        if (!isLocalPath(record.directory))
            record.directory = settings_.defaultDirectory;
        if (record.destination && !isLocalPath(*record.destination))
            record.destination.reset();
        record.status = statusAfterRestart(record.status, state->settings.autoStart);
        items.append(std::make_shared<DownloadItem>(record));
    }
    setItems(items);
    loading_ = false;
}

} // namespace fetra
