#include "DownloadBench.h"

#include "FolderWatcher.h"
#include "transfer/ResumeStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

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

std::optional<QByteArray> contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? std::optional(file.readAll()) : std::nullopt;
}

void pause() {
    std::this_thread::sleep_for(100us);
}

} // namespace

DownloadOptions DownloadBench::options(bool resume) {
    DownloadOptions options = impatient(fileSize / segmentSize, 0);
    options.resume = resume;
    return options;
}

void DownloadBench::answerInTurn(const std::vector<Lies>& lies) {
    FileScript script{.file = file};
    for (const Lies& each : lies) {
        const auto number = static_cast<qint64>(script.rules.size()) + 1;
        const bool isLast = script.rules.size() + 1 == lies.size();
        script.rules.push_back(
            {.when = {.first = number, .last = isLast ? When().last : number}, .lies = each});
    }
    server_.setHandler(script.handler());
}

Ending DownloadBench::endOf(RunningDownload& running) {
    const auto begun = SteadyClock::now();
    for (auto nextTick = begun + patience; !running.isOver(); pause()) {
        const auto now = SteadyClock::now();
        if (now > begun + longest) {
            ADD_FAILURE() << "the download hangs";
            running.cancel();
            break;
        }
        if (now > nextTick) {
            clock_.advance(recordInterval);
            ticker_.tick();
            nextTick = now + patience;
        }
    }
    return running.end();
}

Ending DownloadBench::run(const QString& folder, const DownloadOptions& how) {
    RunningDownload running(services(), request(folder), how);
    return endOf(running);
}

Ending DownloadBench::runAndCancel(const QString& folder, qint64 bytes, const DownloadOptions& how) {
    RunningDownload running(services(), request(folder), how);
    const auto end = SteadyClock::now() + longest;
    while (!running.isOver() && running.receivedBytes() < bytes && SteadyClock::now() < end) {
        ticker_.tick();
        pause();
    }
    clock_.advance(recordInterval);
    ticker_.tick();
    running.cancel();
    return endOf(running);
}

Ending DownloadBench::runWithManyRecords(const QString& folder, qint64 cancelAt, const DownloadOptions& how) {
    RunningDownload running(services(), request(folder), how);
    const auto end = SteadyClock::now() + longest;
    while (!running.isOver() && SteadyClock::now() < end) {
        // Time stands still until every lane has begun, or the slow ones would be given up.
        if (running.receivedBytes() > segmentSize)
            clock_.advance(recordInterval);
        ticker_.tick();
        if (running.receivedBytes() >= cancelAt)
            running.cancel();
        pause();
    }
    return endOf(running);
}

qint64 DownloadBench::provenBytes(const QString& folder) const {
    const FolderWatcher::Unseen unseen;
    const QString path = QDir(folder).filePath(u"f.bin"_s);
    const std::optional<ResumeRecord> record = ResumeStore::load(path + u".fetra"_s);
    const std::optional<QByteArray> part = contentOf(path + u".part"_s);
    if (!part && contentOf(path) == file.content)
        return fileSize;
    if (!record || record->etag != QString::fromLatin1(file.etag) || !part ||
        part->size() != record->totalSize || !ResumeStore::isValidPartition(record->segments, fileSize))
        return 0;
    for (const ResumeRecord::Seg& segment : record->segments) {
        const qint64 length = segment.current - segment.start;
        EXPECT_TRUE(part->sliced(segment.start, length) == file.content.sliced(segment.start, length))
            << "the record claims wrong bytes from " << segment.start;
    }
    return record->heldBytes();
}

void DownloadBench::expectNothingWrong(const QString& folder) const {
    const FolderWatcher::Unseen unseen;
    for (const QString& name : QDir(folder).entryList(QDir::Files | QDir::Hidden)) {
        const QString suffix = QFileInfo(name).suffix();
        const bool unfinished = suffix == u"part" || suffix == u"fetra" || suffix == u"tmp";
        EXPECT_TRUE(unfinished || contentOf(QDir(folder).filePath(name)) == file.content)
            << name.toStdString() << " is not what was served";
    }
}

void DownloadBench::expectRecovery(const QString& folder, qint64 proven, const Ending& before) {
    expectNothingWrong(folder);
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
    answer(Lies{});
    const Ending ending = run(folder);
    EXPECT_EQ(ending.words, u"complete"_s);
    expectNothingWrong(folder);
    ASSERT_TRUE(ending.isComplete());
    EXPECT_EQ(ending.result->resumedFrom, held);
    EXPECT_EQ(ending.result->bytesThisSession, fileSize - held);
    EXPECT_TRUE(ending.name() == u"f.bin"_s || (isThere && hasPart)) << ending.name().toStdString();
    EXPECT_FALSE(files.exists(u"f.bin.fetra"_s) || files.exists(u"f.bin.part"_s));
}

} // namespace fetra::test
