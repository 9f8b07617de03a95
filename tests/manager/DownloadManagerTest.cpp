#include "support/ManagerWorld.h"

#include "transfer/FileSink.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

using enum DownloadStatus;

class DownloadManagerTest : public test::ManagerWorld {
protected:
    bool becomes(const Item& item, DownloadStatus status) {
        return runUntil([&] { return item->status() == status; });
    }
};

TEST_F(DownloadManagerTest, StartsInListOrderAsSlotsAllow) {
    manager().setMaxConcurrentDownloads(2);
    addAll(u"abc"_s);
    add(u"p"_s, false);
    addAll(u"de"_s);
    EXPECT_EQ(list(), u"ABcpde"_s);
    manager().setMaxConcurrentDownloads(3);
    EXPECT_EQ(list(), u"ABCpde"_s);
    manager().setMaxConcurrentDownloads(1);
    transfer(0).finish(result(file(u"a"_s)));
    ASSERT_TRUE(becomes(item(0), completed));
    EXPECT_EQ(list(), u"aBCpde"_s) << "still more than the limit";
    transfer(1).fail(DownloadError::badStatus(404));
    transfer(2).fail(DownloadError::badStatus(404));
    ASSERT_TRUE(runUntil([&] { return list() == u"abcpDe"_s; })) << list().toStdString();
    manager().resume(item(3));
    EXPECT_EQ(list(), u"abcpDe"_s) << "no slot";
    manager().remove(item(4), false);
    EXPECT_EQ(list(), u"abcPe"_s) << "a removed item frees its slot at once";
}

TEST_F(DownloadManagerTest, TurnsRunnerEventsIntoFields) {
    QList<DownloadStatus> heard;
    manager().onCompleted = [&](const Item& each) { heard.append(each->status()); };
    manager().onFailed = manager().onCompleted;
    const Item each = manager().add({.url = QUrl(u"http://host.example/a"_s),
                                     .connections = 100,
                                     .headers = {{u"Cookie"_s, u"c"_s}},
                                     .filenameHint = u"../named?"_s});
    EXPECT_EQ(each->status(), probing);
    EXPECT_EQ(transfer(0).options.connections, 64);
    EXPECT_EQ(transfer(0).options.headers.value(u"Cookie"_s), u"c"_s);
    transfer(0).report(file(u"b (1)"_s), std::nullopt);
    ASSERT_TRUE(becomes(each, downloading));
    EXPECT_EQ(each->filename(), u"b (1)"_s);
    EXPECT_EQ(transfer(0).target, QUrl::fromLocalFile(folder.path() + u'/'));
    EXPECT_EQ(savedStatuses(), u"downloading"_s);

    transfer(0).report({.totalBytes = 20, .receivedBytes = 7, .bytesPerSecond = 3.5, .activeConnections = 2});
    ASSERT_TRUE(runUntil([&] { return each->receivedBytes() == 7; }));
    EXPECT_EQ(each->totalBytes(), 20);
    EXPECT_EQ(manager().totalBytesPerSecond(), 3.5);
    transfer(0).fail(DownloadError::badStatus(503));
    ASSERT_TRUE(becomes(each, failed));
    EXPECT_EQ(each->errorMessage(), DownloadError::badStatus(503).errorDescription());
    EXPECT_EQ(manager().totalBytesPerSecond() + each->bytesPerSecond(), 0);

    manager().resume(each);
    EXPECT_EQ(each->errorMessage(), std::nullopt);
    transfer(1).finish(result(file(u"b (1)"_s), 21));
    ASSERT_TRUE(becomes(each, completed));
    EXPECT_EQ(transfer(1).target, file(u"b (1)"_s)) << "back into its own file";
    EXPECT_EQ(each->totalBytes(), 21);
    EXPECT_EQ(each->receivedBytes(), 21);
    EXPECT_TRUE(each->completedAt().has_value());
    EXPECT_EQ(heard, (QList{failed, completed}));
}

TEST_F(DownloadManagerTest, APauseIsNoFailure) {
    int failures = 0;
    manager().onFailed = [&](const Item&) { ++failures; };
    // Whether the user pauses it, whether it finishes or breaks meanwhile, and what it is then.
    const std::tuple<bool, std::optional<bool>, DownloadStatus> cases[] = {
        {true, std::nullopt, paused},
        {true, false, paused},
        {true, true, completed},
        {false, std::nullopt, paused},
    };
    for (const auto& [isPaused, finishes, ends] : cases) {
        const Item item = add(u"f"_s);
        test::ScriptedTransfer& transfer = *runners.transfers.back();
        transfer.staysDeaf = finishes.has_value();
        transfer.report(file(u"f"_s), 10);
        ASSERT_TRUE(becomes(item, downloading));
        isPaused ? manager().pause(item) : transfer.cancel();
        if (finishes)
            *finishes ? transfer.finish(result(file(u"f"_s))) : transfer.fail(DownloadError::badStatus(500));
        EXPECT_EQ(item->status(), downloading) << "until the transfer has ended";
        ASSERT_TRUE(becomes(item, ends));
        EXPECT_EQ(item->errorMessage(), std::nullopt);
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(savedStatuses(), u"paused paused completed paused"_s);
    EXPECT_FALSE(manager().isTransferring());
}

TEST_F(DownloadManagerTest, PausesAndResumesAllWithOneSave) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"abc"_s);
    manager().pauseAll();
    EXPECT_EQ(savedStatuses(), u"probing paused paused"_s);
    ASSERT_TRUE(becomes(item(0), paused));
    EXPECT_EQ(runners.transfers.size(), 1U) << "no queued one was started in its place";
    manager().resumeAll();
    EXPECT_EQ(list(), u"Abc"_s);
    EXPECT_EQ(savedStatuses(), u"queued queued queued"_s);
}

TEST_F(DownloadManagerTest, MovesItems) {
    const std::tuple<QSet<qsizetype>, qsizetype, QString> cases[] = {
        {{0, 1}, 3, u"cabd"_s}, {{0, 1}, 4, u"cdab"_s}, {{0, 1}, 0, u"abcd"_s}, {{3}, 0, u"dabc"_s},
        {{2, 0}, 1, u"acbd"_s}, {{1}, 99, u"acdb"_s},   {{9}, 0, u"abcd"_s},    {{2}, -5, u"cabd"_s},
    };
    for (const auto& [from, to, moved] : cases) {
        for (const Item& item : QList(manager().items()))
            manager().remove(item, false);
        for (const QChar name : u"abcd"_s)
            add(name, false);
        manager().move(from, to);
        start();
        EXPECT_EQ(list(), moved) << to;
    }
}

TEST_F(DownloadManagerTest, ARemovedTransferKeepsItsNameUntilItHasEnded) {
    for (const bool startIsKnown : {true, false}) {
        const Item item = add(u"f"_s);
        test::ScriptedTransfer& transfer = *runners.transfers.back();
        transfer.staysDeaf = true;
        auto sink = std::make_unique<FileSink>(folder.path(u"f.part"_s), 10, FileSink::Existing::refused);
        transfer.report(file(u"f"_s), 10);
        ASSERT_TRUE(!startIsKnown || becomes(item, downloading));
        manager().remove(item, true);
        EXPECT_TRUE(transfer.isCancelled());
        EXPECT_TRUE(folder.contains(u"f.part"_s));
        folder.write(u"f.fetra"_s, "saved at its end");
        sink.reset();
        transfer.fail(DownloadError::cancelled());
        ASSERT_TRUE(runUntil([&] { return !manager().isTransferring(); }));
        EXPECT_FALSE(folder.contains(u"f.part"_s));
        EXPECT_FALSE(folder.contains(u"f.fetra"_s));
        EXPECT_TRUE(manager().items().isEmpty());
    }
}

TEST_F(DownloadManagerTest, TorrentsGetTheirOwnRunnerAndName) {
    const Item magnet = manager().add({.url = QUrl(u"magnet:?xt=urn:btih:00&dn=First%20name"_s)});
    EXPECT_EQ(magnet->filename(), u"First name"_s);
    ASSERT_TRUE(transfer(0).torrent);
    transfer(0).reportName(u"content"_s);
    transfer(0).report({.totalBytes = 5, .receivedBytes = 5, .peers = 2, .uploadBytesPerSecond = 8.0});
    ASSERT_TRUE(runUntil([&] { return magnet->peers() == 2; }));
    EXPECT_EQ(magnet->destination(), file(u"content"_s));
    EXPECT_EQ(manager().totalUploadBytesPerSecond(), 8.0);
    EXPECT_EQ(magnet->status(), downloading) << "it seeds";
    folder.write(u"content/inner"_s, "x");
    folder.write(u"other"_s, "x");
    transfer(0).finish(result(file(u"content"_s)));
    ASSERT_TRUE(becomes(magnet, completed));
    manager().remove(magnet, true);
    EXPECT_EQ(folder.names(), (QStringList{u"Fetra"_s, u"other"_s}));
}

TEST_F(DownloadManagerTest, NeverDeletesATreeThatIsNotTheTorrents) {
    for (const QString& destination : {QString(), u"."_s, u".."_s, u"sub/inner"_s}) {
        folder.write(u"sub/inner/file"_s, "x");
        const Item item =
            manager().add({.url = QUrl(u"magnet:?xt=urn:btih:00"_s), .startImmediately = false});
        item->setDestination(QUrl(file(QString()).toString() + destination));
        item->setStatus(completed);
        manager().remove(item, true);
        EXPECT_TRUE(folder.contains(u"sub/inner/file"_s)) << destination.toStdString();
    }
}

TEST_F(DownloadManagerTest, NamesNewDownloadsAndTellsTorrents) {
    const std::tuple<QString, QString, bool> cases[] = {
        {u"http://h.example/dir/a%20b.zip?x=c.torrent"_s, u"a b.zip"_s, false},
        {u"http://h.example/"_s, u"h.example"_s, false},
        {u"file:///"_s, u"download"_s, false},
        {u"https://h.example/d/my%20disk.TORRENT?key=1"_s, u"my disk.TORRENT"_s, true},
        {u"MAGNET:?xt=urn:btih:00&dn=Some%20name%20%26%20more%C3%A9%2Fb&dn=x"_s, u"Some name & moreé_b"_s,
         true},
        {u"magnet:?xt=urn:btih:00&dn="_s, u"magnet link"_s, true},
    };
    for (const auto& [url, name, isTorrent] : cases) {
        const Item item = manager().add({.url = QUrl(url), .startImmediately = false});
        EXPECT_EQ(item->filename(), name);
        EXPECT_EQ(item->isTorrent(), isTorrent) << url.toStdString();
    }
    const QList<Item> found =
        manager().add(u"see http://a.example/1, then magnet:?xt=urn:btih:01"_s, {}, false);
    ASSERT_EQ(found.size(), 2);
    EXPECT_TRUE(found[0]->isTorrent());
}

TEST_F(DownloadManagerTest, EndsWithWhatRunsAndKeepsWhatHasJustFinished) {
    int heard = 0;
    manager().onCompleted = manager().onFailed = [&](const Item&) { ++heard; };
    addAll(u"abcq"_s);
    const auto transfers = runners.transfers;
    transfers[1]->staysDeaf = true;
    transfers[1]->finish(result(file(u"b"_s)));
    stop();
    for (const auto& each : transfers)
        EXPECT_TRUE(each->isCancelled());
    EXPECT_EQ(savedStatuses(), u"probing completed probing queued"_s);
    EXPECT_EQ(heard, 0) << "nobody is left to hear it";
    EXPECT_EQ(transfers.size(), runners.transfers.size()) << "nothing new was started";
}

} // namespace
} // namespace fetra
