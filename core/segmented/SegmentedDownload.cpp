#include "segmented/SegmentedDownload.h"

#include "segmented/HostLimits.h"

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr double laneResourceTimeout = 604'800.0;
constexpr int connectionsPerLane = 2;

} // namespace

DownloadError SegmentedDownload::flushError() {
    return DownloadError::io(u"could not flush downloaded data to disk"_s);
}

SegmentedDownload::SegmentedDownload(SegmentedConfig config, FileSink& sink, ProgressHandler progress,
                                     const EngineServices& services)
    : cfg_(std::move(config))
    , sink_(sink)
    , progress_(std::move(progress))
    , services_(services)
    , laneLimit_(cfg_.ranged ? cfg_.options.connections : 1)
    , validators_(cfg_.validators)
    , total_(cfg_.total)
    , meter_(SpeedMeter::engineAlpha, 0, services_.clock.now())
    , lastSave_(services_.clock.now()) {}

SegmentedDownload::~SegmentedDownload() = default;

SegmentedOutcome SegmentedDownload::run() {
    {
        std::unique_lock lock(mutex_);
        if (!finished_)
            setupLocked();
        ended_.wait(lock, [this] { return finished_ && byTask_.empty(); });
    }
    // From here on no request is left, so no writer is inside the sink and `written` has caught up with
    // `current`.
    if (timer_)
        services_.ticker.remove(*timer_);
    return endRun();
}

/// Nothing changes the engine's state any more, so it is read without the lock: a late `cancel` need not wait
/// for the disk.
SegmentedOutcome SegmentedDownload::endRun() {
    const std::optional<ResumeRecord> record = recordLocked();
    // A run too short for a record of its own needs none to mark its end either.
    const bool worthSaving = record && (failure_ || lastRecord_ || cfg_.resumeSegments);
    bool flushed = false;
    ioQueue_.sync([&] {
        if (sink_.isClosed())
            return;
        flushed = sink_.flush(true);
        if (flushed && worthSaving)
            ResumeStore::save(*record, cfg_.sidecarPath);
        sink_.close();
    });
    for (const Lane& lane : lanes_) {
        if (failure_)
            lane.session->invalidateAndCancel();
        else
            lane.session->finishTasksAndInvalidate();
    }
    if (failure_)
        throw DownloadError(*failure_);
    if (!flushed)
        throw flushError();
    if (progress_)
        progress_(snapshotLocked(meter_.rate()));
    return {.totalWritten = received_,
            .resumedBytes = resumedBytes_,
            .finalSize = total_.value_or(received_),
            .peakConnections = peak_};
}

void SegmentedDownload::cancel() {
    const std::lock_guard lock(mutex_);
    failLocked(DownloadError::cancelled());
}

void SegmentedDownload::setupLocked() {
    const TimePoint now = services_.clock.now();
    const qsizetype count = cfg_.ranged ? cfg_.options.connections : 1;
    for (qsizetype lane = 0; lane < count; ++lane) {
        lanes_.push_back({.session = services_.http.makeSession({.resourceTimeout = laneResourceTimeout,
                                                                 .maxConnectionsPerHost = connectionsPerLane,
                                                                 .secretsHome = cfg_.originals.front()})});
        freeLanes_.push_back(count - 1 - lane);
    }
    if (const QString host = cfg_.sources.front().host(); cfg_.ranged && !host.isEmpty()) {
        if (const std::optional<qint64> remembered = HostLimits::get(host)) {
            laneLimit_ = std::max<qsizetype>(std::min<qsizetype>(*remembered, laneLimit_), 1);
            lastThrottle_ = now;
        }
    }
    buildSegmentsLocked();
    for (const std::unique_ptr<Segment>& segment : segments_)
        received_ += segment->current - segment->start;
    resumedBytes_ = received_;
    meter_ = SpeedMeter(SpeedMeter::engineAlpha, received_, now);

    if (allCompleteLocked()) {
        finishLocked();
        return;
    }
    fillLocked();
    startTimerLocked();
}

void SegmentedDownload::buildSegmentsLocked() {
    if (cfg_.resumeSegments && !cfg_.resumeSegments->isEmpty()) {
        QList<ResumeRecord::Seg> segments = *cfg_.resumeSegments;
        std::ranges::sort(segments, {}, &ResumeRecord::Seg::start);
        for (const ResumeRecord::Seg& segment : segments)
            appendSegmentLocked(segment.start, segment.end, segment.current);
        return;
    }
    if (!total_) {
        appendSegmentLocked(0, Segment::openEnd, 0);
        return;
    }
    const qint64 total = *total_;
    if (total == 0)
        return;
    qint64 count = 1;
    if (cfg_.ranged) {
        const qint64 minimum = cfg_.options.minSegmentSize;
        const qint64 needed = total / minimum + (total % minimum != 0 ? 1 : 0);
        count = std::max<qint64>(std::min(needed, cfg_.options.connections), 1);
    }
    const qint64 chunk = total / count;
    for (qint64 i = 0; i < count; ++i) {
        const qint64 end = i == count - 1 ? total - 1 : (i + 1) * chunk - 1;
        appendSegmentLocked(i * chunk, end, i * chunk);
    }
}

Segment& SegmentedDownload::appendSegmentLocked(qint64 start, qint64 end, qint64 current) {
    const qsizetype source = sourceCursor_++ % cfg_.sources.size();
    segments_.push_back(
        std::make_unique<Segment>(nextId_++, start, end, current, source, services_.clock.now()));
    return *segments_.back();
}

qsizetype SegmentedDownload::runningLanesLocked() const {
    return static_cast<qsizetype>(lanes_.size() - freeLanes_.size());
}

bool SegmentedDownload::allCompleteLocked() const {
    return std::ranges::all_of(segments_, [](const auto& segment) { return segment->isComplete(); });
}

DownloadProgress SegmentedDownload::snapshotLocked(double speed) const {
    DownloadProgress progress;
    progress.totalBytes = total_;
    progress.receivedBytes = received_;
    progress.bytesPerSecond = speed;
    progress.connectionLimit = laneLimit_;
    progress.segments.reserve(static_cast<qsizetype>(segments_.size()));
    for (const std::unique_ptr<Segment>& segment : segments_) {
        const bool active = segment->task != nullptr;
        progress.activeConnections += active ? 1 : 0;
        progress.segments.append({.start = segment->start,
                                  .end = segment->isOpen() ? -1 : segment->end,
                                  .current = segment->current,
                                  .active = active,
                                  .source = segment->source});
    }
    return progress;
}

/// The end is only marked here; the thread in `run` carries it out.
void SegmentedDownload::finishLocked() {
    if (finished_)
        return;
    finished_ = true;
    if (const QString host = cfg_.sources.front().host(); !sawCapacityLimit_ && !host.isEmpty())
        HostLimits::forget(host);
    ended_.notify_all();
}

} // namespace fetra
