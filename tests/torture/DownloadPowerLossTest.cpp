// Downloads whose power goes: at every point of a run the disk is what a power loss can leave, and a new run
// goes on.

#include "CrashStates.h"
#include "DownloadBench.h"
#include "OperationRecorder.h"
#include "Stride.h"
#include "transfer/ResumeStore.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

constexpr size_t mostStates = 420;
/// So slow that records are made on the way.
constexpr double bytesPerSecond = 4e5;

class DownloadPowerLoss : public ::testing::Test {
protected:
    struct Story {
        /// On a disk that keeps everything.
        std::function<void(const QString& folder)> before = {};
        std::function<Ending(const QString& folder)> begin;
        std::function<Ending(const QString& folder)> goOn = {};
        /// Where the file goes, below the folder that is watched; ends in a slash.
        QString subfolder = {};
        /// The user has not asked for a fresh start, so that what is recorded must last.
        bool keepsRecords = true;
        std::optional<SystemCall::Kind> unknown = {};
    };

    /// Fails fewer states than that.
    void cutPower(const Story& story, size_t atLeast) {
        const TempFolder disk;
        if (story.before)
            story.before(disk.path());
        OperationRecorder recorder(disk.path());
        if (story.unknown)
            recorder.refuse(*story.unknown, EINVAL);
        for (const auto& run : {story.begin, story.goOn}) {
            if (run)
                recorder.mark(run(disk.path(story.subfolder)).words.toUtf8());
        }
        const std::vector<qint64> recorded = recordedBytes(recorder, story.subfolder);
        const std::vector<CrashState> states =
            crashStates(recorder.before(), recorder.operations(), mostStates / stride);
        for (const CrashState& state : states) {
            SCOPED_TRACE(state.text.toStdString());
            const TempFolder folder;
            state.disk.writeTo(folder.path());
            bench.expectRecovery(folder.path(story.subfolder),
                                 story.keepsRecords ? recorded[state.point] : 0);
            if (HasFailure())
                break;
        }
        std::cout << recorder.operations().size() << " operations, " << states.size() << " states\n";
        EXPECT_GE(states.size() * stride, atLeast);
    }

    [[nodiscard]] Ending cancelHalfWay(const QString& folder,
                                       const DownloadOptions& how = DownloadBench::options()) {
        bench.answer({.totalBytesPerSecond = bytesPerSecond});
        return bench.runWithManyRecords(folder, DownloadBench::fileSize / 2, how);
    }
    [[nodiscard]] Ending finish(const QString& folder) {
        bench.answer({.totalBytesPerSecond = bytesPerSecond});
        return bench.runWithManyRecords(folder, 2 * DownloadBench::fileSize);
    }
    [[nodiscard]] std::function<Ending(const QString&)> cancelled() {
        return [this](const QString& folder) { return cancelHalfWay(folder); };
    }
    [[nodiscard]] std::function<Ending(const QString&)> whole() {
        return [this](const QString& folder) { return finish(folder); };
    }

    DownloadBench bench;

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
                bytes = DownloadBench::fileSize;
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
    cutPower(
        {.before = [this](const QString& folder) { static_cast<void>(cancelHalfWay(folder)); },
         .begin =
             [this](const QString& folder) { return cancelHalfWay(folder, DownloadBench::options(false)); },
         .goOn = whole(),
         .keepsRecords = false},
        250);
}

TEST_F(DownloadPowerLoss, OfUnknownSizeAfterALongerAnswer) {
    const auto unranged = [](qint64 size) {
        return Lies{.file = ServerFile::ofSize(size), .ignoreRange = true, .framing = Framing::Chunked};
    };
    cutPower({.begin =
                  [&](const QString& folder) {
                      Lies broken = unranged(2 * DownloadBench::fileSize);
                      broken.cut = Cut{.at = DownloadBench::fileSize + DownloadBench::segmentSize};
                      bench.answerInTurn(
                          {unranged(2 * DownloadBench::fileSize), broken, unranged(DownloadBench::fileSize)});
                      DownloadOptions patient = DownloadBench::options();
                      patient.maxRetries = 1;
                      return bench.run(folder, patient);
                  },
              .keepsRecords = false},
             8);
}

} // namespace
} // namespace fetra::test
