// Downloads whose power goes: at every point of a run the disk is what a power loss can leave, and a new run
// goes on.

#include "CrashStates.h"
#include "DownloadBench.h"
#include "transfer/ResumeStore.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

class DownloadPowerLoss : public DownloadBench {
protected:
    enum class Records {
        mustLast,
        /// The user has asked for a fresh start, or there never are any.
        doNotCount,
    };

    void cutPower(const Story& story, size_t atLeast, Records records = Records::mustLast) {
        const QuickFolder disk;
        if (story.before)
            run(disk.path(), *story.before);
        OperationRecorder recorder(disk.path());
        if (story.unknown)
            recorder.refuse(*story.unknown, EINVAL);
        for (const std::optional<BenchRun>& each : {std::optional(story.begin), story.goOn}) {
            if (each)
                recorder.mark(run(disk.path(story.subfolder), *each).words.toUtf8());
        }
        const std::vector<qint64> recorded = recordedBytes(recorder, story.subfolder);
        test::cutPower(recorder, 420, atLeast, [&](const TempFolder& left, size_t point) {
            expectRecovery(left.path(story.subfolder), records == Records::mustLast ? recorded[point] : 0);
        });
    }

    /// So slow that records are made on the way.
    [[nodiscard]] static BenchRun whole() {
        return {.rules = {data({.totalBytesPerSecond = 4e5})}, .manyRecords = true};
    }
    [[nodiscard]] static BenchRun cancelled(bool fresh = false) {
        BenchRun half = whole();
        half.fresh = fresh;
        half.cancelAt = fileSize / 2;
        return half;
    }

private:
    /// For every point, the bytes that the product takes for recorded: a record is done with when the thread
    /// that wrote it goes on to something else.
    [[nodiscard]] static std::vector<qint64> recordedBytes(const OperationRecorder& recorder,
                                                           const QString& subfolder) {
        const QByteArray sidecar = QFile::encodeName(subfolder + u"f.bin.fetra"_s);
        const std::vector<Operation>& operations = recorder.operations();
        DiskImage disk = recorder.before();
        std::vector<qint64> recorded(operations.size() + 1);
        std::optional<std::pair<qint64, std::thread::id>> written;
        qint64 bytes = 0;
        for (size_t point = 0; point < operations.size(); ++point) {
            const Operation& next = operations[point];
            const bool isMark = next.kind == Operation::Kind::mark;
            const bool goesOn =
                written && next.thread == written->second && next.kind != Operation::Kind::syncFolder;
            if (written && (isMark || goesOn)) {
                bytes = written->first;
                written.reset();
            }
            if (isMark && next.name == "complete")
                bytes = fileSize;
            recorded[point] = bytes;
            disk.apply(next);
            if (next.kind != Operation::Kind::rename || next.newName != sidecar)
                continue;
            const auto record = ResumeStore::decode(disk.read(sidecar).value_or(QByteArray()));
            written = {record ? record->heldBytes() : 0, next.thread};
        }
        recorded.back() = bytes;
        return recorded;
    }
};

TEST_F(DownloadPowerLoss, GoesOnFromTheLastRecord) {
    cutPower({.begin = cancelled(), .goOn = whole()}, 150);
}

TEST_F(DownloadPowerLoss, InAFolderThatWasMadeForIt) {
    cutPower({.begin = cancelled(), .goOn = whole(), .subfolder = u"new/er/"_s}, 150);
}

TEST_F(DownloadPowerLoss, WhereRenamesReplaceWhatIsThere) {
    cutPower({.begin = whole(), .unknown = SystemCall::Kind::renameat2}, 150);
}

TEST_F(DownloadPowerLoss, AfterAFreshStartOnRequest) {
    cutPower({.before = cancelled(), .begin = cancelled(true), .goOn = whole()}, 250, Records::doNotCount);
}

TEST_F(DownloadPowerLoss, OfUnknownSizeAfterALongerAnswer) {
    const Lies shorter{.ignoreRange = true, .framing = Framing::Chunked};
    Lies longer = shorter;
    longer.file = ServerFile::ofSize(2 * fileSize);
    Lies broken = longer;
    broken.cut = Cut{.at = fileSize + segmentSize};
    const std::vector<LieRule> inTurn{{.when = {.last = 1}, .lies = longer},
                                      {.when = {.last = 2}, .lies = broken},
                                      {.when = {}, .lies = shorter}};
    cutPower({.begin = {.rules = inTurn, .maxRetries = 1}}, 8, Records::doNotCount);
}

} // namespace
} // namespace fetra::test
