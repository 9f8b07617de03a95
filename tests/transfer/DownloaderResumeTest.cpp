// Downloads that stop and go on: what is fetched again, and what is taken for a finished file.

#include "support/DownloadRun.h"
#include "support/Routes.h"

#include <gtest/gtest.h>
#include <QDateTime>
#include <QFile>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

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

TEST_F(DownloaderResume, KeepsWhatItHasWhenAPageComesInPlaceOfTheFile) {
    const qint64 held = interruptOnTheWay();
    EXPECT_GT(held, 0);
    server.setHandler(serve(file, {.answer = loginPage()}));
    const Ending ending = run(impatient(8, 1));
    EXPECT_FALSE(ending.isComplete()) << "a page under the name " << ending.name().toStdString();
    EXPECT_EQ(DownloadTest::held(), held);
    server.setHandler(serve(file));
    expectDelivered(run(), file, held);
}

TEST_F(DownloaderResume, LeavesAFileOfThatNameFromElsewhereItsBytes) {
    const qint64 held = interruptOnTheWay();
    server.setHandler(serve(file));
    EXPECT_EQ(download(world, request("/other/f.bin"), impatient(8)).name(), u"f (1).bin"_s);
    EXPECT_EQ(DownloadTest::held(), held);
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

class DownloaderAdoption : public DownloaderResume {
protected:
    /// What a crash between the last rename and the removal of the record leaves.
    void leaveDelivered(const QByteArray& content, const std::optional<QString>& etag = u"\"v1\""_s) {
        folder.write(u"f.bin"_s, content);
        saveWholeRecord(etag);
    }
};

TEST_F(DownloaderAdoption, ChecksTheDigestOfAFileItTakes) {
    leaveDelivered(file.content);
    DownloadOptions options = impatient(8);
    options.expectedSHA256 = QString(64, u'0');
    EXPECT_TRUE(run(options).words.startsWith(u"SHA-256 mismatch"_s));
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content) << "not ours to take away";
}

TEST_F(DownloaderAdoption, FetchesBesideAFileThatMayBeSomebodyElses) {
    const QByteArray theirs = testContent(fileSize, 7);
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"newer than the record",
         [&] {
             leaveDelivered(theirs);
             QFile newer(folder.path(u"f.bin"_s));
             ASSERT_TRUE(newer.open(QIODevice::Append));
             const QDateTime later = QDateTime::currentDateTime().addSecs(60);
             ASSERT_TRUE(newer.setFileTime(later, QFileDevice::FileModificationTime));
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

TEST_F(DownloaderResume, KeepsNoRecordAndUsesNoneWhenToldNotTo) {
    EXPECT_GT(interruptOnTheWay(), 0);
    DownloadOptions options = impatient(8);
    options.resume = false;
    EXPECT_EQ(interrupt(fileSize / 4, request(), options), 0);
    EXPECT_EQ(folder.names(), QStringList{u"f.bin.part"_s});
    server.setHandler(serve(file));
    expectDelivered(run(options), file);
}

} // namespace
} // namespace fetra::test
