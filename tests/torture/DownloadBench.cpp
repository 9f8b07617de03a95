#include "DownloadBench.h"

#include "FolderWatcher.h"

#include <QDir>
#include <QFile>

#include <chrono>
#include <thread>

namespace fetra::test {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr auto longest = 20s;
/// A run that goes well needs no tick; one that waits for its next attempt does.
constexpr auto patience = 30ms;
constexpr double recordInterval = 1.1;

} // namespace

Ending DownloadBench::run(const QString& folder, const BenchRun& how) {
    server_.setHandler(FileScript{.file = file, .rules = how.rules}.handler());
    DownloadOptions options = impatient(fileSize / segmentSize, how.maxRetries);
    options.resume = !how.fresh;
    options.expectedSHA256 = how.expectedSHA256;
    RunningDownload running({http_, clock_, random_, ticker_}, toFolder(server_.url("/f.bin"), folder),
                            options);
    bool isWatched = how.manyRecords || how.cancelAt <= fileSize;
    const auto begun = SteadyClock::now();
    for (auto nextTick = begun + patience; !running.isOver(); std::this_thread::sleep_for(100us)) {
        const auto now = SteadyClock::now();
        const bool isEnough = isWatched && running.receivedBytes() >= how.cancelAt;
        // Time stands still until every lane has begun, or the slow ones would be given up.
        const bool isFast = how.manyRecords && running.receivedBytes() > segmentSize;
        if (isEnough || isFast || (!isWatched && now > nextTick)) {
            clock_.advance(recordInterval);
            nextTick = now + patience;
        }
        ticker_.tick();
        const bool hangs = now > begun + longest;
        if (isEnough || hangs) {
            running.cancel();
            isWatched = false;
        }
        if (hangs) {
            ADD_FAILURE() << "the download hangs";
            break;
        }
    }
    return running.end();
}

qint64 DownloadBench::provenBytes(const QString& folder) const {
    const FolderWatcher::Unseen unseen;
    const QString path = QDir(folder).filePath(u"f.bin"_s);
    QFile finished(path);
    if (!QFile::exists(path + u".part"_s) && finished.open(QIODevice::ReadOnly) &&
        finished.readAll() == file.content)
        return fileSize;
    return heldBytes(path, file.content, QString::fromLatin1(file.etag));
}

void DownloadBench::expectRecovery(const QString& folder, qint64 proven, const Ending& before) {
    expectNothingWrongIsFinished(folder, file.content);
    const QDir files(folder);
    const bool isThere = files.exists(u"f.bin"_s);
    const bool hasPart = files.exists(u"f.bin.part"_s);
    if (before.isComplete()) {
        EXPECT_TRUE(files.exists(before.name()));
        EXPECT_GE(before.result->resumedFrom, proven) << "recorded bytes were fetched again";
    }
    if (before.isComplete() || (isThere && !hasPart && !files.exists(u"f.bin.fetra"_s)))
        return;
    const qint64 held = provenBytes(folder);
    EXPECT_GE(held, proven) << "recorded bytes were given up";
    const Ending ending = run(folder);
    EXPECT_EQ(ending.words, u"complete"_s);
    expectNothingWrongIsFinished(folder, file.content);
    ASSERT_TRUE(ending.isComplete());
    EXPECT_EQ(ending.result->resumedFrom, held);
    EXPECT_EQ(ending.result->bytesThisSession, fileSize - held);
    EXPECT_TRUE(ending.name() == u"f.bin"_s || (isThere && hasPart)) << ending.name().toStdString();
    for (const QString& left : {u"f.bin.fetra"_s, u"f.bin.fetra.tmp"_s, u"f.bin.part"_s})
        EXPECT_FALSE(files.exists(left)) << left.toStdString();
}

} // namespace fetra::test
