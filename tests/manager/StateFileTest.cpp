#include "support/ManagerWorld.h"
#include "support/SystemFaults.h"

#include <QFile>

#include <chrono>

namespace fetra {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using test::SystemFaults;

class StateFileTest : public test::ManagerWorld {
protected:
    QByteArray state(const QByteArray& from, const QByteArray& to) {
        QByteArray text =
            R"({"items":[{"id":"6F9619FF-8B86-D011-B42D-00CF4FC964FF","url":"http:\/\/h.example/f",)"
            R"("mirrors":[],"directory":"file:///tmp","connections":4,"filename":"f",)"
            R"("status":"failed","receivedBytes":5,"averageBytesPerSecond":0,"errorMessage":"why",)"
            R"("addedAt":700000000.25}],"maxConcurrentDownloads":2,"connectionsPerDownload":8,)"
            R"("defaultDirectory":"file:///tmp","autoStart":true,"torrentUploadLimitKB":7,)"
            R"("torrentSeedAfterComplete":true})";
        EXPECT_TRUE(text.contains(from)) << from.toStdString();
        return text.replace(from, to);
    }
    DownloadManager& load(const QByteArray& content) {
        stop();
        folder.write(u"Fetra/state.json"_s, content);
        return start();
    }
};

TEST_F(StateFileTest, BringsListAndSettingsBack) {
    load(state("", ""));
    EXPECT_TRUE(manager().torrentSeedAfterComplete());
    ASSERT_EQ(manager().items().size(), 1);
    EXPECT_EQ(item(0)->errorMessage(), u"why"_s);
    EXPECT_EQ(item(0)->addedAt().toMSecsSinceEpoch(), 978'307'200'000 + 700'000'000'250);
    EXPECT_EQ(folder.read(u"Fetra/state.json"_s), state("", "")) << "loading writes nothing";

    const DownloadRecord before = item(0)->record();
    manager().setAutoStart(false);
    start();
    EXPECT_FALSE(manager().autoStart());
    EXPECT_TRUE(item(0)->record() == before);
}

TEST_F(StateFileTest, BringsValuesIntoTheirRangesAndUnfinishedItemsIntoTheQueue) {
    using enum DownloadStatus;
    // A part of the file, what is there instead, and the settings and the item's status then.
    const std::tuple<QByteArray, QByteArray, QList<qint64>, DownloadStatus> cases[] = {
        {"", "", {2, 8, 7}, failed},
        {R"("maxConcurrentDownloads":2)", R"("maxConcurrentDownloads":0)", {1, 8, 7}, failed},
        {R"("connectionsPerDownload":8)", R"("connectionsPerDownload":-5)", {2, 1, 7}, failed},
        {R"("torrentUploadLimitKB":7)", R"("more":[1])", {2, 8, 64}, failed},
        {R"("status":"failed")", R"("status":"downloading")", {2, 8, 7}, probing},
        {R"("status":"failed")", R"("status":"paused")", {2, 8, 7}, paused},
    };
    for (const auto& [from, to, settings, status] : cases) {
        load(state(from, to));
        EXPECT_EQ(settings,
                  (QList<qint64>{manager().maxConcurrentDownloads(), manager().connectionsPerDownload(),
                                 manager().torrentUploadLimitKB()}));
        EXPECT_EQ(item(0)->status(), status) << to.toStdString();
    }
    load(state(R"("failed")", R"("probing")").replace(R"("autoStart":true)", R"("autoStart":false)"));
    EXPECT_EQ(item(0)->status(), paused);
}

TEST_F(StateFileTest, KeepsWhatItCannotReadBeforeReplacingIt) {
    const std::vector<std::pair<QByteArray, QByteArray>> mistakes{
        {R"("status":"failed")", R"("status":"resting")"},
        {R"("id":"6F9619FF)", R"("id":"G)"},
        {R"("url":"http:\/\/h.example/f")", R"("url":"f")"},
        {R"("mirrors":[])", R"("mirrors":["http://a","b"])"},
        {R"("connections":4,)", ""},
        {R"("receivedBytes":5)", R"("receivedBytes":5.5)"},
        {R"("addedAt":700000000.25)", R"("addedAt":1e300)"},
        {R"("errorMessage":"why")", R"("errorMessage":null)"},
        {R"("autoStart":true)", R"("autoStart":1)"},
        {R"({"items")", R"([{"items")"},
        {R"(true})", R"(true)"},
    };
    for (const auto& [from, to] : mistakes) {
        SCOPED_TRACE(to.toStdString());
        const QByteArray broken = state(from, to);
        QFile::remove(statePath() + u".unreadable"_s);
        QFile::remove(statePath() + u".synced"_s);
        load(broken);
        EXPECT_TRUE(manager().items().isEmpty());
        EXPECT_EQ(folder.read(u"Fetra/state.json"_s), broken);
        add(u"new"_s, false);
        EXPECT_EQ(folder.read(u"Fetra/state.json.unreadable"_s), broken);
        EXPECT_EQ(folder.mode(u"Fetra/state.json.unreadable"_s), 0600U);
    }
    load("[]");
    add(u"new"_s, false);
    EXPECT_EQ(folder.read(u"Fetra/state.json.unreadable.2"_s), "[]") << "the first one is another list";
}

TEST_F(StateFileTest, MakesSenseOfAFileWrittenByHand) {
    const QByteArray text = state("", "");
    const QByteArray record = text.mid(10, text.indexOf("}],") - 9);
    QByteArray twice = text;
    twice.replace(record, record + ',' + record).replace("\"failed\"", "\"queued\"");
    twice.replace("\"directory\":\"file:///tmp\"", "\"directory\":\"http://x/\",\"destination\":\"file:f\"");
    load(twice);
    ASSERT_EQ(manager().items().size(), 2);
    EXPECT_NE(item(0)->id(), item(1)->id());
    EXPECT_EQ(runners.transfers.size(), 2U);
    EXPECT_EQ(item(0)->directory(), manager().defaultDirectory());
    EXPECT_EQ(item(0)->destination(), std::nullopt);
}

TEST_F(StateFileTest, SecuresTheLastSyncedGenerationWhileSavesGoOn) {
    SystemFaults faults;
    faults.slowSyncs(50ms);
    const QString synced = u"Fetra/state.json.synced"_s;
    for (int number = 0; number < 1000 && !folder.contains(synced); ++number) {
        add(u"a"_s, false);
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_TRUE(folder.contains(synced));
}

TEST_F(StateFileTest, SecuresNothingThatCouldNotBeSynced) {
    add(u"a"_s, false);
    start();
    const QByteArray secured = folder.read(u"Fetra/state.json"_s);
    SystemFaults faults;
    faults.failSync({EIO});
    add(u"b"_s, false);
    stop();
    EXPECT_EQ(folder.read(u"Fetra/state.json.synced"_s), secured);
    EXPECT_NE(folder.read(u"Fetra/state.json"_s), secured);
}

TEST_F(StateFileTest, WhatCouldNotBeSavedIsSavedAtTheEnd) {
    add(u"a"_s, false);
    ASSERT_TRUE(QDir().mkpath(folder.path(u"Fetra/state.json.tmp"_s)));
    add(u"b"_s, false);
    ASSERT_EQ(savedStatuses(), u"paused"_s);
    ASSERT_TRUE(QDir().rmdir(folder.path(u"Fetra/state.json.tmp"_s)));
    stop();
    EXPECT_EQ(savedStatuses(), u"paused paused"_s);
}

TEST_F(StateFileTest, IsTheUsersAlone) {
    add(u"a"_s, false);
    stop();
    for (const QString& name : folder.names(u"Fetra"_s))
        EXPECT_EQ(folder.mode(u"Fetra/"_s + name), 0600U) << name.toStdString();
    EXPECT_EQ(folder.mode(u"Fetra"_s), 0700U);
}

TEST_F(StateFileTest, NeverHoldsTheMainThreadForASlowDisk) {
    manager().setMaxConcurrentDownloads(1);
    QString text;
    for (int number = 0; number < 1000; ++number)
        text += u"http://host.example/%1 "_s.arg(number);
    ASSERT_EQ(manager().add(text).size(), 1000);
    SystemFaults faults;
    faults.slowSyncs(2s);
    const std::function<void()> works[] = {[&] { add(u"x"_s); }, [&] { manager().pause(item(500)); },
                                           [&] { manager().pauseAll(); }};
    for (const auto& work : works) {
        const auto begun = std::chrono::steady_clock::now();
        work();
        // Far from one sync, and from what a busy machine or instrumented code takes.
        EXPECT_LT(std::chrono::steady_clock::now() - begun, 1s);
    }
    faults.slowSyncs({});
}

} // namespace
} // namespace fetra
