// The real helper in real swarms on this computer.

#include "HelperRun.h"
#include "TestTorrent.h"
#include "TorrentRun.h"

#include "support/Eventually.h"
#include "support/FileScript.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFile>

#include <csignal>
#include <functional>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

/// A torrent of one file, a helper that has all of it, and a folder for everything.
class Swarm {
public:
    explicit Swarm(qint64 size, const QString& limitKB = u"100000"_s)
        : torrent{.name = "f", .content = testContent(size, size)}
        , seeder(seederAt(port, limitKB)) {
        confineHelpers(folder.path(u"data"_s));
        EXPECT_TRUE(isSeeding(seeder));
    }

    [[nodiscard]] HelperRun::Setup seederAt(quint16 place, const QString& limitKB = u"100000"_s) const {
        const QString name = u"seed%1"_s.arg(place);
        folder.write(name + u"/f"_s, torrent.content);
        return {.arguments = {u"-o"_s, folder.path(name), u"-upload-limit"_s, limitKB, u"-seed"_s,
                              folder.write(name + u".torrent"_s, torrent.bytes())},
                .dataFolder = folder.path(name + u" data"_s),
                .port = place};
    }
    [[nodiscard]] bool isSeeding(HelperRun& run) const {
        return run.runUntil([&] { return run.last(u"completed"_s) == torrent.content.size(); });
    }
    /// Fetches from there into a folder of that name.
    [[nodiscard]] HelperRun::Setup peerOf(quint16 place, const QString& name,
                                          const QStringList& options = {}) const {
        return {.arguments = QStringList{u"-o"_s, folder.path(name)} + options +
                             QStringList{torrent.magnet({place}).toString()},
                .dataFolder = folder.path(name + u" data"_s)};
    }
    [[nodiscard]] QByteArray downloaded() const { return folder.tryRead(u"out/f"_s).value_or(QByteArray()); }

    const TempFolder folder;
    const TestTorrent torrent;
    const quint16 port = freePort();
    HelperRun seeder;
};

TEST(TorrentSwarm, MagnetLinkIsKilledResumedPausedAndCompleted) {
    constexpr qint64 size = 6'000'000;
    // What is fetched twice after the kill is more than one of them gives: each stops at a ratio of 1.
    Swarm swarm(size, u"500"_s);
    const quint16 port = freePort();
    HelperRun second(swarm.seederAt(port, u"500"_s));
    ASSERT_TRUE(swarm.isSeeding(second));
    const QUrl magnet = swarm.torrent.magnet({swarm.port, port});
    const QString out = swarm.folder.path(u"out"_s);
    const QString wrapper =
        swarm.folder.write(u"wrapper"_s, "#!/bin/sh\necho $$ > \"${0%wrapper}pid\"\nexec \"" FETRA_BIN_DIR
                                         "/fetra-torrent\" \"$@\"\n");
    QFile::setPermissions(wrapper, QFile::ReadOwner | QFile::ExeOwner);
    qputenv("FETRA_TORRENT_HELPER", wrapper.toUtf8());
    {
        TorrentRun run(magnet, out);
        ASSERT_TRUE(eventually(20s, [&] { return run.receivedBytes() > 1'000'000; }));
        ::kill(swarm.folder.read(u"pid"_s).trimmed().toInt(), SIGKILL);
        EXPECT_EQ(run.ending(), u"Gave up after repeated failures: torrent stopped before completion"_s);
    }
    qint64 paused = 0;
    {
        TorrentRun run(magnet, out);
        ASSERT_TRUE(eventually(20s, [&] { return run.receivedBytes() > 2'500'000; }));
        EXPECT_EQ(run.starts(), QStringList(u"f"_s)) << "known from the state, not from peers";
        paused = run.receivedBytes();
        run.cancel();
        EXPECT_EQ(run.ending(), pausedWords);
        const auto reports = run.reports();
        // Before that it is still looking through the file.
        const auto found =
            std::ranges::find_if(reports, [](auto& each) { return each.peers.value_or(0) > 0; });
        ASSERT_NE(found, reports.end());
        EXPECT_GE(found->receivedBytes, 500'000) << "the kill cost what was there";
    }
    ASSERT_LT(paused, size);
    TorrentRun run(magnet, out);
    ASSERT_TRUE(eventually(20s, [&] { return run.receivedBytes() > 0; }));
    EXPECT_GE(run.receivedBytes(), paused * 9 / 10) << "the pause cost what was there";
    ASSERT_EQ(run.ending(), u"complete"_s);
    EXPECT_TRUE(swarm.downloaded() == swarm.torrent.content);
    EXPECT_EQ(run.result()->destination, QUrl::fromLocalFile(out + u"/f"_s));
    EXPECT_EQ(run.result()->bytes, size);
    EXPECT_EQ(swarm.folder.names(u"out"_s), QStringList(u"f"_s));
    EXPECT_TRUE(swarm.folder.names(u"data/Fetra/torrents"_s).isEmpty());
}

TEST(TorrentSwarm, RemoteTorrentFileWithAWebSeedAndAFolderOfFiles) {
    const TempFolder folder;
    confineHelpers(folder.path(u"data"_s));
    TestTorrent torrent{.name = "set",
                        .files = {{.path = {"a.bin"}, .content = testContent(700'000, 700'000)},
                                  {.path = {"deep", "b c.bin"}, .content = testContent(1'300'000, 1'300'000)},
                                  {.path = {"empty"}}}};
    ScriptedServer server;
    torrent.webSeed = server.url("/seed/");
    std::map<QByteArray, Handler> paths{{"/x.torrent", serve(ServerFile{.content = torrent.bytes()})}};
    for (const TestTorrent::File& file : torrent.files)
        paths["/seed/set/" + file.path.join('/').toPercentEncoding("/")] =
            serve(ServerFile{.content = file.content});
    server.setHandler(routes(paths));
    TorrentRun run(server.url("/x.torrent"), folder.path(u"out"_s));
    ASSERT_EQ(run.ending(), u"complete"_s);
    EXPECT_EQ(run.starts(), QStringList(u"set"_s));
    EXPECT_EQ(run.result()->bytes, 2'000'000);
    for (const TestTorrent::File& file : torrent.files)
        EXPECT_TRUE(folder.tryRead(u"out/set/"_s + QString::fromUtf8(file.path.join('/'))) == file.content)
            << file.path.join('/').constData();
}

TEST(TorrentSwarm, SeederEndsAtARatioOfOneOrWhenTold) {
    Swarm swarm(2'000'000);
    const QUrl magnet = swarm.torrent.magnet({swarm.port});
    TorrentRun leecher(magnet, swarm.folder.path(u"out"_s));
    ASSERT_TRUE(swarm.seeder.runUntil([&] { return swarm.seeder.last(u"uploaded"_s) > 0; }))
        << "nothing is given";
    EXPECT_EQ(leecher.ending(), u"complete"_s);
    EXPECT_TRUE(swarm.downloaded() == swarm.torrent.content);
    // Its library counts no bytes that it was just sending to a peer that leaves; the next one makes up for
    // them.
    const auto soon = std::chrono::steady_clock::now() + 10s;
    if (swarm.seeder.runUntil([&] { return std::chrono::steady_clock::now() > soon; })) {
        confineHelpers(swarm.folder.path(u"another"_s));
        EXPECT_EQ(TorrentRun(magnet, swarm.folder.path(u"again"_s)).ending(), u"complete"_s);
    }
    EXPECT_EQ(swarm.seeder.exitStatus(), 0);
    EXPECT_EQ(swarm.seeder.ending(), u"done"_s);
    EXPECT_GE(swarm.seeder.last(u"uploaded"_s), swarm.torrent.content.size());

    HelperRun told(swarm.seederAt(freePort()));
    ASSERT_TRUE(swarm.isSeeding(told));
    told.send(SIGTERM);
    EXPECT_EQ(told.exitStatus(), 0);
    EXPECT_EQ(told.ending(), u"done"_s);
    HelperRun nothingToGive(swarm.seederAt(freePort(), u"0"_s));
    EXPECT_EQ(nothingToGive.exitStatus(), 0) << "waits for a ratio that it cannot reach";
}

TEST(TorrentSwarm, AnUploadLimitOfZeroGivesNothing) {
    const Swarm swarm(1'500'000, u"100"_s);
    // It fetches from the seeder and knows no other; a third one knows nobody but it.
    HelperRun::Setup setup = swarm.peerOf(swarm.port, u"between"_s, {u"-upload-limit"_s, u"0"_s});
    setup.port = freePort();
    HelperRun between(setup);
    ASSERT_TRUE(between.runUntil([&] { return between.last(u"completed"_s) > 100'000; }));
    HelperRun asking(swarm.peerOf(setup.port, u"asking"_s));
    ASSERT_TRUE(asking.runUntil([&] { return asking.last(u"peers"_s) == 1; })) << "nobody asked";
    const qint64 held = between.last(u"completed"_s);
    ASSERT_TRUE(between.runUntil([&] { return between.last(u"completed"_s) > held + 200'000; }));
    ASSERT_TRUE(asking.runUntil([] { return true; }));
    EXPECT_EQ(asking.last(u"completed"_s), 0);
    EXPECT_EQ(between.last(u"uploaded"_s), 0);
}

TEST(TorrentSwarm, NoticesWhatOthersDoToItsFile) {
    const QByteArray others = testContent(800'000, 2);
    const auto write = [](QFile& file, const QByteArray& bytes) {
        ASSERT_TRUE(file.open(QFile::ReadWrite));
        file.write(bytes);
    };
    const auto replace = [&](QFile& file) {
        file.remove();
        write(file, others);
    };
    // What others do to a file, whether the download is stopped and started again around it, and how it ends.
    const std::tuple<const char*, bool, std::function<void(QFile&)>, QString> cases[] = {
        {"written to in place", true, [&](QFile& file) { write(file, others.first(file.size() - 1)); },
         u"done"_s},
        {"longer", true, [](QFile& file) { file.resize(800'001); }, u".*/f\" is longer than .*"_s},
        {"another one", true, replace, u".*/f\" exists and is not part of this torrent\\."_s},
        {"another one meanwhile", false, replace, u".*/f\" was changed by another program\\."_s},
        {"gone meanwhile", false, [](QFile& file) { file.remove(); }, u"The content cannot .*: No such .*"_s},
    };
    for (const auto& [what, isStopped, act, end] : cases) {
        SCOPED_TRACE(what);
        const Swarm swarm(800'000, u"400"_s);
        const HelperRun::Setup setup = swarm.peerOf(swarm.port, u"out"_s);
        std::optional<HelperRun> run(std::in_place, setup);
        ASSERT_TRUE(run->runUntil([&] { return run->last(u"completed"_s) > 100'000; }));
        if (isStopped) {
            run->send(SIGTERM);
            ASSERT_EQ(run->exitStatus(), 0);
        }
        QFile file(swarm.folder.path(u"out/f"_s));
        ASSERT_TRUE(file.exists());
        act(file);
        file.close();
        const bool isReplaced = swarm.downloaded() == others;
        if (isStopped)
            run.emplace(setup);
        const bool isDone = end == u"done"_s;
        EXPECT_EQ(run->exitStatus(), isDone ? 0 : 1);
        EXPECT_TRUE(isLike(run->ending(), end)) << run->ending().toStdString();
        EXPECT_EQ(swarm.downloaded() == swarm.torrent.content, isDone);
        EXPECT_EQ(swarm.downloaded() == others, isReplaced) << "somebody's file was written to";
    }
}

TEST(TorrentSwarm, FullDiskIsAnError) {
    const Swarm swarm(3'000'000);
    swarm.folder.write(u"small/x"_s, "");
    HelperRun::Setup setup = swarm.peerOf(swarm.port, u"small"_s);
    setup.wrapper = {u"unshare"_s, u"-rm"_s, u"sh"_s, u"-c"_s,
                     u"mount -t tmpfs -o size=1m none \"$2\" && echo '{}' && exec \"$0\" \"$@\""_s};
    HelperRun run(setup);
    if (!run.runUntil([&] { return !run.lines().isEmpty(); }))
        GTEST_SKIP() << "no file system of our own can be mounted here";
    EXPECT_EQ(run.exitStatus(), 1);
    EXPECT_EQ(run.ending(), u"The disk is full."_s);
}

} // namespace
} // namespace fetra::test
