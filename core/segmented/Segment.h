#pragma once

#include "http/HTTPSession.h"
#include "segmented/SpeedMeter.h"
#include "system/Clock.h"

#include <QtGlobal>

#include <atomic>
#include <limits>
#include <memory>
#include <optional>

namespace fetra {

/// One byte range of a transfer, fetched by at most one request at a time. Everything but `written` is
/// guarded by the engine's lock.
struct Segment {
    /// The end of a range that runs to the end of a body of unknown size.
    static constexpr qint64 openEnd = std::numeric_limits<qint64>::max();

    Segment(qint64 number, qint64 first, qint64 last, qint64 next, qsizetype fromSource, TimePoint now)
        : id(number)
        , start(first)
        , end(last)
        , current(next)
        , written(next)
        , requestedEnd(last)
        , source(fromSource)
        , startedAt(now)
        , meter(SpeedMeter::engineAlpha, 0, now) {}

    const qint64 id;
    const qint64 start;
    /// The last byte, inclusive. Lowered when the segment is split.
    qint64 end;
    /// The next byte to receive. Moves before the bytes are written, so that nobody else takes them.
    qint64 current;
    /// Everything from `start` up to here lies in the file. Follows `current` when a write has returned;
    /// resume records are built from this one.
    std::atomic<qint64> written;
    /// The `end` that the present request asked for.
    qint64 requestedEnd;
    qsizetype source;
    /// Present exactly while a request runs, as `task` is.
    std::optional<qsizetype> lane{};
    std::shared_ptr<HTTPTask> task{};
    /// Failed attempts since the last good stretch of data.
    qint64 retries = 0;
    /// Not to be started again before this time.
    TimePoint notBefore = distantPast;

    // Of the present or last run:
    /// Status of a refused response; 0 none, -1 a response without a status.
    int lastStatus = 0;
    /// Seconds that the refusing server asked us to wait.
    double retryAfter = 0;
    /// A request for a range was answered with the whole file.
    bool fullBody = false;
    /// That answer named no length, so only its end will show whether it is the file.
    bool unproven = false;
    qint64 runBytes = 0;
    TimePoint startedAt;
    std::optional<TimePoint> responseAt{};
    /// The run was cancelled because its server kept it waiting.
    bool shedding = false;
    /// Fed on every tick.
    SpeedMeter meter;
    /// The run was cancelled because another connection would be far quicker. Set until that one starts.
    bool replacing = false;
    TimePoint replacedAt = distantPast;
    /// Of this run and of those that it has replaced, or when the first of them was issued.
    TimePoint lastByteAt = distantPast;

    [[nodiscard]] bool isOpen() const { return end == openEnd; }
    [[nodiscard]] bool isComplete() const { return current > end; }
    [[nodiscard]] bool isStreaming() const { return task && responseAt; }
    [[nodiscard]] qint64 size() const { return end - start + 1; }
    [[nodiscard]] qint64 remaining() const { return end - current + 1; }
};

} // namespace fetra
