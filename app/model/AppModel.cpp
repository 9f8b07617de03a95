#include "app/model/AppModel.h"

#include "app/desktop/Badge.h"
#include "app/desktop/OpenPanels.h"
#include "app/desktop/Pasteboard.h"
#include "app/desktop/Workspace.h"
#include "links/LinkParser.h"
#include "torrent/TorrentDownloader.h"
#include "transfer/Reservation.h"

#include <QFileInfo>
#include <QMimeDatabase>
#include <QPointer>

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

bool isWaiting(const DownloadItem& item) {
    return item.status() == DownloadStatus::queued;
}

bool isPausedOrFailed(const DownloadItem& item) {
    return item.status() == DownloadStatus::paused || item.status() == DownloadStatus::failed;
}

} // namespace

AppModel::AppModel(DownloadManager& manager, const Desktop& desktop, const Clock& clock)
    : manager_(manager)
    , list_(manager)
    , desktop_(desktop)
    , clock_(clock)
    , settings_(desktop.preferences)
    , clipboard_(desktop.pasteboard)
    , notifier_(desktop.notifications, desktop.workspace, settings_) {
    Q_ASSERT(MainThread::isCurrent());
    notifier_.onError = [self = QPointer(this)](const QString& message) {
        if (self)
            self->setErrorMessage(message);
    };
    manager_.onCompleted = [self = QPointer(this)](const Item& item) {
        if (self)
            self->notifier_.send(*item, true);
    };
    manager_.onFailed = [self = QPointer(this)](const Item& item) {
        if (self)
            self->notifier_.send(*item, false);
    };
    ticks_.setSingleShot(true);
    ticks_.setTimerType(Qt::PreciseTimer);
    ticks_.callOnTimeout(this, [this] {
        tick();
        ticks_.start(1s);
    });
    refreshTorrentUploadLimits();
}

AppModel::~AppModel() = default;

// Fields

void AppModel::setFilter(const std::optional<DownloadFilter>& filter) {
    assign(filter_, filter, Field::filter);
}

void AppModel::setSearch(const QString& search) {
    assign(search_, search, Field::search);
}

void AppModel::setSelection(const QSet<QUuid>& selection) {
    assign(selection_, selection, Field::selection);
}

void AppModel::setGrabber(const std::optional<LinkGrabberRequest>& request) {
    assign(grabber_, request, Field::grabber);
}

void AppModel::setRemoval(const std::optional<RemovalRequest>& request) {
    assign(removal_, request, Field::removal);
}

void AppModel::setErrorMessage(const std::optional<QString>& message) {
    assign(errorMessage_, message, Field::errorMessage);
}

void AppModel::setTerminating(bool terminating) {
    assign(isTerminating_, terminating, Field::isTerminating);
}

// The tick

void AppModel::start() {
    if (std::exchange(isStarted_, true))
        return;
    notifier_.start();
    ticks_.start(0ms);
}

void AppModel::tick() {
    refreshTorrentUploadLimits();
    history_.sample(manager_, QDateTime::currentDateTimeUtc());
    clipboard_.poll(manager_, settings_.isOn(AppSettings::watchClipboard));
    desktop_.badge.show(manager_.activeCount());
    finder_.prepare(manager_.items());
    pruneSelection();
}

void AppModel::pruneSelection() {
    const auto isSelected = [this](const Item& item) { return selection_.contains(item->id()); };
    if (selection_.isEmpty() || std::ranges::count_if(manager_.items(), isSelected) == selection_.size())
        return;
    QSet<QUuid> present;
    for (const Item& item : selectedItems())
        present.insert(item->id());
    setSelection(present);
}

// Looking

bool AppModel::canPause() const {
    return std::ranges::any_of(manager_.items(),
                               [](const Item& item) { return item->isActive() || isWaiting(*item); });
}

bool AppModel::canResume() const {
    return std::ranges::any_of(manager_.items(), [this](const Item& item) {
        return (isPausedOrFailed(*item) || isWaiting(*item)) && !deleting_.contains(item->id());
    });
}

bool AppModel::hasCompleted() const {
    return std::ranges::any_of(manager_.items(),
                               [](const Item& item) { return item->status() == DownloadStatus::completed; });
}

AppModel::Items AppModel::itemsWith(const QSet<QUuid>& ids) const {
    Items items;
    for (const Item& item : manager_.items())
        if (ids.contains(item->id()))
            items.append(item);
    return items;
}

AppModel::Items AppModel::selectedItems() const {
    return itemsWith(selection_);
}

AppModel::Items AppModel::filteredItems() {
    const DownloadFilter filter = filter_.value_or(DownloadFilter::all);
    Items items = manager_.items();
    if (filter != DownloadFilter::all)
        items.removeIf([&](const Item& item) { return !filter.matches(*item); });
    return finder_.matching(items, search_);
}

// Adding

void AppModel::showGrabber(const std::optional<QString>& text) {
    if (isTerminating_ || grabber_)
        return;
    const QString found = text ? *text : desktop_.pasteboard.text().value_or(QString());
    setGrabber(LinkGrabberRequest{.text = LinkParser::extract(found).isEmpty() ? QString() : found});
}

bool AppModel::openTorrentFiles(const QList<QUrl>& urls, const std::optional<QUrl>& directory) {
    if (isTerminating_)
        return false;
    QList<QUrl> files = urls;
    files.removeIf(
        [](const QUrl& url) { return !url.isLocalFile() || !TorrentDownloader::isTorrentSource(url); });
    if (files.isEmpty())
        return false;
    add(files, directory);
    return true;
}

void AppModel::chooseTorrentFiles(const std::optional<QUrl>& directory, std::function<void()> onOpened) {
    if (isTerminating_)
        return;
    const QList<QMimeType> types = QMimeDatabase().mimeTypesForFileName(u"file.torrent"_s);
    if (types.isEmpty())
        return;
    desktop_.panels.show(
        {.title = tr("Open Torrent File"),
         .prompt = tr("Open"),
         .choice = OpenPanel::Choice::files,
         .mimeType = types.first().name(),
         .allowsSeveral = true},
        [self = QPointer(this), directory, onOpened = std::move(onOpened)](const QList<QUrl>& chosen) {
            if (self && self->openTorrentFiles(chosen, directory) && onOpened)
                onOpened();
        });
}

void AppModel::add(const QList<QUrl>& urls, const std::optional<QUrl>& directory) {
    Items added;
    {
        const DownloadManager::Batch batch(manager_);
        for (const QUrl& url : urls)
            added.append(manager_.add({.url = url, .directory = directory}));
    }
    revealInList(added);
}

void AppModel::revealInList(const Items& items) {
    refreshTorrentUploadLimits();
    setFilter(DownloadFilter::all);
    setSearch(QString());
    QSet<QUuid> ids;
    for (const Item& item : items)
        ids.insert(item->id());
    setSelection(ids);
}

// Torrents keep the upload limit that they were started with

void AppModel::refreshTorrentUploadLimits() {
    QHash<QUuid, qint64> limits;
    for (const Item& item : manager_.items())
        if (item->isActive() && item->isTorrent())
            limits.insert(item->id(),
                          torrentUploadLimits_.value(item->id(), manager_.torrentUploadLimitKB()));
    assign(torrentUploadLimits_, limits, Field::torrentUploadLimits);
}

qint64 AppModel::torrentUploadLimit(const DownloadItem& item) const {
    const qint64 current = manager_.torrentUploadLimitKB();
    return item.isActive() ? torrentUploadLimits_.value(item.id(), current) : current;
}

// Commands on downloads

void AppModel::resumeAll() {
    Items items = manager_.items();
    items.removeIf([](const Item& item) { return !isWaiting(*item) && !isPausedOrFailed(*item); });
    resume(items);
}

void AppModel::resume(const Items& items) {
    if (isTerminating_)
        return;
    {
        const DownloadManager::Batch batch(manager_);
        QHash<QUuid, qint64> limits = torrentUploadLimits_;
        for (const Item& item : items) {
            if (deleting_.contains(item->id()))
                continue;
            if (!item->isActive())
                limits.remove(item->id());
            // What waits already is where it belongs.
            manager_.resume(item);
        }
        assign(torrentUploadLimits_, limits, Field::torrentUploadLimits);
    }
    refreshTorrentUploadLimits();
}

void AppModel::toggle(const Items& items) {
    if (isTerminating_ || items.isEmpty())
        return;
    Items resting;
    {
        const DownloadManager::Batch batch(manager_);
        for (const Item& item : items) {
            if (deleting_.contains(item->id()))
                continue;
            if (item->isActive() || isWaiting(*item))
                manager_.pause(item);
            else if (isPausedOrFailed(*item))
                resting.append(item);
        }
    }
    resume(resting);
}

void AppModel::primaryAction(const QSet<QUuid>& ids) {
    Items unfinished;
    for (const Item& item : itemsWith(ids)) {
        if (item->status() == DownloadStatus::completed)
            open(*item);
        else
            unfinished.append(item);
    }
    toggle(unfinished);
}

void AppModel::open(const DownloadItem& item) {
    if (item.status() != DownloadStatus::completed || !item.destination())
        return;
    if (!desktop_.workspace.open(*item.destination()))
        setErrorMessage(
            tr("Could not open %1. The file may have been moved or removed.").arg(item.filename()));
}

void AppModel::reveal(const Items& items) {
    QList<QUrl> urls;
    for (const Item& item : items) {
        const QUrl destination = item->destination().value_or(QUrl());
        const QString part = Reservation::partPathOf(destination);
        if (!item->destination())
            urls.append(item->directory());
        else if (QFileInfo::exists(destination.toLocalFile()))
            urls.append(destination);
        else
            urls.append(QFileInfo::exists(part) ? QUrl::fromLocalFile(part) : item->directory());
    }
    desktop_.workspace.reveal(urls);
}

void AppModel::copy(const QStringList& strings) {
    if (!desktop_.pasteboard.setText(strings.join(u'\n')))
        setErrorMessage(tr("Could not copy to the clipboard."));
}

} // namespace fetra
