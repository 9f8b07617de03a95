// Whole downloads on a disk on which one call after the other fails: started, stopped half-way, gone on with.

#include "DownloadBench.h"
#include "FaultInjector.h"

#include <gtest/gtest.h>
#include <QCryptographicHash>

#include <cerrno>

namespace fetra::test {
namespace {

using Kind = SystemCall::Kind;

class DownloadFaults : public DownloadBench {
protected:
    void torture(const Story& story, int atLeast) {
        test::torture(atLeast, [&](const Fault& fault) { return happens(story, fault); });
    }

    /// Once that much of every segment has come.
    [[nodiscard]] static BenchRun cancelled(qint64 part = segmentSize / 2, bool fresh = false) {
        return {.rules = {data({.cut = Cut{.how = Cut::How::Stall, .at = part}})},
                .fresh = fresh,
                .cancelAt = part * (fileSize / segmentSize)};
    }

private:
    bool happens(const Story& story, const Fault& fault) {
        const QuickFolder folder;
        qint64 proven = 0;
        int fired = 0;
        Ending ending;
        if (story.before)
            run(folder.path(), *story.before);
        {
            FaultInjector injector(folder.path(), fault);
            if (story.unknown)
                injector.refuse(*story.unknown, EINVAL);
            run(folder.path(), story.begin);
            proven = provenBytes(folder.path());
            ending = run(folder.path(), *story.goOn);
            fired = injector.fired();
        }
        // What every program must bear.
        const bool isHarmless = fault.code == EINTR || fault.code == Fault::shortTransfer;
        EXPECT_TRUE(ending.isComplete() || !isHarmless) << ending.words.toStdString();
        expectRecovery(folder.path(), proven, ending);
        return fired > 0;
    }
};

TEST_F(DownloadFaults, CancelledAndGoneOnWith) {
    torture({.begin = cancelled(), .goOn = BenchRun{}}, 400);
}

TEST_F(DownloadFaults, CutOffByTheServerAndCheckedAtTheEnd) {
    const Cut cut{.how = Cut::How::Reset, .at = segmentSize / 2};
    const QByteArray digest = QCryptographicHash::hash(file.content, QCryptographicHash::Sha256).toHex();
    torture({.begin = {.rules = {data({.cut = cut})}},
             .goOn = BenchRun{.expectedSHA256 = QString::fromLatin1(digest)}},
            300);
}

TEST_F(DownloadFaults, WhereRenamesReplaceWhatIsThere) {
    torture({.begin = cancelled(), .goOn = BenchRun{}, .unknown = Kind::renameat2}, 400);
}

TEST_F(DownloadFaults, OfUnknownSize) {
    const Lies stream{.ignoreRange = true, .framing = Framing::Chunked};
    Lies half = stream;
    half.cut = Cut{.how = Cut::How::Stall, .at = fileSize / 2};
    torture({.begin = {.rules = {every(half)}, .cancelAt = fileSize / 2},
             .goOn = BenchRun{.rules = {every(stream)}}},
            120);
}

TEST_F(DownloadFaults, StartedOverBecauseTheServerHasAnotherVersion) {
    const Lies another{.file = ServerFile::ofSize(fileSize, 2).withETag("\"v0\""),
                       .cut = Cut{.how = Cut::How::Reset, .at = segmentSize / 2}};
    torture({.before = BenchRun{.rules = {every(another)}}, .begin = cancelled(), .goOn = BenchRun{}}, 400);
}

TEST_F(DownloadFaults, StartedOverOnRequestAndCancelled) {
    torture({.before = cancelled(), .begin = cancelled(segmentSize / 4, true), .goOn = BenchRun{}}, 220);
}

} // namespace
} // namespace fetra::test
