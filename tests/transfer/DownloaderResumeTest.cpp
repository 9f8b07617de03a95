// Downloads that stop and go on: what is fetched again, and what is taken for a finished file.

#include "DownloadRun.h"
#include "support/Eventually.h"
#include "support/FileScript.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"
#include "transfer/ResumeStore.h"

#include <gtest/gtest.h>
#include <QFileInfo>

#include <algorithm>
#include <utime.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using What = When::What;

constexpr qint64 fileSize = 6 * 1024 * 1024;

class DownloaderResume : public ::testing::Test {
protected:
    DownloadRequest request(const QByteArray& path = "/f.bin") const {
        return toFolder(server.url(path), folder.path());
    }

    /// Leaves an interrupted download behind and returns the bytes that its record vouches for.
    qint64 interrupt(const DownloadRequest& what, const DownloadOptions& options = impatient(8)) {
        RunningDownload running(world, what, options);
        EXPECT_TRUE(eventually(20s, [&] { return running.receivedBytes() > fileSize / 4; }));
        running.cancel();
        EXPECT_EQ(running.end().words, u"cancelled"_s);
        return heldBytes(folder, u"f.bin"_s, file.content);
    }

    [[nodiscard]] static Handler throttled(const ServerFile& what) {
        return serve(what, {.totalBytesPerSecond = 5e6}, {.what = What::Data});
    }

    void expectDelivered(const Ending& ending, const ServerFile& what, qint64 resumedFrom) {
        EXPECT_EQ(ending.words, u"complete"_s);
        EXPECT_EQ(folder.names(), QStringList{u"f.bin"_s});
        EXPECT_TRUE(folder.tryRead(u"f.bin"_s) == what.content);
        ASSERT_TRUE(ending.isComplete());
        EXPECT_EQ(ending.result->resumedFrom, resumedFrom);
        EXPECT_EQ(ending.result->bytesThisSession, what.content.size() - resumedFrom);
        EXPECT_EQ(ending.result->bytes, what.content.size());
    }

    const ServerFile file = ServerFile::ofSize(fileSize);
    const TempFolder folder;
    ScriptedServer server{throttled(file)};
    RealWorld world;
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
    const qint64 held = interrupt(request());
    EXPECT_GT(held, fileSize / 4);
    const std::optional<ResumeRecord> record = ResumeStore::load(folder.path(u"f.bin.fetra"_s));
    ASSERT_TRUE(record);
    const qint64 before = server.requests();

    server.setHandler(serve(file));
    DownloadOptions options = impatient(8);
    options.dynamicSplit = false;
    expectDelivered(download(world, request(), options), file, held);
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
        RunningDownload running(world, request(), impatient(connections));
        const qint64 enough = held + 700'000;
        ASSERT_TRUE(eventually(20s, [&] { return running.receivedBytes() > enough || running.isOver(); }));
        running.cancel();
        ASSERT_EQ(running.end().words, u"cancelled"_s);
        const qint64 now = heldBytes(folder, u"f.bin"_s, file.content);
        EXPECT_GT(now, enough);
        held = now;
    }
    server.setHandler(serve(file));
    expectDelivered(download(world, request(), impatient(16)), file, held);
}

TEST_F(DownloaderResume, StartsAgainWhenTheServerHasAnotherVersion) {
    EXPECT_GT(interrupt(request()), 0);
    const ServerFile second = ServerFile::ofSize(fileSize, 2).withETag("\"v2\"");
    server.setHandler(serve(second));
    expectDelivered(download(world, request(), impatient(8)), second, 0);
}

TEST_F(DownloaderResume, KeepsWhatItHasWhenAPageComesInPlaceOfTheFileOrItsData) {
    for (const What what : {What::Data, What::Every}) {
        server.setHandler(throttled(file));
        const qint64 held = interrupt(request());
        EXPECT_GT(held, 0);
        server.setHandler(serve(file, {.answer = loginPage()}, {.what = what}));
        const Ending ending = download(world, request(), impatient(8, 1));
        EXPECT_FALSE(ending.isComplete()) << "a page under the name " << ending.name().toStdString();
        EXPECT_EQ(heldBytes(folder, u"f.bin"_s, file.content), held);
        server.setHandler(serve(file));
        expectDelivered(download(world, request(), impatient(8)), file, held);
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
    const qint64 held = interrupt(request("/get"));
    EXPECT_GT(held, 0);
    expectDelivered(download(world, request("/get"), impatient(8)), file, held);
    EXPECT_GT(server.requests("/signed2/f.bin"), 1) << "the second address was never used";
}

TEST_F(DownloaderResume, KeepsNoRecordAndUsesNoneWhenToldNotTo) {
    EXPECT_GT(interrupt(request()), 0);
    DownloadOptions options = impatient(8);
    options.resume = false;
    EXPECT_EQ(interrupt(request(), options), 0);
    EXPECT_EQ(folder.names(), QStringList{u"f.bin.part"_s});
    server.setHandler(serve(file));
    expectDelivered(download(world, request(), options), file, 0);
}

class DownloaderAdoption : public DownloaderResume {
protected:
    /// What a crash between the last rename and the removal of the record leaves.
    void leaveDelivered(const QByteArray& content, const std::optional<QString>& etag = u"\"v1\""_s) {
        folder.write(u"f.bin"_s, content);
        ResumeStore::save({.url = server.url("/f.bin").toString(QUrl::FullyEncoded),
                           .totalSize = fileSize,
                           .etag = etag,
                           .segments = {{.start = 0, .end = fileSize - 1, .current = fileSize}}},
                          folder.path(u"f.bin.fetra"_s));
    }
    void changeTime(const QString& name, qint64 secondsLater) {
        const qint64 time = QFileInfo(folder.path(name)).lastModified().toSecsSinceEpoch() + secondsLater;
        const utimbuf times{.actime = time, .modtime = time};
        ASSERT_EQ(::utime(folder.path(name).toUtf8().constData(), &times), 0);
    }
};

TEST_F(DownloaderAdoption, TakesAFileThatOnlyLacksTheRemovalOfItsRecord) {
    leaveDelivered(file.content);
    expectDelivered(download(world, request(), impatient(8)), file, fileSize);
    EXPECT_EQ(server.requests(), 1) << "the probe only";
}

TEST_F(DownloaderAdoption, ChecksTheDigestOfAFileItTakes) {
    leaveDelivered(file.content);
    DownloadOptions options = impatient(8);
    options.expectedSHA256 = QString(64, u'0');
    EXPECT_TRUE(download(world, request(), options).words.startsWith(u"checksumMismatch"_s));
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content) << "not ours to take away";
}

TEST_F(DownloaderAdoption, FetchesBesideAFileThatMayBeSomebodyElses) {
    struct Case {
        const char* name;
        std::function<void()> prepare;
    };
    const QByteArray theirs = testContent(fileSize, 7);
    const std::vector<Case> cases{
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
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        each.prepare();
        const QByteArray before = folder.read(u"f.bin"_s);
        const Ending ending = download(world, request(), impatient(8));
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
    expectDelivered(download(world, request(), impatient(8)), file, fileSize);
    EXPECT_EQ(server.requests(), 1) << "the probe only";
}

} // namespace
} // namespace fetra::test
