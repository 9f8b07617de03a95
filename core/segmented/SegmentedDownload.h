#pragma once

#include "http/HTTPSession.h"
#include "segmented/EngineServices.h"
#include "segmented/Segment.h"
#include "segmented/SegmentedConfig.h"
#include "segmented/SpeedMeter.h"
#include "system/SerialQueue.h"
#include "transfer/DownloadError.h"
#include "transfer/DownloadProgress.h"
#include "transfer/FileSink.h"
#include "transfer/Validators.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

namespace fetra {

/// Fetches one file over several ranged connections into one preallocated partial file: segments of the file
/// run on lanes, an idle lane takes over the tail of the slowest segment, failed requests are tried again,
/// and the number of lanes in use follows what the server bears. A server without ranges is the same with one
/// segment and one lane.
///
/// Three kinds of threads meet here. The thread in `run` waits, and does all that waits for the disk at the
/// end. The HTTP I/O threads bring the answers and write chunks, outside the lock and at disjoint offsets.
/// The ticker keeps house. The lock is never held across a write, a sync or a callback to the owner.
class SegmentedDownload final : public HTTPTaskDelegate {
public:
    using ProgressHandler = std::function<void(const DownloadProgress&)>;

    /// Neither opens sessions nor sends anything. `sink` is open; the engine closes it. `config` has at least
    /// one source, as many originals and validators, and options within their ranges.
    SegmentedDownload(SegmentedConfig config, FileSink& sink, ProgressHandler progress,
                      const EngineServices& services);
    ~SegmentedDownload() override;
    SegmentedDownload(const SegmentedDownload&) = delete;
    SegmentedDownload& operator=(const SegmentedDownload&) = delete;

    /// Blocks until every byte is in the file, or throws `DownloadError`. Called once. Whichever way it ends,
    /// no request and no callback is left, the file is flushed and closed, and the last resume record is
    /// saved.
    ///
    /// A finished run leaves a complete record where there was one before, so that a crash before the file
    /// has its final name costs no byte; the caller removes it together with the partial file's name.
    [[nodiscard]] SegmentedOutcome run();

    /// Makes `run` end with `DownloadError::cancelled`. Any thread, any time; never waits.
    void cancel();

    /// Whether a resume record is on its way to the disk; the other one returns when none is.
    [[nodiscard]] bool isSaving() const { return saving_; }
    void awaitSave() const { saving_.wait(true); }

    HTTPDisposition didReceiveResponse(HTTPTask& task, const HTTPResponse& response) override;
    void didReceiveData(HTTPTask& task, std::span<const char> data) override;
    void didComplete(HTTPTask& task, const TransportError* error) override;

private:
    /// How a request went: seconds until the answer, and bytes per second from then on.
    struct Pace {
        double wait = 0;
        double rate = 0;
    };
    struct Lane {
        std::unique_ptr<HTTPSession> session;
        /// Of the last run here that brought its segment to the end.
        std::optional<Pace> pace{};
    };
    struct Split {
        Segment& victim;
        /// Bytes that the victim keeps of what remains to it.
        qint64 keep;
    };

    // Plan and lanes
    void setupLocked();
    void buildSegmentsLocked();
    Segment& appendSegmentLocked(qint64 start, qint64 end, qint64 current);
    void fillLocked();
    [[nodiscard]] Segment* nextWaitingLocked(TimePoint now) const;
    [[nodiscard]] bool someWaitLocked() const;
    [[nodiscard]] std::optional<Split> pickVictimLocked(TimePoint now) const;
    void startLocked(Segment& segment);
    void replaceCrawlingLocked(TimePoint now);
    [[nodiscard]] std::optional<Pace> usualPaceLocked() const;
    void releaseLaneLocked(Segment& segment);
    [[nodiscard]] qsizetype runningLanesLocked() const;
    [[nodiscard]] bool allCompleteLocked() const;
    [[nodiscard]] DownloadProgress snapshotLocked(double speed) const;
    void finishLocked();
    [[nodiscard]] SegmentedOutcome endRun();
    [[nodiscard]] static DownloadError flushError();

    // Answers
    [[nodiscard]] Segment* segmentOfLocked(const HTTPTask& task) const;
    [[nodiscard]] HTTPDisposition judgeRangedLocked(Segment& segment, const HTTPResponse& response);
    [[nodiscard]] HTTPDisposition judgePartialLocked(Segment& segment, const HTTPResponse& response);
    [[nodiscard]] HTTPDisposition judgeFullBodyLocked(Segment& segment, const HTTPResponse& response);
    [[nodiscard]] HTTPDisposition judgeUnrangedLocked(Segment& segment, const HTTPResponse& response);
    [[nodiscard]] bool isSameVersionLocked(const Segment& segment, const HTTPResponse& response);
    [[nodiscard]] HTTPDisposition refuseLocked(Segment& segment, const HTTPResponse& response);
    [[nodiscard]] HTTPDisposition endLocked(const DownloadError& error);
    void rewindLocked(Segment& segment);

    // Failures and capacity
    [[nodiscard]] bool handleFailureLocked(Segment& segment, const TransportError* error);
    void lowerLimitLocked(qsizetype limit);
    void noteCapacityLocked(qsizetype streaming);
    void shedQueuedLocked(TimePoint now);
    [[nodiscard]] qsizetype streamingCountLocked() const;
    void startTimerLocked();
    void tick();
    void saveRecordLocked(TimePoint now);
    [[nodiscard]] std::optional<ResumeRecord> recordLocked() const;
    void failLocked(const DownloadError& error);

    const SegmentedConfig cfg_;
    FileSink& sink_;
    const ProgressHandler progress_;
    const EngineServices services_;

    /// Guards everything below but `ioQueue_`.
    std::mutex mutex_;
    /// Signalled when the run has ended and its last request has completed.
    std::condition_variable ended_;

    std::vector<Lane> lanes_;
    /// Numbers of idle lanes; the last one is taken first.
    std::vector<qsizetype> freeLanes_;
    /// How many lanes may run at once.
    qsizetype laneLimit_;
    /// In the order of creation.
    std::vector<std::unique_ptr<Segment>> segments_;
    /// The segment of every request that has not completed, by the task's identifier.
    std::unordered_map<quint64, Segment*> byTask_;
    qint64 nextId_ = 0;
    qsizetype sourceCursor_ = 0;
    /// For each source; answers must agree with them.
    QList<Validators> validators_;

    std::optional<qint64> total_;
    /// Bytes held in the file, those in it when the run began included: the sum of what the segments have
    /// received.
    qint64 received_ = 0;
    /// Whether bytes that a record may vouch for were given up for a body that has all of the file.
    bool replacesHeld_ = false;
    qint64 resumedBytes_ = 0;
    qsizetype peak_ = 0;
    SpeedMeter meter_;

    bool finished_ = false;
    std::optional<DownloadError> failure_;

    std::optional<TickSource::Token> timer_;
    TimePoint lastSave_;
    /// What the sidecar holds or is about to hold.
    std::optional<ResumeRecord> lastRecord_;
    TimePoint lastThrottle_ = distantPast;
    bool sawCapacityLimit_ = false;

    /// A save is queued or under way; a slow disk gets no second one.
    std::atomic<bool> saving_{false};
    /// Flushing, closing and sidecar writes. Declared last: its destructor waits for work that uses the rest.
    SerialQueue ioQueue_{"fetra.io"};
};

} // namespace fetra
