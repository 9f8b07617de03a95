#include "app/model/AppDelegate.h"
#include "http/CurlClient.h"
#include "model/ModelWorld.h"
#include "support/FileScript.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"
#include "transfer/ResumeStore.h"

#include <QSignalSpy>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using Reply = AppDelegate::TerminateReply;
using test::runUntil;

class TerminationTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        delegate.setModel(&model());
    }
    /// What the delegate has answered later, a word an answer.
    [[nodiscard]] QString replies() const {
        QStringList texts;
        for (const QList<QVariant>& each : spy_)
            texts.append(each.at(0).toBool() ? u"quit"_s : u"stay"_s);
        return texts.join(u' ');
    }

    AppDelegate delegate{QUrl()};

private:
    const QSignalSpy spy_{&delegate, &AppDelegate::terminationReplied};
};

TEST_F(TerminationTest, QuitsAtOnceWhenNothingRuns) {
    addPartial(u"paused"_s);
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::now);
    EXPECT_EQ(AppDelegate(QUrl()).applicationShouldTerminate(), Reply::now);
    EXPECT_TRUE(fake.alerts.shown.empty());
}

TEST_F(TerminationTest, AsksOnceWhileDownloadsRunAndChangesNothingOnCancel) {
    manager().setMaxConcurrentDownloads(2);
    addAll(u"abc"_s);
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later);
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later);
    ASSERT_EQ(fake.alerts.shown.size(), 1u);
    const Alert& alert = fake.alerts.shown[0];
    EXPECT_EQ(alert.message, u"Quit Fetra?"_s);
    EXPECT_EQ(alert.informativeText,
              u"2 downloads are in progress. They will resume next time you open Fetra."_s);
    EXPECT_EQ(alert.buttons, (QStringList{u"Quit"_s, u"Cancel"_s}));
    fake.alerts.answer(1);
    EXPECT_EQ(replies(), u"stay"_s);
    EXPECT_EQ(list(), u"ABc"_s);
    EXPECT_FALSE(model().isTerminating());
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later);
    EXPECT_EQ(fake.alerts.shown.size(), 2u);
}

TEST_F(TerminationTest, StoresWhatRanOrWaitedAsWaitingAndWhatWasPausedAsPaused) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"abc"_s);
    manager().pause(item(2));
    delegate.applicationShouldTerminate();
    fake.alerts.answer(0);
    EXPECT_TRUE(model().isTerminating());
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later);
    ASSERT_TRUE(runUntil([&] { return !replies().isEmpty(); }));
    EXPECT_EQ(replies(), u"quit"_s);
    EXPECT_EQ(savedStatuses(), u"queued queued paused"_s);
    EXPECT_EQ(manager().activeCount(), 0);
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later) << "nobody leaves before the answer";
    add(u"captured"_s);
    EXPECT_EQ(list(), u"abccaptured"_s) << "nothing starts any more";
    EXPECT_EQ(savedStatuses(), u"queued queued paused queued"_s);
}

TEST_F(TerminationTest, AnEndThatDoesNotWaitStillGoesOnAtTheNextStart) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"ab"_s);
    EXPECT_EQ(delegate.terminateUnasked(), Reply::later);
    EXPECT_TRUE(fake.alerts.shown.empty());
    delegate.applicationWillTerminate();
    delegate.setModel(nullptr);
    stopModel();
    stop();
    EXPECT_EQ(savedStatuses(), u"queued queued"_s);
}

TEST_F(TerminationTest, StaysOpenWhenDownloadsDoNotStopInAMinute) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"ab"_s);
    transfer(0).staysDeaf = true;
    delegate.applicationShouldTerminate();
    fake.alerts.answer(0);
    clock.advance(59.9);
    ASSERT_TRUE(runUntil([&] { return transfer(0).isCancelled(); }));
    EXPECT_EQ(replies(), QString());
    clock.advance(0.2);
    ASSERT_TRUE(runUntil([&] { return !replies().isEmpty(); }));
    EXPECT_EQ(replies(), u"stay"_s);
    EXPECT_EQ(error(), u"Downloads are still stopping. Fetra stayed open to protect their resume data. Try "
                       "quitting again when they are paused."_s);
    EXPECT_FALSE(model().isTerminating());
    transfer(0).fail(DownloadError::cancelled());
    ASSERT_TRUE(runUntil([&] { return item(0)->status() == DownloadStatus::paused; }));
    EXPECT_EQ(item(1)->status(), DownloadStatus::paused);
    model().resume({item(1)});
    EXPECT_TRUE(item(1)->isActive()) << "the application goes on";
}

TEST_F(TerminationTest, WaitsWithoutAskingForARemovalThatIsUnderWay) {
    const Item item = addComplete(u"f"_s);
    model().performRemoval({.ids = {item->id()}, .deleteFiles = true});
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later);
    EXPECT_TRUE(fake.alerts.shown.empty());
    ASSERT_TRUE(runUntil([&] { return !replies().isEmpty(); }));
    EXPECT_EQ(replies(), u"quit"_s);
    EXPECT_FALSE(folder.contains(u"f"_s));
}

/// A whole application but for its windows, with transfers from a real server.
class RealTerminationTest : public ::testing::Test {
protected:
    using Item = DownloadManager::Item;

    struct Application {
        Application(const test::TempFolder& folder, RunnerFactory& runners, const Clock& clock)
            : manager({.storeURL = QUrl::fromLocalFile(folder.path(u"Fetra/state.json"_s)),
                       .defaultDirectory = QUrl::fromLocalFile(folder.path())},
                      runners)
            , model(manager, fake.desktop(), clock)
            , delegate(QUrl()) {
            delegate.setModel(&model);
        }

        test::FakeDesktop fake;
        DownloadManager manager;
        AppModel model;
        AppDelegate delegate;
    };

    [[nodiscard]] std::unique_ptr<Application> start() {
        return std::make_unique<Application>(folder, runners_, clock_);
    }
    void serve(const test::Lies& lies) {
        server.setHandler(
            test::routes({{"/a.bin", test::serve(fileA, lies)}, {"/b.bin", test::serve(fileB, lies)}}));
    }
    [[nodiscard]] AppModel::Items addBoth(Application& application) {
        AppModel::Items items;
        for (const char* path : {"/a.bin", "/b.bin"})
            items.append(application.manager.add({.url = server.url(path), .connections = 4}));
        EXPECT_TRUE(runUntil(
            [&] { return items[0]->receivedBytes() > 2'000'000 && items[1]->receivedBytes() > 2'000'000; }));
        return items;
    }

    const test::TempFolder folder;
    const test::ServerFile fileA = test::ServerFile::ofSize(8 * 1024 * 1024);
    const test::ServerFile fileB = test::ServerFile::ofSize(9 * 1024 * 1024);
    test::ScriptedServer server;

private:
    CurlClient http_;
    SystemClock clock_;
    SystemRandom random_;
    Ticker ticker_;
    EngineRunners runners_{{http_, clock_, random_, ticker_}};
};

TEST_F(RealTerminationTest, AConfirmedQuitLosesNothingAndTheNextStartGoesOn) {
    serve({.totalBytesPerSecond = 3e6});
    std::unique_ptr<Application> application = start();
    const AppModel::Items items = addBoth(*application);
    QSignalSpy replies(&application->delegate, &AppDelegate::terminationReplied);
    ASSERT_EQ(application->delegate.applicationShouldTerminate(), Reply::later);
    application->fake.alerts.answer(0);
    ASSERT_TRUE(runUntil([&] { return !replies.isEmpty(); }));
    ASSERT_TRUE(replies.at(0).at(0).toBool());
    const qint64 shown = items[0]->receivedBytes() + items[1]->receivedBytes();
    qint64 held = 0;
    for (const QString& name : {u"a.bin.fetra"_s, u"b.bin.fetra"_s}) {
        const std::optional<ResumeRecord> record = ResumeStore::load(folder.path(name));
        ASSERT_TRUE(record) << name.toStdString();
        held += record->heldBytes();
    }
    EXPECT_GE(held, shown);
    application.reset();

    const qint64 sentBefore = server.bodyBytesSent();
    serve({});
    application = start();
    ASSERT_EQ(application->manager.items().size(), 2);
    ASSERT_TRUE(runUntil([&] {
        return application->manager.activeCount() == 0 && application->model.hasCompleted() &&
               !application->model.canResume();
    }));
    EXPECT_TRUE(folder.read(u"a.bin"_s) == fileA.content);
    EXPECT_TRUE(folder.read(u"b.bin"_s) == fileB.content);
    // Nothing that was on disk comes again: only the rest, and the byte that each probe asks for.
    EXPECT_LE(server.bodyBytesSent() - sentBefore, fileA.content.size() + fileB.content.size() - held + 2);
}

TEST_F(RealTerminationTest, RemovingWhileRunningLeavesNothingOfItOnDisk) {
    serve({.totalBytesPerSecond = 3e6});
    const std::unique_ptr<Application> application = start();
    const AppModel::Items items = addBoth(*application);
    application->model.performRemoval({.ids = {items[0]->id()}, .deleteFiles = true});
    application->model.performRemoval({.ids = {items[1]->id()}, .deleteFiles = false});
    ASSERT_TRUE(runUntil([&] { return application->model.deleting().isEmpty(); }));
    EXPECT_TRUE(application->manager.items().isEmpty());
    EXPECT_FALSE(application->manager.isTransferring());
    EXPECT_EQ(folder.names(), (QStringList{u"Fetra"_s, u"b.bin.fetra"_s, u"b.bin.part"_s}));
}

} // namespace
} // namespace fetra
