// What the engine makes of the server's answers: heads, data and ends of requests.

#include "segmented/HostLimits.h"
#include "segmented/RetryAfter.h"
#include "segmented/SegmentedDownload.h"
#include "system/PosixError.h"
#include "transfer/HTTPProbe.h"

#include <algorithm>
#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int noStatus = -1;
/// So much data in one run shows that the server serves: earlier failures of the segment are forgotten.
constexpr qint64 bytesThatClearRetries = 262'144;
constexpr double pauseAfterShedding = 1.0;

/// Whether the answer is one part of a file of `total` bytes and says that it begins at `start`.
bool isRangeFrom(const HTTPResponse& response, qint64 start, std::optional<qint64> total) {
    const std::optional<QString> value = response.headers.value("Content-Range");
    if (!value || response.mimeType == "multipart/byteranges"_L1 ||
        !value->trimmed().startsWith("bytes"_L1, Qt::CaseInsensitive))
        return false;
    if (HTTPProbe::contentRangeStart(*value) != start)
        return false;
    const std::optional<qint64> stated = HTTPProbe::contentRangeTotal(*value);
    return !stated || !total || *stated == *total;
}

} // namespace

Segment* SegmentedDownload::segmentOfLocked(const HTTPTask& task) const {
    const auto found = byTask_.find(task.identifier());
    return found == byTask_.end() ? nullptr : found->second;
}

HTTPDisposition SegmentedDownload::didReceiveResponse(HTTPTask& task, const HTTPResponse& response) {
    const std::lock_guard lock(mutex_);
    Segment* const segment = segmentOfLocked(task);
    if (!segment || finished_)
        return HTTPDisposition::cancel;
    segment->responseAt = services_.clock.now();
    return cfg_.ranged ? judgeRangedLocked(*segment, response) : judgeUnrangedLocked(*segment, response);
}

HTTPDisposition SegmentedDownload::judgeRangedLocked(Segment& segment, const HTTPResponse& response) {
    switch (response.status) {
    case 206:
        return judgePartialLocked(segment, response);
    case 200:
        return judgeFullBodyLocked(segment, response);
    default:
        return refuseLocked(segment, response);
    }
}

HTTPDisposition SegmentedDownload::judgePartialLocked(Segment& segment, const HTTPResponse& response) {
    if (!isRangeFrom(response, segment.current, total_))
        return refuseLocked(segment, response);
    if (isSameVersionLocked(segment, response))
        return HTTPDisposition::allow;
    // A server that names every answer differently can still be read in one stream, as long as nothing is
    // lost by it. A mirror is done without.
    if (received_ == 0 && segment.source == 0)
        return endLocked(DownloadError::rangeNotHonored());
    return refuseLocked(segment, response);
}

HTTPDisposition SegmentedDownload::judgeFullBodyLocked(Segment& segment, const HTTPResponse& response) {
    // Only the primary decides that there are no ranges.
    if (segment.source != 0)
        return refuseLocked(segment, response);
    const qint64 length = response.expectedLength;
    const bool fits = segment.isOpen() || length == segment.size();
    const bool untold = length < 0 && !segment.isOpen();
    // Held bytes are not given up for a body that may be anything: a record may still vouch for those that a
    // body of the right length has begun to replace.
    const bool alone = segments_.size() == 1 && (fits || (untold && received_ == 0 && !replacesHeld_));
    if (segment.start != 0 || !((alone || fits) && isSameVersionLocked(segment, response)))
        return endLocked(DownloadError::rangeNotHonored());
    replacesHeld_ = replacesHeld_ || received_ > 0;
    rewindLocked(segment);
    segment.fullBody = true;
    segment.unproven = untold;
    return HTTPDisposition::allow;
}

HTTPDisposition SegmentedDownload::judgeUnrangedLocked(Segment& segment, const HTTPResponse& response) {
    if (response.status < 200 || response.status > 299)
        return refuseLocked(segment, response);
    const qint64 length = response.expectedLength;
    const bool isOtherLength = length >= 0 && !segment.isOpen() && length != segment.size();
    // What the primary serves now is the file, whatever it named before. A mirror has shown only one version
    // to be the same.
    if (segment.source != 0 && (isOtherLength || !isSameVersionLocked(segment, response)))
        return refuseLocked(segment, response);
    // A range that nobody asked for is taken only when it is the whole file.
    if (response.status == 206) {
        const bool whole = length >= 0 && isRangeFrom(response, 0, total_) &&
                           HTTPProbe::contentRangeTotal(*response.headers.value("Content-Range")) == length;
        if (!whole)
            return refuseLocked(segment, response);
    }
    if (length < 0)
        return HTTPDisposition::allow;
    if (segment.isOpen()) {
        segment.end = segment.current + length - 1;
        total_ = segment.current + length;
    } else if (isOtherLength) {
        return endLocked(DownloadError::sizeMismatch(segment.size(), length));
    }
    return HTTPDisposition::allow;
}

bool SegmentedDownload::isSameVersionLocked(const Segment& segment, const HTTPResponse& response) {
    Validators& known = validators_[segment.source];
    const Validators seen = Validators::of(response);
    // A mirror is done without rather than believed without a word.
    if (segment.source != 0 && known != Validators() && !known.canBeCompared(seen))
        return false;
    return known.agree(seen);
}

HTTPDisposition SegmentedDownload::refuseLocked(Segment& segment, const HTTPResponse& response) {
    segment.lastStatus = response.status == 0 ? noStatus : response.status;
    if (const std::optional<QString> wait = response.headers.value("Retry-After"))
        segment.retryAfter = RetryAfter::seconds(*wait);
    return HTTPDisposition::cancel;
}

HTTPDisposition SegmentedDownload::endLocked(const DownloadError& error) {
    failLocked(error);
    return HTTPDisposition::cancel;
}

/// The segment begins again at its first byte.
void SegmentedDownload::rewindLocked(Segment& segment) {
    received_ -= segment.current - segment.start;
    segment.current = segment.start;
    segment.written = segment.start;
}

void SegmentedDownload::didReceiveData(HTTPTask& task, std::span<const char> data) {
    Segment* segment = nullptr;
    qint64 offset = 0;
    qint64 take = 0;
    bool wantsNoMore = false;
    {
        const std::lock_guard lock(mutex_);
        segment = segmentOfLocked(task);
        if (finished_ || !segment)
            return;
        const auto size = static_cast<qint64>(data.size());
        offset = segment->current;
        const bool carriesWholeFile =
            (!cfg_.ranged || segment->fullBody) && !segment->isOpen() && total_ == segment->end + 1;
        if (carriesWholeFile && size > segment->remaining()) {
            failLocked(DownloadError::sizeMismatch(*total_, offset + size));
            return;
        }
        if (segment->isComplete())
            return;
        take = segment->isOpen() ? size : std::min(size, segment->remaining());
        segment->current += take;
        segment->runBytes += take;
        segment->lastByteAt = services_.clock.now();
        received_ += take;
        // A whole file that begins anew each time gets no further by being long.
        const bool progresses = cfg_.ranged && !segment->fullBody;
        if (progresses && segment->retries > 0 && segment->runBytes >= bytesThatClearRetries)
            segment->retries = 0;
        // A body that is the whole file is read to its end: there may be more of it than there should be.
        wantsNoMore = segment->isComplete() && !carriesWholeFile;
    }
    try {
        sink_.write(data.first(static_cast<size_t>(take)), offset);
    } catch (const PosixError& error) {
        const std::lock_guard lock(mutex_);
        failLocked(DownloadError::io(error.description()));
        return;
    }
    segment->written.store(offset + take, std::memory_order_release);
    // The request of a segment that was split asks for more than the segment still wants.
    if (wantsNoMore)
        task.cancel();
}

void SegmentedDownload::didComplete(HTTPTask& task, const TransportError* error) {
    const std::lock_guard lock(mutex_);
    Segment* const segment = segmentOfLocked(task);
    if (!segment)
        return;
    byTask_.erase(task.identifier());
    segment->task.reset();
    releaseLaneLocked(*segment);
    const bool replaced = segment->replacing && segment->lastStatus == 0 && !segment->isComplete();
    segment->replacing = replaced;
    if (finished_) {
        if (byTask_.empty())
            ended_.notify_all();
        return;
    }
    if (segment->shedding) {
        segment->shedding = false;
        if (!segment->isComplete())
            segment->notBefore = services_.clock.now() + asDuration(pauseAfterShedding);
    } else if (replaced) {
        segment->source = (segment->source + 1) % cfg_.sources.size();
    } else if (!segment->isComplete()) {
        if (segment->unproven)
            rewindLocked(*segment);
        if (segment->isOpen() && !error && segment->lastStatus == 0) {
            segment->end = segment->current - 1;
            total_ = segment->current;
        } else if (!handleFailureLocked(*segment, error)) {
            return;
        }
    }
    fillLocked();
    if (freeLanes_.size() == lanes_.size() && allCompleteLocked())
        finishLocked();
}

} // namespace fetra
