// Downloads that stop and go on: what is fetched again, and what is taken for a finished file.

#include "support/DownloadRun.h"
#include "support/Eventually.h"
#include "support/Routes.h"
#include "transfer/ResumeStore.h"

#include <gtest/gtest.h>
#include <QFileInfo>

#include <algorithm>
#include <utime.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using What = When::What;

constexpr qint64 fileSize = 6 * 1024 * 1024;

class DownloaderResume : public DownloadTest {
protected:
    DownloaderResume()
        : DownloadTest(fileSize) {
        server.setHandler(throttled(file));
    }
    qint64 interruptOnTheWay(const QByteArray& path = "/f.bin") {
        return interrupt(fileSize / 4, request(path));
    }
};

/// Ranges in the order of their beginnings.
using Ranges = std::vector<std::pair<qint64, qint64>>;

Ranges missingRanges(const ResumeRecord& record) {
    Ranges ranges;
    for (const ResumeRecord::Seg& segment : record.segments) {
        if (segment.current <= segment.end)
            ranges.emplace_back(segment.current, segment.end);
    }
    std::ranges::sort(ranges);
    return ranges;
}

TEST_F(DownloaderResume, AsksForExactlyWhatIsMissing) {
    const qint64 held = interruptOnTheWay();
    EXPECT_GT(held, fileSize / 4);
    const std::optional<ResumeRecord> record = ResumeStore::load(folder.path(u"f.bin.fetra"_s));
    ASSERT_TRUE(record);
    const qint64 before = server.requests();

    server.setHandler(serve(file));
    DownloadOptions options = impatient(8);
    options.dynamicSplit = false;
    expectDelivered(run(options), file, held);
    Ranges asked;
    for (const ServerRequest& each : server.log()) {
        if (each.serial > before && !each.isProbe())
            asked.emplace_back(each.range->first.value(), each.range->last.value());
    }
    std::ranges::sort(asked);
    EXPECT_EQ(asked, missingRanges(*record));
}

TEST_F(DownloaderResume, GoesOnThroughManyInterruptionsWithOtherNumbersOfConnections) {
    qint64 held = 0;
    for (const qint64 connections : {8, 1, 64, 3}) {
        const qint64 enough = held + 700'000;
        held = interrupt(enough, request(), impatient(connections));
        EXPECT_GT(held, enough);
    }
    server.setHandler(serve(file));
    expectDelivered(download(world, request(), impatient(16)), file, held);
}

TEST_F(DownloaderResume, StartsAgainWhenTheServerHasAnotherVersion) {
    EXPECT_GT(interruptOnTheWay(), 0);
    const ServerFile second = ServerFile::ofSize(fileSize, 2).withETag("\"v2\"");
    server.setHandler(serve(second));
    expectDelivered(run(), second);
}

TEST_F(DownloaderResume, KeepsWhatItHasWhenAPageComesInPlaceOfTheFileOrItsData) {
    for (const What what : {What::Data, What::Every}) {
        server.setHandler(throttled(file));
        const qint64 held = interruptOnTheWay();
        EXPECT_GT(held, 0);
        server.setHandler(serve(file, {.answer = loginPage()}, {.what = what}));
        const Ending ending = download(world, request(), impatient(8, 1));
        EXPECT_FALSE(ending.isComplete()) << "a page under the name " << ending.name().toStdString();
        EXPECT_EQ(DownloadTest::held(), held);
        server.setHandler(serve(file));
        expectDelivered(run(), file, held);
        ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
    }
}

TEST_F(DownloaderResume, KnowsTheFileBehindARedirectToAnotherAddressEachTime) {
    const std::vector<QByteArray> origins{server.url("/signed1").toEncoded(),
                                          server.url("/signed2").toEncoded()};
    const auto paths = [&](const Handler& content) {
        return routes({{"/get", redirectInTurn(origins, "/f.bin")},
                       {"/signed1/f.bin", content},
                       {"/signed2/f.bin", content}});
    };
    server.setHandler(paths(throttled(file)));
    const qint64 held = interruptOnTheWay("/get");
    EXPECT_GT(held, 0);
    expectDelivered(download(world, request("/get"), impatient(8)), file, held);
    EXPECT_GT(server.requests("/signed2/f.bin"), 1) << "the second address was never used";
}

TEST_F(DownloaderResume, KeepsNoRecordAndUsesNoneWhenToldNotTo) {
    EXPECT_GT(interruptOnTheWay(), 0);
    DownloadOptions options = impatient(8);
    options.resume = false;
    EXPECT_EQ(interrupt(fileSize / 4, request(), options), 0);
    EXPECT_EQ(folder.names(), QStringList{u"f.bin.part"_s});
    server.setHandler(serve(file));
    expectDelivered(run(options), file);
}

class DownloaderAdoption : public DownloaderResume {
protected:
    /// What a crash between the last rename and the removal of the record leaves.
    void leaveDelivered(const QByteArray& content, const std::optional<QString>& etag = u"\"v1\""_s) {
        folder.write(u"f.bin"_s, content);
        saveWholeRecord(etag);
    }
    void changeTime(const QString& name, qint64 secondsLater) {
        const qint64 time = QFileInfo(folder.path(name)).lastModified().toSecsSinceEpoch() + secondsLater;
        const utimbuf times{.actime = time, .modtime = time};
        ASSERT_EQ(::utime(folder.path(name).toUtf8().constData(), &times), 0);
    }
};

TEST_F(DownloaderAdoption, TakesAFileThatOnlyLacksTheRemovalOfItsRecord) {
    leaveDelivered(file.content);
    expectDelivered(run(), file, fileSize);
    EXPECT_EQ(server.requests(), 1) << "the probe only";
}

TEST_F(DownloaderAdoption, ChecksTheDigestOfAFileItTakes) {
    leaveDelivered(file.content);
    DownloadOptions options = impatient(8);
    options.expectedSHA256 = QString(64, u'0');
    EXPECT_TRUE(run(options).words.startsWith(u"checksumMismatch"_s));
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content) << "not ours to take away";
}

TEST_F(DownloaderAdoption, FetchesBesideAFileThatMayBeSomebodyElses) {
    const QByteArray theirs = testContent(fileSize, 7);
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"newer than the record",
         [&] {
             leaveDelivered(theirs);
             changeTime(u"f.bin"_s, 60);
         }},
        {"of another size", [&] { leaveDelivered(theirs.chopped(1)); }},
        {"record of another version", [&] { leaveDelivered(theirs, u"\"v0\""_s); }},
        {"a partial file is there too",
         [&] {
             leaveDelivered(theirs);
             folder.write(u"f.bin.part"_s, "short");
         }},
    };
    server.setHandler(serve(file));
    for (const auto& [name, prepare] : cases) {
        SCOPED_TRACE(name);
        prepare();
        const QByteArray before = folder.read(u"f.bin"_s);
        const Ending ending = run();
        EXPECT_EQ(ending.words, u"complete"_s);
        EXPECT_EQ(folder.names(), (QStringList{u"f (1).bin"_s, u"f.bin"_s}));
        EXPECT_TRUE(folder.read(u"f.bin"_s) == before);
        EXPECT_TRUE(folder.read(u"f (1).bin"_s) == file.content);
        ASSERT_TRUE(QFile::remove(folder.path(u"f (1).bin"_s)));
    }
}

TEST_F(DownloaderAdoption, GivesAWholePartialFileItsNameWithoutFetching) {
    leaveDelivered(file.content);
    ASSERT_TRUE(QFile::rename(folder.path(u"f.bin"_s), folder.path(u"f.bin.part"_s)));
    expectDelivered(run(), file, fileSize);
    EXPECT_EQ(server.requests(), 1) << "the probe only";
}

TEST(DownloaderResumeAfterAbsence, ContinuesAfterTheServerWasAwayForLongerThanItsPatience) {
    RealWorld world;
    const TempFolder folder;
    const ServerFile file = ServerFile::ofSize(4 * 1024 * 1024);
    auto server =
        std::make_unique<ScriptedServer>(serve(file, {.totalBytesPerSecond = 4e6}, {.what = What::Data}));
    const quint16 port = server->port();
    const DownloadRequest request = toFolder(server->url("/f.bin"), folder.path());
    RunningDownload running(world, request, impatient(8, 1));
    ASSERT_TRUE(eventually(std::chrono::seconds(10), [&] { return running.receivedBytes() > 1'000'000; }));
    server->stop();
    EXPECT_EQ(running.end().words, u"exhaustedRetries Could not connect to 127.0.0.1: Connection refused"_s);
    const qint64 held = heldBytes(folder, u"f.bin"_s, file.content);
    EXPECT_GT(held, 1'000'000);

    server = std::make_unique<ScriptedServer>(serve(file), ServerOptions{.port = port});
    DownloadOptions options = impatient(8);
    options.dynamicSplit = false;
    const Ending ending = download(world, request, options);
    ASSERT_EQ(ending.words, u"complete"_s);
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
    EXPECT_EQ(ending.result->resumedFrom, held);
    EXPECT_EQ(server->bodyBytesSent(), file.content.size() - held + 1)
        << "all but the probe's byte was missing";
}

} // namespace
} // namespace fetra::test
