// Whole downloads on a disk on which one call after the other fails: started, stopped half-way, gone on with.

#include "DownloadBench.h"
#include "FaultInjector.h"

#include <gtest/gtest.h>
#include <QCryptographicHash>

#include <cerrno>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

using Kind = SystemCall::Kind;

QString sha256(const QByteArray& content) {
    return QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
}

class DownloadFaults : public ::testing::Test {
protected:
    using Act = std::function<Ending(const QString& folder)>;

    struct Story {
        /// Without faults.
        Act before = {};
        Act begin = {};
        Act goOn = {};
        /// A kind of call that the file system does not know.
        std::optional<Kind> unknown = {};
    };

    /// Fails fewer places than that only when there are fewer than there were.
    void torture(const Story& story, int atLeast) {
        const int points = test::torture([&](const Fault& fault) { return happens(story, fault); });
        std::cout << points << " fault points\n";
        EXPECT_GE(points * stride, atLeast);
    }

    /// Once that much of every segment has come.
    [[nodiscard]] Act cancelled(qint64 part = DownloadBench::segmentSize / 2,
                                const DownloadOptions& how = DownloadBench::options()) {
        return [this, part, how](const QString& folder) {
            bench.answer({.cut = Cut{.how = Cut::How::Stall, .at = part}});
            return bench.runAndCancel(folder, part * how.connections, how);
        };
    }
    [[nodiscard]] Act whole(const DownloadOptions& how = DownloadBench::options()) {
        return [this, how](const QString& folder) {
            bench.answer(Lies{});
            return bench.run(folder, how);
        };
    }

    DownloadBench bench;

private:
    bool happens(const Story& story, const Fault& fault) {
        const TempFolder folder;
        qint64 proven = 0;
        int fired = 0;
        Ending ending;
        if (story.before)
            story.before(folder.path());
        {
            FaultInjector injector(folder.path(), fault);
            if (story.unknown)
                injector.refuse(*story.unknown, EINVAL);
            story.begin(folder.path());
            proven = bench.provenBytes(folder.path());
            ending = story.goOn(folder.path());
            fired = injector.fired();
        }
        // What every program must bear.
        const bool isHarmless = fault.code == EINTR || fault.code == Fault::shortTransfer;
        EXPECT_TRUE(ending.isComplete() || !isHarmless) << ending.words.toStdString();
        bench.expectRecovery(folder.path(), proven, ending);
        return fired > 0;
    }
};

TEST_F(DownloadFaults, CancelledAndGoneOnWith) {
    torture({.begin = cancelled(), .goOn = whole()}, 400);
}

TEST_F(DownloadFaults, CutOffByTheServerAndCheckedAtTheEnd) {
    DownloadOptions checked = DownloadBench::options();
    checked.expectedSHA256 = sha256(bench.file.content);
    torture({.begin =
                 [&](const QString& folder) {
                     bench.answerHalf(Cut::How::Reset);
                     return bench.run(folder);
                 },
             .goOn = whole(checked)},
            300);
}

TEST_F(DownloadFaults, WhereRenamesReplaceWhatIsThere) {
    torture({.begin = cancelled(), .goOn = whole(), .unknown = Kind::renameat2}, 400);
}

TEST_F(DownloadFaults, OfUnknownSize) {
    const Lies stream{.ignoreRange = true, .framing = Framing::Chunked};
    torture({.begin =
                 [&, stream](const QString& folder) {
                     Lies half = stream;
                     half.cut = Cut{.how = Cut::How::Stall, .at = DownloadBench::fileSize / 2};
                     bench.answerEverything(half);
                     return bench.runAndCancel(folder, DownloadBench::fileSize / 2);
                 },
             .goOn =
                 [&, stream](const QString& folder) {
                     bench.answerEverything(stream);
                     return bench.run(folder);
                 }},
            120);
}

TEST_F(DownloadFaults, StartedOverBecauseTheServerHasAnotherVersion) {
    const Act another = [&](const QString& folder) {
        bench.answerEverything({.file = ServerFile::ofSize(DownloadBench::fileSize, 2).withETag("\"v0\""),
                                .cut = Cut{.how = Cut::How::Reset, .at = DownloadBench::segmentSize / 2}});
        return bench.run(folder);
    };
    torture({.before = another, .begin = cancelled(), .goOn = whole()}, 400);
}

TEST_F(DownloadFaults, StartedOverOnRequestAndCancelled) {
    const Act fresh = cancelled(DownloadBench::segmentSize / 4, DownloadBench::options(false));
    torture({.before = cancelled(), .begin = fresh, .goOn = whole()}, 220);
}

} // namespace
} // namespace fetra::test
