#include "support/ManagerWorld.h"
#include "support/SystemFaults.h"

#include <QFile>

#include <chrono>

namespace fetra {
namespace {

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
    EXPECT_EQ(manager().maxConcurrentDownloads(), 2);
    EXPECT_EQ(manager().connectionsPerDownload(), 8);
    EXPECT_EQ(manager().torrentUploadLimitKB(), 7);
    EXPECT_TRUE(manager().torrentSeedAfterComplete());
    ASSERT_EQ(manager().items().size(), 1);
    EXPECT_EQ(item(0)->errorMessage(), u"why"_s);
    EXPECT_EQ(item(0)->addedAt().toMSecsSinceEpoch(), 978'307'200'000 + 700'000'000'250);
    EXPECT_EQ(folder.read(u"Fetra/state.json"_s), state("", "")) << "loading writes nothing";

    const QList<DownloadRecord> before{item(0)->record()};
    manager().setAutoStart(false);
    start();
    EXPECT_FALSE(manager().autoStart());
    EXPECT_TRUE(item(0)->record() == before[0]);
}

TEST_F(StateFileTest, BringsValuesIntoTheirRangesAndUnfinishedItemsIntoTheQueue) {
    const std::tuple<QByteArray, QByteArray, std::function<bool()>> cases[] = {
        {R"("maxConcurrentDownloads":2)", R"("maxConcurrentDownloads":0)",
         [&] { return manager().maxConcurrentDownloads() == 1; }},
        {R"("connectionsPerDownload":8)", R"("connectionsPerDownload":-5)",
         [&] { return manager().connectionsPerDownload() == 1; }},
        {R"("torrentUploadLimitKB":7)", R"("torrentUploadLimitKB":-10)",
         [&] { return manager().torrentUploadLimitKB() == 0; }},
        {R"("torrentUploadLimitKB":7,"torrentSeedAfterComplete":true)", R"("more":[1])",
         [&] { return manager().torrentUploadLimitKB() == 64 && !manager().torrentSeedAfterComplete(); }},
        {R"("status":"failed")", R"("status":"downloading")",
         [&] { return item(0)->status() == DownloadStatus::probing; }},
        {R"("status":"failed")", R"("status":"paused")",
         [&] { return item(0)->status() == DownloadStatus::paused; }},
        {R"(6F9619FF-8B86)", R"(6f9619ff-8b86)", [&] { return manager().items().size() == 1; }},
    };
    for (const auto& [from, to, holds] : cases) {
        load(state(from, to));
        EXPECT_TRUE(holds()) << to.toStdString();
    }
    load(state(R"("status":"failed")", R"("status":"probing")")
             .replace("\"autoStart\":true", "\"autoStart\":false"));
    EXPECT_EQ(item(0)->status(), DownloadStatus::paused);
    EXPECT_TRUE(runners.transfers.empty());
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
    faults.slowSyncs(std::chrono::milliseconds(50));
    const QString synced = u"Fetra/state.json.synced"_s;
    for (int number = 0; number < 1000 && !folder.contains(synced); ++number) {
        add(u"a"_s, false);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
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
    manager().add(text);
    ASSERT_EQ(manager().items().size(), 1000);
    SystemFaults faults;
    faults.slowSyncs(std::chrono::seconds(2));
    const auto longest = [&](const std::function<void()>& work) {
        const auto begun = std::chrono::steady_clock::now();
        work();
        return std::chrono::steady_clock::now() - begun;
    };
    // Far from one sync, and from what a busy machine or instrumented code takes.
    const std::chrono::seconds most(1);
    for (int round = 0; round < 3; ++round) {
        EXPECT_LT(longest([&] { add(u"x"_s); }), most);
        EXPECT_LT(longest([&] { manager().pause(item(500 + round)); }), most);
    }
    EXPECT_LT(longest([&] { manager().pauseAll(); }), most);
    faults.slowSyncs({});
}

} // namespace
} // namespace fetra
