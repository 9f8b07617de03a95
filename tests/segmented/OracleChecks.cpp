// What must hold during a random run and after it.

#include "OracleRun.h"

#include <algorithm>

namespace fetra::test {

/// Nothing is asked for that is held.
void OracleRun::checkRequest(const FakeTask& task) {
    note([&] { return nameOf(task) + " leaves"; });
    if (task.range().isEmpty() == config_.ranged)
        file_.complain("a range where there are none, or none where there are");
    if (!config_.ranged)
        return;
    const OracleFile::Bytes held = file_.held();
    const qint64 last = task.last().value_or(total_ - 1);
    // Only who does not know the size can ask for what follows the file.
    if ((task.last() && task.first() > last) || last >= total_)
        file_.complain("a request outside the file");
    for (qint64 i = task.first(); i <= last && i < total_; ++i) {
        if (held[static_cast<size_t>(i)])
            return file_.complain("a request for byte " + std::to_string(i) + ", which is held");
    }
}

/// The segments tile the file, and what they have received is what has been taken.
void OracleRun::checkProgress(const DownloadProgress& progress) {
    const std::lock_guard lock(progressMutex_);
    ++progressCount_;
    const OracleFile::Bytes held = file_.held();
    std::vector<SegmentSnapshot> segments(progress.segments.begin(), progress.segments.end());
    std::ranges::sort(segments, {}, &SegmentSnapshot::start);
    qint64 next = 0;
    qint64 received = 0;
    qint64 active = 0;
    for (const SegmentSnapshot& segment : segments) {
        const bool open = segment.end == -1 && segment.current < total_ + 1 && !progress.totalBytes;
        const qint64 end = open ? total_ - 1 : segment.end;
        if (segment.start != next || segment.current < segment.start || segment.current > end + 1)
            return file_.complain("segments that do not tile the file");
        for (qint64 i = segment.start; i < segment.current; ++i) {
            if (!held[static_cast<size_t>(i)])
                return file_.complain("byte " + std::to_string(i) + " counted, but not received");
        }
        next = end + 1;
        received += segment.current - segment.start;
        active += segment.active ? 1 : 0;
    }
    if (next != total_ || progress.totalBytes.value_or(total_) != total_)
        file_.complain("segments that do not reach the end of the file");
    if (received != progress.receivedBytes || received != static_cast<qint64>(held.count()))
        file_.complain("received says " + std::to_string(progress.receivedBytes) + " bytes of " +
                       std::to_string(held.count()));
    if (active != progress.activeConnections || active > config_.options.connections)
        file_.complain("more connections than allowed");
    if (progress_) {
        splits_ += progress.segments.size() - progress_->segments.size();
        raises_ += progress.connectionLimit > progress_->connectionLimit ? 1 : 0;
    }
    progress_ = progress;
}

void OracleRun::conclude() {
    file_.end();
    file_.midWrite = nullptr;
    if (!http_.live().empty() || ticker_.size() != 0 || !sink_.isClosed())
        file_.complain("something goes on after the end");
    if (file_.dataFaults() > 0 && !error_)
        file_.complain("a finished run on a failed disk");
    if (cancelledInTime_ && !error_)
        file_.complain("a cancelled run that finished");
    if (error_)
        checkError(*error_);
    else
        checkOutcome(*outcome_);
    count("splits", splits_);
    count("limits raised", raises_);
    count("records", file_.recordCount());
    count("write faults", file_.faults(OracleFile::Fault::write));
    count("sync faults", file_.faults(OracleFile::Fault::sync));
    count("sidecar faults", file_.sidecarFaults());
}

void OracleRun::checkOutcome(const SegmentedOutcome& outcome) {
    note([] { return "finished"; });
    count("finishes");
    count("resumed finishes", heldBefore_.any() ? 1 : 0);
    file_.checkWhole();
    if (outcome.totalWritten != total_ || outcome.finalSize != total_ ||
        outcome.resumedBytes != static_cast<qint64>(heldBefore_.count()) ||
        outcome.peakConnections > config_.options.connections)
        file_.complain("an outcome with wrong figures");
    if (!progress_ || progress_->receivedBytes != total_ || progress_->activeConnections != 0)
        file_.complain("a last snapshot that does not show the whole file");
    const std::optional<ResumeRecord> record = ResumeStore::load(world_.sidecar);
    if (record && file_.sidecarFaults() == 0 && !record->isComplete())
        file_.complain("a finished run left a record of an unfinished one");
}

/// No run ends without its cause, and none that can be gone on with forgets a byte.
void OracleRun::checkError(const DownloadError& error) {
    note([&] { return "ended: " + error.errorDescription().toStdString(); });
    const auto expect = [&](std::string_view event, bool explained) {
        count(event);
        if (!explained)
            file_.complain("ended without a cause: " + error.errorDescription().toStdString());
    };
    if (error.is<DownloadError::Cancelled>())
        expect("cancelled", cancelled_);
    else if (error.is<DownloadError::Io>())
        expect("I/O errors", file_.dataFaults() > 0);
    else if (error.is<DownloadError::ExhaustedRetries>())
        expect("exhausted", failures_ > config_.options.maxRetries);
    else if (error.is<DownloadError::RangeNotHonored>())
        expect("ranges not honoured", saidFullBody_ || primarySaidOtherVersion_);
    else
        expect("size mismatches", error.is<DownloadError::SizeMismatch>() && saidOtherSize_);

    const std::optional<ResumeRecord> record = ResumeStore::load(world_.sidecar);
    if (record && !isRecordable())
        file_.complain("a record of a run that cannot be resumed");
    const OracleFile::Bytes claimed = record ? file_.check(*record) : OracleFile::Bytes();
    const bool saved = file_.sidecarFaults() == 0 && file_.faults(OracleFile::Fault::sync) == 0;
    if (isRecordable() && saved && claimed != file_.held())
        file_.complain("the last record does not claim what is held");
}

} // namespace fetra::test
