// Which lane fetches what: idle lanes take what waits, or the tail of a running segment.

#include "segmented/SegmentedDownload.h"
#include "transfer/HTTPProbe.h"

#include <algorithm>

namespace fetra {

namespace {

/// From this many failures on a segment asks the address that was given, not the one that redirects led to.
constexpr qint64 retriesBeforeOriginal = 3;
/// A run younger than this has no rate of its own yet.
constexpr double shortestMeasuredRun = 1.0;

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

} // namespace fetra
