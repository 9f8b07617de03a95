#include "manager/DownloadManager.h"

#include "links/LinkParser.h"
#include "manager/DownloadFiles.h"
#include "system/AbsoluteURL.h"
#include "system/Log.h"
#include "system/MainThread.h"
#include "system/StandardFolders.h"
#include "transfer/HTTPProbe.h"

#include <algorithm>
#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// As the address comes back from the state file, so that both compare equal.
QUrl asStored(const QUrl& url) {
    const QUrl stored(absoluteString(url));
    return stored.isValid() ? stored : url;
}

QList<QUrl> validOnes(QList<QUrl> urls) {
    urls.removeIf([](const QUrl& url) { return !url.isValid() || url.isRelative(); });
    return urls;
}

QUrl folderForNewDownloads() {
    return QUrl::fromLocalFile(StandardFolders::downloads().value_or(StandardFolders::home()));
}

void deleteFilesOf(const DownloadItem& item) {
    if (const std::optional<QString> reason = DownloadFiles(item).remove())
        Log::warn([&] { return u"files of %1 not deleted: %2"_s.arg(item.filename(), *reason); });
}

} // namespace

DownloadManager::DownloadManager(const Setup& setup, RunnerFactory& runners)
    : factory_(runners)
    , storeURL_(setup.storeURL)
    , inboxes_(setup.inboxes)
    , events_([this](const Mailbox::Work& runAll) {
        const Batch batch(*this);
        runAll();
    }) {
    Q_ASSERT(MainThread::isCurrent());
    settings_.defaultDirectory = setup.defaultDirectory.value_or(folderForNewDownloads());
    if (storeURL_)
        stateFile_ = std::make_unique<StateFile>(storeURL_->toLocalFile());
    load();
    held_ = setup.held;
    if (held_)
        beginBatch();
    schedule();
    startInbox();
}

void DownloadManager::release() {
    Q_ASSERT(held_);
    held_ = false;
    endBatch();
}

DownloadManager::~DownloadManager() {
    isEnding_ = true;
    onCompleted = nullptr;
    onFailed = nullptr;
    for (const auto& [id, run] : runners_)
        run.runner->cancel();
    for (const auto& [id, run] : torrentRunners_)
        run.runner->cancel();
    for (auto& [id, run] : runners_)
        run.thread = {};
    for (auto& [id, run] : torrentRunners_)
        run.thread = {};
    // A transfer that was whole before it heard of this must not be fetched again by the next start.
    events_.deliver();
    if (unsaved_)
        persist();
}

std::optional<QUrl> DownloadManager::defaultStoreURL() {
    const std::optional<QString> folder = StandardFolders::applicationSupport();
    if (!folder)
        return std::nullopt;
    return QUrl::fromLocalFile(*folder + u"/Fetra/state.json"_s);
}

// Settings

template <typename T>
void DownloadManager::assignSetting(T& setting, const T& value, Field field) {
    Q_ASSERT(MainThread::isCurrent());
    if (setting == value)
        return;
    setting = value;
    Q_EMIT changed(field);
    if (field == Field::maxConcurrentDownloads)
        schedule();
    persist();
}

void DownloadManager::setMaxConcurrentDownloads(qint64 count) {
    assignSetting(settings_.maxConcurrentDownloads, count, Field::maxConcurrentDownloads);
}

void DownloadManager::setConnectionsPerDownload(qint64 count) {
    assignSetting(settings_.connectionsPerDownload, count, Field::connectionsPerDownload);
}

void DownloadManager::setDefaultDirectory(const QUrl& directory) {
    assignSetting(settings_.defaultDirectory, directory, Field::defaultDirectory);
}

void DownloadManager::setAutoStart(bool on) {
    assignSetting(settings_.autoStart, on, Field::autoStart);
}

void DownloadManager::setTorrentUploadLimitKB(qint64 limit) {
    assignSetting(settings_.torrentUploadLimitKB, limit, Field::torrentUploadLimitKB);
}

void DownloadManager::setTorrentSeedAfterComplete(bool on) {
    assignSetting(settings_.torrentSeedAfterComplete, on, Field::torrentSeedAfterComplete);
}

// Adding

QString DownloadManager::nameFor(const QUrl& url, const std::optional<QString>& hint) {
    if (const std::optional<QString> wanted = HTTPProbe::usableName(hint.value_or(QString())))
        return *wanted;
    if (TorrentDownloader::isTorrentSource(url))
        return HTTPProbe::sanitize(TorrentDownloader::displayName(url));
    if (const std::optional<QString> name = HTTPProbe::filenameFromURL(url))
        return HTTPProbe::sanitize(*name);
    return url.host().isEmpty() ? u"download"_s : url.host();
}

DownloadManager::Item DownloadManager::append(const NewDownload& download, DownloadStatus status) {
    Q_ASSERT(MainThread::isCurrent());
    Q_ASSERT(download.url.isValid() && !download.url.isRelative());
    const auto item = std::make_shared<DownloadItem>(DownloadRecord{
        .id = QUuid::createUuid(),
        .url = asStored(download.url),
        .mirrors = validOnes(download.mirrors),
        .directory = isLocalPath(download.directory.value_or(QUrl())) ? *download.directory
                                                                      : settings_.defaultDirectory,
        .connections = download.connections.value_or(settings_.connectionsPerDownload),
        .filename = nameFor(download.url, download.filenameHint),
        .status = status,
        .addedAt = QDateTime::currentDateTimeUtc(),
        .expectedSHA256 = download.sha256,
        .headers = download.headers,
    });
    items_.append(item);
    noteItemsChanged();
    persist();
    schedule();
    return item;
}

DownloadManager::Item DownloadManager::add(const NewDownload& download) {
    return append(download, download.startImmediately ? DownloadStatus::queued : DownloadStatus::paused);
}

QList<DownloadManager::Item> DownloadManager::add(const QString& text, const std::optional<QUrl>& directory,
                                                  bool startImmediately) {
    const Batch batch(*this);
    QList<Item> added;
    for (const QUrl& url : LinkParser::extract(text))
        added.append(add({.url = url, .directory = directory, .startImmediately = startImmediately}));
    return added;
}

// Pausing, resuming, removing, moving

void DownloadManager::pause(const Item& item) {
    Q_ASSERT(MainThread::isCurrent());
    if (item->isActive()) {
        cancelRunner(*item);
    } else if (item->status() == DownloadStatus::queued) {
        item->setStatus(DownloadStatus::paused);
        persist();
    }
}

void DownloadManager::pauseAll() {
    const Batch batch(*this);
    for (const Item& item : QList(items_))
        pause(item);
}

void DownloadManager::resume(const Item& item) {
    Q_ASSERT(MainThread::isCurrent());
    if (item->status() != DownloadStatus::paused && item->status() != DownloadStatus::failed)
        return;
    item->setStatus(DownloadStatus::queued);
    item->setErrorMessage(std::nullopt);
    persist();
    schedule();
}

void DownloadManager::suspend() {
    suspended_.emplace();
    for (const Item& item : QList(items_)) {
        if (!item->isActive() && item->status() != DownloadStatus::queued)
            continue;
        suspended_->insert(item->id());
        if (item->isActive())
            cancelRunner(*item);
    }
}

void DownloadManager::endSuspension() {
    const Batch batch(*this);
    const QSet<QUuid> stopped = std::exchange(suspended_, std::nullopt).value_or(QSet<QUuid>());
    for (const Item& item : QList(items_))
        if (stopped.contains(item->id()))
            pause(item);
    schedule();
}

void DownloadManager::resumeAll() {
    const Batch batch(*this);
    for (const Item& item : QList(items_))
        resume(item);
}

void DownloadManager::remove(const Item& item, bool deleteFiles) {
    remove(QList{item}, deleteFiles);
}

void DownloadManager::remove(const QList<Item>& items, bool deleteFiles) {
    Q_ASSERT(MainThread::isCurrent());
    QSet<QUuid> ids;
    for (const Item& item : items) {
        ids.insert(item->id());
        if (item->isActive())
            cancelRunner(*item);
    }
    QList<Item> rest = items_;
    rest.removeIf([&](const Item& each) { return ids.contains(each->id()); });
    setItems(rest);
    for (const Item& item : deleteFiles ? items : QList<Item>()) {
        if (!runners_.contains(item->id()) && !torrentRunners_.contains(item->id()))
            deleteFilesOf(*item);
        else if (!item->isTorrent())
            // The transfer still writes, and saves its resume data once more. Until it has let go, the name
            // of the partial file stays taken, so that no other transfer finds that record beside a file of
            // its own.
            deletions_.emplace(item->id(), item->destination());
    }
    persist();
    schedule();
}

void DownloadManager::clearCompleted() {
    Q_ASSERT(MainThread::isCurrent());
    QList<Item> rest = items_;
    rest.removeIf([](const Item& each) { return each->status() == DownloadStatus::completed; });
    setItems(rest);
    persist();
}

void DownloadManager::move(const QSet<qsizetype>& fromOffsets, qsizetype toOffset) {
    Q_ASSERT(MainThread::isCurrent());
    QList<Item> taken;
    QList<Item> rest;
    qsizetype before = 0;
    for (qsizetype index = 0; index < items_.size(); ++index) {
        const bool isTaken = fromOffsets.contains(index);
        (isTaken ? taken : rest).append(items_[index]);
        before += isTaken && index < toOffset ? 1 : 0;
    }
    qsizetype at = std::clamp<qsizetype>(toOffset - before, 0, rest.size());
    for (const Item& item : taken)
        rest.insert(at++, item);
    setItems(rest);
    persist();
}

void DownloadManager::setItems(const QList<Item>& items) {
    if (items_ == items)
        return;
    items_ = items;
    noteItemsChanged();
}

// Looking

bool DownloadManager::hasUnfinished(const QUrl& url) const {
    return std::ranges::any_of(items_, [this, stored = asStored(url)](const Item& each) {
        return each->url() == stored && each->status() != DownloadStatus::completed &&
               each->status() != DownloadStatus::failed && !departing_.contains(each->id());
    });
}

DownloadManager::Item DownloadManager::item(const QUuid& id) const {
    const auto found = std::ranges::find_if(items_, [&](const Item& each) { return each->id() == id; });
    return found == items_.end() ? nullptr : *found;
}

qint64 DownloadManager::activeCount() const {
    return std::ranges::count_if(items_, [](const Item& each) { return each->isActive(); });
}

double DownloadManager::totalBytesPerSecond() const {
    double sum = 0;
    for (const Item& each : items_)
        sum += each->isActive() ? each->bytesPerSecond() : 0;
    return sum;
}

double DownloadManager::totalUploadBytesPerSecond() const {
    double sum = 0;
    for (const Item& each : items_)
        sum += each->isActive() ? each->uploadBytesPerSecond() : 0;
    return sum;
}

} // namespace fetra
