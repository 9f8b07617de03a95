#include "segmented/SegmentedDownload.h"

#include "segmented/HostLimits.h"
#include "transfer/HTTPProbe.h"

#include <algorithm>
#include <cmath>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr double laneResourceTimeout = 604'800.0;
constexpr int connectionsPerLane = 2;
/// From this many failures on a segment asks the address that was given, not the one that redirects led to.
constexpr qint64 retriesBeforeOriginal = 3;
/// A run younger than this has no rate of its own yet.
constexpr double shortestMeasuredRun = 1.0;

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
    for (const std::unique_ptr<HTTPSession>& lane : lanes_) {
        if (failure_)
            lane->invalidateAndCancel();
        else
            lane->finishTasksAndInvalidate();
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
        lanes_.push_back(services_.http.makeSession({.resourceTimeout = laneResourceTimeout,
                                                     .maxConnectionsPerHost = connectionsPerLane,
                                                     .secretsHome = cfg_.originals.front()}));
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

void SegmentedDownload::fillLocked() {
    if (finished_)
        return;
    const TimePoint now = services_.clock.now();
    while (!freeLanes_.empty() && runningLanesLocked() < laneLimit_) {
        if (Segment* const waiting = nextWaitingLocked(now)) {
            startLocked(*waiting);
            continue;
        }
        if (!cfg_.ranged || !cfg_.options.dynamicSplit)
            return;
        // A segment that waits out its back-off gets the lane, not a split.
        const bool someWait = std::ranges::any_of(
            segments_, [](const auto& segment) { return !segment->isComplete() && !segment->lane; });
        if (someWait)
            return;
        const std::optional<Split> split = pickVictimLocked(now);
        if (!split)
            return;
        const qint64 cut = split->victim.current + split->keep;
        const qint64 end = split->victim.end;
        split->victim.end = cut - 1;
        startLocked(appendSegmentLocked(cut, end, cut));
    }
}

Segment* SegmentedDownload::nextWaitingLocked(TimePoint now) const {
    const auto found = std::ranges::find_if(segments_, [now](const auto& segment) {
        return !segment->isComplete() && !segment->lane && segment->notBefore <= now;
    });
    return found == segments_.end() ? nullptr : found->get();
}

/// The running segment that would end last gives up its tail. It keeps a share of what remains that is
/// proportional to its own speed against that of an average lane, so that both parts end together; neither
/// gets less than the smallest segment.
std::optional<SegmentedDownload::Split> SegmentedDownload::pickVictimLocked(TimePoint now) const {
    const auto isCandidate = [](const auto& segment) {
        return segment->task && !segment->isOpen() && !segment->isComplete();
    };
    const auto candidates = std::ranges::count_if(segments_, isCandidate);
    if (candidates == 0)
        return std::nullopt;
    const double laneRate = std::max(1.0, meter_.rate() / static_cast<double>(candidates));
    const qint64 minimum = cfg_.options.minSegmentSize;

    Segment* victim = nullptr;
    double victimRate = 0;
    double bestScore = -1;
    for (const std::unique_ptr<Segment>& segment : segments_) {
        if (!isCandidate(segment) || segment->remaining() / 2 < minimum)
            continue;
        const double age = secondsBetween(segment->startedAt, now);
        const bool measured = age >= shortestMeasuredRun && segment->runBytes > 0;
        const double rate = measured ? static_cast<double>(segment->runBytes) / age : laneRate;
        const double left = static_cast<double>(segment->remaining());
        const double score = rate > 1.0 ? left / rate : left;
        if (score > bestScore) {
            bestScore = score;
            victim = segment.get();
            victimRate = std::max(1.0, rate);
        }
    }
    if (!victim)
        return std::nullopt;
    const qint64 remaining = victim->remaining();
    const double share = victimRate / (laneRate + victimRate) * static_cast<double>(remaining);
    const qint64 keep = std::min(remaining - minimum, std::max(minimum, static_cast<qint64>(share)));
    return Split{.victim = *victim, .keep = keep};
}

void SegmentedDownload::startLocked(Segment& segment) {
    const qsizetype lane = freeLanes_.back();
    freeLanes_.pop_back();
    segment.lane = lane;

    const QList<QUrl>& addresses = segment.retries < retriesBeforeOriginal ? cfg_.sources : cfg_.originals;
    HTTPRequest request = HTTPProbe::request(addresses[segment.source], cfg_.options);
    if (cfg_.ranged) {
        const std::optional<qint64> last = segment.isOpen() ? std::nullopt : std::optional(segment.end);
        request.headers.set("Range", HTTPProbe::rangeValue(segment.current, last));
    }
    segment.task = lanes_[static_cast<size_t>(lane)]->dataTask(request, *this);
    segment.requestedEnd = segment.end;
    segment.lastStatus = 0;
    segment.retryAfter = 0;
    segment.fullBody = false;
    segment.runBytes = 0;
    segment.startedAt = services_.clock.now();
    segment.responseAt.reset();
    segment.shedding = false;
    byTask_.emplace(segment.task->identifier(), &segment);
    peak_ = std::max(peak_, runningLanesLocked());
    segment.task->resume();
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
