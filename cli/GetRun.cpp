#include "GetRun.h"

#include "system/PosixError.h"
#include "transfer/Reservation.h"
#include "transfer/ResumeStore.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

constexpr auto refreshInterval = 250ms;
/// Supervisors and shells send one stop as several signals in a row, to the process and to its group.
constexpr double sameStopSeconds = 0.3;

/// The bytes that the next run of the same command will find here and continue from, judged as it will judge
/// them.
std::optional<qint64> bytesToContinueFrom(const TransferStart& start, const DownloadItem& item) {
    if (!start.info)
        return item.receivedBytes() > 0 ? std::optional(item.receivedBytes()) : std::nullopt;
    const Reservation place(start.destination);
    try {
        const auto record = ResumeStore::load(place.sidecarPath);
        if (start.resume && record && ResumeStore::validate(*record, *start.info, place.partPath))
            return record->heldBytes();
    } catch (const PosixError&) {
        // The next run will say why it cannot.
    }
    return std::nullopt;
}

DownloadLabel labelOf(const DownloadItem& item) {
    return {item.id(), item.url(), item.filename()};
}

DownloadProgress progressOf(const DownloadItem& item) {
    DownloadProgress progress{
        .totalBytes = item.totalBytes(),
        .receivedBytes = item.receivedBytes(),
        .bytesPerSecond = item.bytesPerSecond(),
        .activeConnections = item.activeConnections(),
        .connectionLimit = item.connectionLimit(),
        .segments = item.segments(),
    };
    // A torrent does not say which parts are there.
    if (progress.segments.isEmpty() && item.isTorrent() && item.totalBytes())
        progress.segments = {{.start = 0, .end = *item.totalBytes() - 1, .current = item.receivedBytes()}};
    return progress;
}

bool isToRun(const DownloadItem& item) {
    return item.status() == DownloadStatus::queued || item.isActive();
}

} // namespace

qsizetype GetRun::unfinishedIn(const DownloadManager& manager) {
    return std::ranges::count_if(manager.items(), [](const auto& item) { return isToRun(*item); });
}

GetRun::GetRun(const Setup& setup)
    : setup_(setup)
    , begun_(setup.clock.now())
    , signals_(setup.interruption.descriptor(), QSocketNotifier::Read) {
    for (const DownloadManager::Item& item : setup_.manager.items())
        if (isToRun(*item))
            watch(item);
    counts_.count = static_cast<qint64>(downloads_.size());
    setup_.manager.onCompleted = [this](const DownloadManager::Item& item) {
        complete(downloads_.at(item->id()));
    };
    setup_.manager.onFailed = [this](const DownloadManager::Item& item) { fail(downloads_.at(item->id())); };

    QObject::connect(&timer_, &QTimer::timeout, &context_, [this] { refresh(); });
    QObject::connect(&signals_, &QSocketNotifier::activated, &context_, [this] { hearSignals(); });
    if (setup_.view.descriptor() >= 0) {
        messages_.emplace(setup_.view.descriptor(), QSocketNotifier::Read);
        QObject::connect(&*messages_, &QSocketNotifier::activated, &context_, [this] { refresh(); });
    }
}

void GetRun::watch(const DownloadManager::Item& item) {
    Download& download = downloads_[item->id()];
    download.item = item;
    QObject::connect(item.get(), &DownloadItem::changed, &context_,
                     [this, &download](DownloadItem::Field field) { hear(download, field); });
}

ExitStatus GetRun::run() {
    setup_.manager.release();
    refresh();
    timer_.start(refreshInterval);
    QCoreApplication::exec();

    timer_.stop();
    if (messages_)
        messages_->setEnabled(false);
    tellEnd();
    if (counts_.completed == counts_.count)
        return ExitStatus::complete;
    if (!stoppingSince_)
        return ExitStatus::failed;
    // Who still asks a server has nothing to save and may be kept waiting for the answer.
    if (!running_.empty())
        ::_exit(ExitStatus::interrupted);
    return ExitStatus::interrupted;
}

// What the items tell

void GetRun::hear(Download& download, DownloadItem::Field field) {
    switch (field) {
    case DownloadItem::Field::status:
        return hearStatus(download);
    case DownloadItem::Field::receivedBytes:
    case DownloadItem::Field::bytesPerSecond:
    case DownloadItem::Field::segments:
        if (download.start)
            changed_.insert(&download);
        return;
    default:
        return;
    }
}

void GetRun::hearStatus(Download& download) {
    switch (download.item->status()) {
    case DownloadStatus::probing:
        download.notes = std::make_shared<TransferNotes>();
        setup_.runners.noteNext(download.notes);
        running_.insert(&download);
        return setup_.view.asking(labelOf(*download.item));
    case DownloadStatus::downloading:
        return begin(download);
    case DownloadStatus::paused:
        if (running_.contains(&download))
            fail(download);
        return;
    case DownloadStatus::queued:
    case DownloadStatus::completed:
    case DownloadStatus::failed:
        // The manager tells these when all fields are as they are to be.
        return;
    }
}

void GetRun::begin(Download& download) {
    const DownloadItem& item = *download.item;
    download.start = TransferStart{
        .destination = item.destination().value_or(item.directory()),
        .totalBytes = item.totalBytes(),
        .info = download.notes->info,
        .connections = item.connections(),
        .mirrors = item.mirrors().size(),
        .resume = setup_.resume,
    };
    if (item.totalBytes()) {
        ++sized_;
        sizedBytes_ += double(*item.totalBytes());
    }
    setup_.view.started(labelOf(item), *download.start);
}

void GetRun::tellProgress(Download& download) {
    if (changed_.erase(&download) > 0)
        setup_.view.progressed(labelOf(*download.item), progressOf(*download.item));
}

void GetRun::complete(Download& download) {
    tellProgress(download);
    running_.erase(&download);
    ++counts_.completed;
    if (const auto& result = download.notes->result) {
        bytes_ += result->bytes;
        setup_.view.completed(labelOf(*download.item), *result);
    }
    finishIfDone();
}

void GetRun::fail(Download& download) {
    changed_.erase(&download);
    running_.erase(&download);
    const bool wasStopped = stoppingSince_.has_value();
    TransferFailure failure{
        .sentence = download.item->errorMessage().value_or(download.notes->error),
        .interrupted = wasStopped,
        .receivedBytes = download.item->receivedBytes(),
    };
    if (download.start) {
        const auto held = bytesToContinueFrom(*download.start, *download.item);
        failure.resumable = held.has_value();
        failure.receivedBytes = held.value_or(failure.receivedBytes);
    }
    resumable_ += wasStopped && failure.resumable.value_or(false) ? 1 : 0;
    counts_.failed += download.item->status() == DownloadStatus::failed || !wasStopped ? 1 : 0;
    setup_.view.failed(labelOf(*download.item), failure);
    finishIfDone();
}

void GetRun::finishIfDone() {
    const bool isDone =
        stoppingSince_ ? !hasWorkToSave() : counts_.completed + counts_.failed == counts_.count;
    if (isDone)
        QCoreApplication::quit();
}

void GetRun::refresh() {
    while (!changed_.empty())
        tellProgress(**changed_.begin());
    setup_.view.refresh(totals());
}

RunTotals GetRun::totals() const {
    RunTotals totals = counts_;
    totals.running = static_cast<qint64>(running_.size());
    totals.queued = totals.count - totals.completed - totals.failed - totals.running;
    double left = 0;
    qint64 unsized = totals.queued;
    for (const Download* each : running_) {
        totals.bytesPerSecond += each->item->bytesPerSecond();
        if (each->item->totalBytes())
            left += double(*each->item->totalBytes() - each->item->receivedBytes());
        else
            ++unsized;
    }
    // Those to come are taken to be like the ones seen.
    if (sized_ > 0 && totals.bytesPerSecond > 1)
        totals.timeLeft =
            (std::max(left, 0.0) + double(unsized) * sizedBytes_ / double(sized_)) / totals.bytesPerSecond;
    return totals;
}

// Stopping

void GetRun::hearSignals() {
    while (const auto kind = setup_.interruption.next()) {
        switch (*kind) {
        case Interruption::Kind::stop:
            stop();
            break;
        case Interruption::Kind::abort:
            endAtOnce();
        case Interruption::Kind::suspend:
            setup_.view.leave();
            setup_.interruption.suspend();
            break;
        case Interruption::Kind::resize:
            break;
        }
    }
    refresh();
}

bool GetRun::hasWorkToSave() const {
    return std::ranges::any_of(running_, [](const Download* each) {
        return each->item->status() == DownloadStatus::downloading || each->item->isTorrent();
    });
}

void GetRun::stop() {
    if (stoppingSince_) {
        if (secondsBetween(*stoppingSince_, setup_.clock.now()) >= sameStopSeconds)
            endAtOnce();
        return;
    }
    stoppingSince_ = setup_.clock.now();
    if (!hasWorkToSave()) {
        // Servers may take as long as they like to answer, and there is nothing to save.
        tellEnd();
        ::_exit(ExitStatus::interrupted);
    }
    setup_.manager.pauseAll();
    setup_.view.stopping();
}

void GetRun::tellEnd() {
    for (const Download* each : running_)
        setup_.view.failed(labelOf(*each->item),
                           {.sentence = u"Stopped before the download began"_s, .interrupted = true});
    setup_.view.ended(totals(), {.interrupted = stoppingSince_ && counts_.completed < counts_.count,
                                 .resumable = resumable_,
                                 .state = setup_.state,
                                 .elapsed = secondsBetween(begun_, setup_.clock.now()),
                                 .bytes = bytes_});
}

void GetRun::endAtOnce() {
    setup_.view.leave();
    ::_exit(ExitStatus::interrupted);
}

} // namespace fetra::cli
