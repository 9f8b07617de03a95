// Which lane fetches what: idle lanes take what waits, or the tail of a running segment, or all that a
// crawling connection still has before it.

#include "segmented/Median.h"
#include "segmented/SegmentedDownload.h"
#include "system/Log.h"
#include "transfer/HTTPProbe.h"

#include <algorithm>
#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// From this many failures on a segment asks the address that was given, not the one that redirects led to.
constexpr qint64 retriesBeforeOriginal = 3;
/// A run younger than this has no rate of its own yet.
constexpr double shortestMeasuredRun = 1.0;

// When a connection crawls:
/// Seconds that a run is given before it is judged.
constexpr double shortestJudgedRun = 1.5;
/// It is replaced when it needs this many times as long as a fresh connection would.
constexpr double crawlingFactor = 4.0;
/// Seconds that setting up a connection is taken to cost at least.
constexpr double shortestSetUp = 0.1;
/// Seconds between two replacements of one segment.
constexpr double replacementInterval = 5.0;
/// The part of the request's time-out for which silent connections are replaced by others. Then it decides.
constexpr double silenceThatIsReplaced = 0.5;
/// A run of fewer bytes, where segments are not even smaller, says nothing about the pace of connections.
constexpr qint64 fewestMeasuredBytes = 262'144;

} // namespace

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
        if (someWaitLocked())
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

bool SegmentedDownload::someWaitLocked() const {
    return std::ranges::any_of(segments_,
                               [](const auto& segment) { return !segment->isComplete() && !segment->lane; });
}

/// The running segment that would end last gives up its tail. It keeps a share of what remains that is
/// proportional to its own speed against that of an average lane, so that both parts end together; neither
/// gets less than the smallest segment.
std::optional<SegmentedDownload::Split> SegmentedDownload::pickVictimLocked(TimePoint now) const {
    const auto isCandidate = [](const auto& segment) {
        return segment->task && !segment->isOpen() && !segment->isComplete() && !segment->unproven;
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
    const TimePoint now = services_.clock.now();
    if (!std::exchange(segment.replacing, false))
        segment.lastByteAt = now;
    // A server that has fallen silent gets no more time by having its connections replaced.
    request.timeout -=
        std::min(secondsBetween(segment.lastByteAt, now), request.timeout * silenceThatIsReplaced);
    segment.task = lanes_[static_cast<size_t>(lane)].session->dataTask(request, *this);
    segment.requestedEnd = segment.end;
    segment.lastStatus = 0;
    segment.retryAfter = 0;
    segment.fullBody = false;
    segment.unproven = false;
    segment.runBytes = 0;
    segment.startedAt = now;
    segment.meter = SpeedMeter(SpeedMeter::engineAlpha, 0, now);
    segment.responseAt.reset();
    segment.shedding = false;
    byTask_.emplace(segment.task->identifier(), &segment);
    peak_ = std::max(peak_, runningLanesLocked());
    segment.task->resume();
}

/// A split leaves no less than the smallest segment to a connection, which may take long over it, so when
/// there is nothing left to split, idle lanes take over from connections that crawl. Such a run is cancelled
/// without counting as a failure, and what is left of its segment starts on another lane at once, from the
/// next source where there are several.
void SegmentedDownload::replaceCrawlingLocked(TimePoint now) {
    for (const std::unique_ptr<Segment>& segment : segments_) {
        if (segment->task)
            segment->meter.sample(segment->runBytes, now);
    }
    if (!cfg_.ranged || someWaitLocked())
        return;
    auto idle =
        std::min<qsizetype>(static_cast<qsizetype>(freeLanes_.size()), laneLimit_ - runningLanesLocked());
    if (idle <= 0)
        return;
    const std::optional<Pace> usual = usualPaceLocked();
    if (!usual)
        return;
    for (const std::unique_ptr<Segment>& segment : segments_) {
        const bool canBeJudged = segment->task && !segment->isComplete() && !segment->isOpen() &&
                                 !segment->fullBody && !segment->shedding && !segment->replacing &&
                                 secondsBetween(segment->startedAt, now) > shortestJudgedRun;
        if (!canBeJudged)
            continue;
        if (secondsBetween(segment->replacedAt, now) < replacementInterval ||
            secondsBetween(segment->lastByteAt, now) > cfg_.options.requestTimeout * silenceThatIsReplaced)
            continue;
        const auto left = static_cast<double>(segment->remaining());
        const double fresh = std::max(usual->wait, shortestSetUp) + left / usual->rate;
        if (left <= segment->meter.rate() * crawlingFactor * fresh)
            continue;
        segment->replacing = true;
        segment->replacedAt = now;
        segment->task->cancel();
        Log::debug([&] { return u"segment %1 crawls; another connection takes over"_s.arg(segment->id); });
        if (--idle == 0)
            return;
    }
}

/// Of the lanes that have brought a segment to its end, and of those that have run long enough to be judged.
/// Medians, so a server that is slow on most connections is the usual.
std::optional<SegmentedDownload::Pace> SegmentedDownload::usualPaceLocked() const {
    const TimePoint now = services_.clock.now();
    std::vector<double> waits;
    std::vector<double> rates;
    for (const Lane& lane : lanes_) {
        if (!lane.pace)
            continue;
        waits.push_back(lane.pace->wait);
        rates.push_back(lane.pace->rate);
    }
    for (const std::unique_ptr<Segment>& segment : segments_) {
        if (segment->isStreaming() && secondsBetween(segment->startedAt, now) > shortestJudgedRun) {
            waits.push_back(secondsBetween(segment->startedAt, *segment->responseAt));
            rates.push_back(segment->meter.rate());
        }
    }
    if (rates.empty())
        return std::nullopt;
    const Pace usual{.wait = median(waits), .rate = median(rates)};
    return usual.rate > 0 ? std::optional(usual) : std::nullopt;
}

void SegmentedDownload::releaseLaneLocked(Segment& segment) {
    const qsizetype lane = *segment.lane;
    segment.lane.reset();
    const TimePoint now = services_.clock.now();
    const qint64 fewest = std::min(fewestMeasuredBytes, cfg_.options.minSegmentSize);
    if (segment.isComplete() && segment.responseAt && *segment.responseAt < now &&
        segment.runBytes >= fewest) {
        lanes_[static_cast<size_t>(lane)].pace = {
            .wait = secondsBetween(segment.startedAt, *segment.responseAt),
            .rate = static_cast<double>(segment.runBytes) / secondsBetween(*segment.responseAt, now)};
    }
    // The next start takes the last one. A replaced run goes on elsewhere.
    if (segment.replacing)
        freeLanes_.insert(freeLanes_.begin(), lane);
    else
        freeLanes_.push_back(lane);
}

} // namespace fetra
