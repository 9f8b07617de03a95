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
#include <QRegularExpression>

#include <csignal>
#include <functional>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

/// A folder for everything, and the arguments of a helper that has a complete copy.
class Swarm {
public:
    explicit Swarm(TestTorrent content)
        : torrent(std::move(content)) {
        confineHelpers(folder.path(u"data"_s));
        folder.write(u"x.torrent"_s, torrent.bytes());
        folder.write(u"seed/"_s + QString::fromUtf8(torrent.name), torrent.content);
    }

    [[nodiscard]] HelperRun::Setup seeder(quint16 port, const QString& limitKB = u"100000"_s) const {
        return {.arguments = {u"-o"_s, folder.path(u"seed"_s), u"-upload-limit"_s, limitKB, u"-seed"_s,
                              folder.path(u"x.torrent"_s)},
                .dataFolder = folder.path(u"seeder%1"_s.arg(port)),
                .port = port};
    }
    [[nodiscard]] QByteArray downloaded() const {
        return folder.tryRead(u"out/"_s + QString::fromUtf8(torrent.name)).value_or(QByteArray());
    }

    const TempFolder folder;
    const TestTorrent torrent;
};

bool isComplete(HelperRun& seeder, const TestTorrent& torrent) {
    return seeder.runUntil([&] { return seeder.last(u"completed"_s) == torrent.content.size(); });
}

TEST(TorrentSwarm, MagnetLinkIsKilledResumedPausedAndCompleted) {
    const Swarm swarm({.name = "film.bin", .content = testContent(6'000'000, 6'000'000)});
    const qint64 size = swarm.torrent.content.size();
    const quint16 ports[] = {freePort(), freePort()};
    // What is fetched twice after the kill is more than one of them gives: each stops at a ratio of 1.
    HelperRun first(swarm.seeder(ports[0], u"500"_s));
    HelperRun second(swarm.seeder(ports[1], u"500"_s));
    ASSERT_TRUE(isComplete(first, swarm.torrent) && isComplete(second, swarm.torrent));
    const QUrl magnet = swarm.torrent.magnet({ports[0], ports[1]});
    const QString wrapper =
        swarm.folder.write(u"wrapper"_s, "#!/bin/sh\necho $$ > \"${0%wrapper}pid\"\nexec \"" FETRA_BIN_DIR
                                         "/fetra-torrent\" \"$@\"\n");
    QFile::setPermissions(wrapper, QFile::ReadOwner | QFile::ExeOwner);
    qputenv("FETRA_TORRENT_HELPER", wrapper.toUtf8());

    const auto held = [](const TorrentRun& run) {
        qint64 most = 0;
        for (const DownloadProgress& report : run.reports())
            most = std::max(most, report.receivedBytes);
        return most;
    };
    {
        TorrentRun run(magnet, swarm.folder.path(u"out"_s));
        ASSERT_TRUE(eventually(20s, [&] { return run.receivedBytes() > 1'000'000; }));
        ::kill(swarm.folder.read(u"pid"_s).trimmed().toInt(), SIGKILL);
        EXPECT_EQ(run.ending(), u"exhaustedRetries torrent stopped before completion"_s);
        EXPECT_LT(held(run), size);
    }
    qint64 paused = 0;
    {
        TorrentRun run(magnet, swarm.folder.path(u"out"_s));
        ASSERT_TRUE(eventually(20s, [&] { return run.receivedBytes() > 2'500'000; }));
        EXPECT_EQ(run.starts(), QStringList(u"film.bin"_s)) << "known from the state, not from peers";
        const auto begun = std::chrono::steady_clock::now();
        run.cancel();
        EXPECT_EQ(run.ending(), u"cancelled"_s);
        EXPECT_LT(std::chrono::steady_clock::now() - begun, 7s);
        paused = held(run);
        const auto reports = run.reports();
        const auto isFirst = [](const DownloadProgress& report) { return report.receivedBytes > 0; };
        EXPECT_GE(std::ranges::find_if(reports, isFirst)->receivedBytes, 500'000)
            << "the kill cost what was there";
    }
    ASSERT_LT(paused, size);
    TorrentRun run(magnet, swarm.folder.path(u"out"_s));
    ASSERT_TRUE(eventually(20s, [&] { return run.receivedBytes() > 0; }));
    EXPECT_GE(run.reports().back().receivedBytes, paused * 9 / 10) << "the pause cost what was there";
    ASSERT_EQ(run.ending(), u"complete"_s);
    EXPECT_TRUE(swarm.downloaded() == swarm.torrent.content);
    EXPECT_EQ(run.result()->destination, QUrl::fromLocalFile(swarm.folder.path(u"out/film.bin"_s)));
    EXPECT_EQ(run.result()->bytes, size);
    EXPECT_EQ(swarm.folder.names(u"out"_s), QStringList(u"film.bin"_s));
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
    const Swarm swarm({.name = "f", .content = testContent(2'000'000, 2'000'000)});
    const quint16 port = freePort();
    HelperRun seeder(swarm.seeder(port));
    ASSERT_TRUE(isComplete(seeder, swarm.torrent));
    TorrentRun leecher(swarm.torrent.magnet({port}), swarm.folder.path(u"out"_s));
    EXPECT_EQ(leecher.ending(), u"complete"_s);
    EXPECT_TRUE(swarm.downloaded() == swarm.torrent.content);
    // Its library counts no bytes that it was just sending to a peer that leaves; the next one makes up for
    // them.
    const auto soon = std::chrono::steady_clock::now() + 10s;
    if (seeder.runUntil([&] { return std::chrono::steady_clock::now() > soon; })) {
        confineHelpers(swarm.folder.path(u"another"_s));
        TorrentRun another(swarm.torrent.magnet({port}), swarm.folder.path(u"again"_s));
        EXPECT_EQ(another.ending(), u"complete"_s);
    }
    EXPECT_EQ(seeder.exitStatus(), 0);
    EXPECT_EQ(seeder.ending(), u"done"_s);
    EXPECT_GE(seeder.last(u"uploaded"_s), swarm.torrent.content.size());

    HelperRun told(swarm.seeder(freePort()));
    ASSERT_TRUE(isComplete(told, swarm.torrent));
    told.send(SIGTERM);
    EXPECT_EQ(told.exitStatus(), 0);
    EXPECT_EQ(told.ending(), u"done"_s);
    HelperRun nothingToGive(swarm.seeder(freePort(), u"0"_s));
    EXPECT_EQ(nothingToGive.exitStatus(), 0) << "waits for a ratio that it cannot reach";
}

/// An upload limit in kilobytes a second.
class TorrentSwarmUpload : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Limits, TorrentSwarmUpload, ::testing::Values(0, 500));

TEST_P(TorrentSwarmUpload, LimitOfZeroGivesNothingAndAnyOtherDoes) {
    const Swarm swarm({.name = "f", .content = testContent(1'500'000, 1'500'000)});
    const quint16 source = freePort();
    const quint16 middle = freePort();
    HelperRun seeder(swarm.seeder(source, u"100"_s));
    ASSERT_TRUE(isComplete(seeder, swarm.torrent));
    // It fetches from the seeder and knows no other; a third one knows nobody but it.
    HelperRun between({.arguments = {u"-o"_s, swarm.folder.path(u"between"_s), u"-upload-limit"_s,
                                     QString::number(GetParam()), swarm.torrent.magnet({source}).toString()},
                       .dataFolder = swarm.folder.path(u"d1"_s),
                       .port = middle});
    ASSERT_TRUE(between.runUntil([&] { return between.last(u"completed"_s) > 100'000; }));
    HelperRun asking(
        {.arguments = {u"-o"_s, swarm.folder.path(u"asking"_s), swarm.torrent.magnet({middle}).toString()},
         .dataFolder = swarm.folder.path(u"d2"_s)});
    ASSERT_TRUE(asking.runUntil([&] { return asking.last(u"peers"_s) == 1; })) << "nobody asked";
    if (GetParam() > 0) {
        EXPECT_TRUE(asking.runUntil([&] { return asking.last(u"completed"_s) > 0; }));
        EXPECT_TRUE(between.runUntil([&] { return between.last(u"uploaded"_s) > 0; }));
        return;
    }
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
        const Swarm swarm({.name = "f", .content = testContent(800'000, 800'000)});
        const quint16 port = freePort();
        HelperRun seeder(swarm.seeder(port, u"400"_s));
        ASSERT_TRUE(isComplete(seeder, swarm.torrent));
        const HelperRun::Setup setup{
            .arguments = {u"-o"_s, swarm.folder.path(u"out"_s), swarm.torrent.magnet({port}).toString()},
            .dataFolder = swarm.folder.path(u"d"_s)};
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
        EXPECT_TRUE(
            QRegularExpression(QRegularExpression::anchoredPattern(end)).match(run->ending()).hasMatch())
            << run->ending().toStdString();
        EXPECT_EQ(swarm.downloaded() == swarm.torrent.content, isDone);
        EXPECT_EQ(swarm.downloaded() == others, isReplaced) << "somebody's file was written to";
    }
}

} // namespace
} // namespace fetra::test
