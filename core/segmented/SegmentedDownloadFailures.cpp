// How the engine copes: failed requests, servers at their limit, the tick, and the end by failure.

#include "segmented/HostLimits.h"
#include "segmented/Median.h"
#include "segmented/SegmentedDownload.h"
#include "system/Log.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr double backOffBase = 0.4;
constexpr double backOffCap = 8.0;
constexpr double jitterLow = 0.8;
constexpr double jitterHigh = 1.2;
constexpr double pauseAtCapacity = 1.0;
/// A connection is taken for queued by its server when it has waited this many times the usual time to the
/// first answer.
constexpr double sheddingFactor = 8.0;
constexpr double sheddingFloor = 4.0;
/// After so long without trouble one more connection is tried.
constexpr double calmBeforeRaising = 15.0;
constexpr double saveInterval = 1.0;
constexpr int lockAttempts = 50;

bool isCapacityStatus(int status) {
    return status == 503 || status == 429;
}

double backOff(qint64 retries) {
    return std::min(backOffBase * std::exp2(static_cast<double>(retries - 1)), backOffCap);
}

} // namespace

/// Answers whether the segment will be tried again; otherwise the whole run has failed.
bool SegmentedDownload::handleFailureLocked(Segment& segment, const TransportError* error) {
    const TimePoint now = services_.clock.now();
    const qsizetype streaming = streamingCountLocked();
    const bool unanswered = error && error->code() == TransportError::timedOut && !segment.responseAt;
    if (unanswered && cfg_.ranged && streaming > 0) {
        noteCapacityLocked(streaming);
        segment.notBefore = now + asDuration(pauseAtCapacity);
        return true;
    }

    ++segment.retries;
    const int status = segment.lastStatus;
    if (segment.retries > cfg_.options.maxRetries) {
        QString reason = u"connection closed early"_s;
        if (status >= 1)
            reason = u"HTTP "_s + QString::number(status);
        else if (error)
            reason = error->description();
        failLocked(DownloadError::exhaustedRetries(reason));
        return false;
    }
    if (isCapacityStatus(status))
        lowerLimitLocked(std::min(laneLimit_, runningLanesLocked() + 1) - 1);
    if (!cfg_.ranged) {
        rewindLocked(segment);
        // The next answer may be of another length, as long as the size was never promised.
        if (!cfg_.total) {
            segment.end = Segment::openEnd;
            total_.reset();
        }
    }
    const double delay = std::max(segment.retryAfter,
                                  backOff(segment.retries) * services_.random.uniform(jitterLow, jitterHigh));
    segment.notBefore = now + asDuration(delay);
    if (cfg_.sources.size() > 1)
        segment.source = (segment.source + 1) % cfg_.sources.size();
    Log::debug([&] {
        return u"segment %1 retry %2 status %3 %4"_s.arg(
            QString::number(segment.id), QString::number(segment.retries), QString::number(status),
            error ? error->description() : QString());
    });
    return true;
}

void SegmentedDownload::lowerLimitLocked(qsizetype limit) {
    laneLimit_ = std::max<qsizetype>(limit, 1);
    lastThrottle_ = services_.clock.now();
    sawCapacityLimit_ = true;
    if (const QString host = cfg_.sources.front().host(); !host.isEmpty())
        HostLimits::set(host, laneLimit_);
}

void SegmentedDownload::noteCapacityLocked(qsizetype streaming) {
    lowerLimitLocked(std::min(streaming, laneLimit_));
}

qsizetype SegmentedDownload::streamingCountLocked() const {
    return std::ranges::count_if(segments_, [](const auto& segment) { return segment->isStreaming(); });
}

/// Some servers neither answer nor refuse a connection too many. What has waited far longer than the others
/// took to be answered is given up for now.
void SegmentedDownload::shedQueuedLocked(TimePoint now) {
    if (!cfg_.ranged)
        return;
    std::vector<double> waits;
    for (const std::unique_ptr<Segment>& segment : segments_) {
        if (segment->isStreaming())
            waits.push_back(secondsBetween(segment->startedAt, *segment->responseAt));
    }
    if (waits.empty())
        return;
    const double threshold = std::max(median(waits) * sheddingFactor, sheddingFloor);

    int shed = 0;
    for (const std::unique_ptr<Segment>& segment : segments_) {
        const bool unanswered = segment->task && !segment->responseAt && !segment->shedding;
        if (!unanswered || secondsBetween(segment->startedAt, now) <= threshold)
            continue;
        segment->shedding = true;
        segment->task->cancel();
        ++shed;
    }
    if (shed == 0)
        return;
    noteCapacityLocked(static_cast<qsizetype>(waits.size()));
    Log::debug([&] {
        return u"server queued %1 connection(s); holding at %2"_s.arg(QString::number(shed),
                                                                      QString::number(laneLimit_));
    });
}

void SegmentedDownload::startTimerLocked() {
    timer_ = services_.ticker.add([this] { tick(); });
}

void SegmentedDownload::tick() {
    std::unique_lock lock(mutex_, std::try_to_lock);
    // Whoever has the lock gives it back at once; a tick that still cannot get it leaves its work to the next
    // one, since other engines are waiting for theirs.
    for (int attempt = 0; !lock && attempt < lockAttempts; ++attempt) {
        std::this_thread::yield();
        lock.try_lock();
    }
    if (!lock || finished_)
        return;
    const TimePoint now = services_.clock.now();
    const double speed = meter_.sample(received_, now);
    shedQueuedLocked(now);
    const bool belowLanes = laneLimit_ < static_cast<qsizetype>(lanes_.size());
    if (belowLanes && secondsBetween(lastThrottle_, now) > calmBeforeRaising) {
        ++laneLimit_;
        lastThrottle_ = now;
    }
    fillLocked();
    replaceCrawlingLocked(now);
    saveRecordLocked(now);
    if (!progress_)
        return;
    const DownloadProgress snapshot = snapshotLocked(speed);
    lock.unlock();
    progress_(snapshot);
}

void SegmentedDownload::saveRecordLocked(TimePoint now) {
    if (secondsBetween(lastSave_, now) < saveInterval || saving_)
        return;
    std::optional<ResumeRecord> record = recordLocked();
    if (!record || record == lastRecord_)
        return;
    lastSave_ = now;
    lastRecord_ = record;
    saving_ = true;
    ioQueue_.async([this, saved = *std::move(record)] {
        // The record was taken before this sync begins, so all that it claims is on disk when the sync has
        // succeeded.
        if (sink_.flush(false)) {
            ResumeStore::save(saved, cfg_.sidecarPath);
        } else {
            // What the system could not write it drops, and says so once. Only the last record can be trusted
            // now.
            const std::lock_guard lock(mutex_);
            failLocked(flushError());
        }
        saving_ = false;
        saving_.notify_all();
    });
}

/// What a later run can rely on: bytes whose writes have returned. Nothing for a run that cannot be resumed.
std::optional<ResumeRecord> SegmentedDownload::recordLocked() const {
    if (!cfg_.ranged || !cfg_.options.resume || !total_ || segments_.empty())
        return std::nullopt;
    ResumeRecord record;
    record.url = cfg_.recordURL;
    record.totalSize = *total_;
    record.etag = cfg_.validators.front().etag;
    record.lastModified = cfg_.validators.front().lastModified;
    record.segments.reserve(static_cast<qsizetype>(segments_.size()));
    const bool succeeded = finished_ && !failure_;
    for (const std::unique_ptr<Segment>& segment : segments_) {
        const bool counts = succeeded || !segment->unproven;
        record.segments.append(
            {.start = segment->start,
             .end = segment->end,
             .current = counts ? segment->written.load(std::memory_order_acquire) : segment->start});
    }
    return record;
}

/// The end is only marked here, and the requests are told; the thread in `run` carries it out.
void SegmentedDownload::failLocked(const DownloadError& error) {
    if (finished_)
        return;
    finished_ = true;
    failure_ = error;
    for (const std::unique_ptr<Segment>& segment : segments_) {
        if (segment->task)
            segment->task->cancel();
    }
    ended_.notify_all();
}

} // namespace fetra
