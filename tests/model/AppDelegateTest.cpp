#include "app/model/AppDelegate.h"

#include "model/ModelWorld.h"
#include "support/Environment.h"

#include <QFile>
#include <QSignalSpy>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using Reply = AppDelegate::TerminateReply;
using test::runUntil;

class AppDelegateTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        delegate.setModel(&model());
    }
    /// Whether that is the answer that comes later, and the only one.
    [[nodiscard]] bool replies(bool quits) const {
        return runUntil([this] { return !replies_.isEmpty(); }) && replies_.size() == 1 &&
               replies_.first().first().toBool() == quits;
    }

    AppDelegate delegate{file(u"bundle"_s)};
    const QSignalSpy replies_{&delegate, &AppDelegate::terminationReplied};
};

TEST_F(AppDelegateTest, LaunchingTellsBrowsersOfTheHostAndStartsTheModel) {
    const test::Environment configuration("XDG_CONFIG_HOME", folder.path(u"config"_s).toUtf8());
    const test::Environment data("XDG_DATA_HOME", folder.path(u"data"_s).toUtf8());
    folder.write(u"config/chromium/profile"_s, "");
    QFile::setPermissions(folder.write(u"bundle/Contents/Helpers/fetra-host"_s, "#!"),
                          QFile::ReadOwner | QFile::ExeOwner);
    delegate.applicationWillFinishLaunching();
    EXPECT_TRUE(fake.notifications.activate);
    delegate.applicationDidFinishLaunching();
    EXPECT_TRUE(runUntil([&] {
        return folder.contains(u"config/chromium/NativeMessagingHosts/com.fetra.host.json"_s) &&
               fake.badge.shown;
    }));
}

TEST_F(AppDelegateTest, OpeningTakesTorrentFilesFirstThenLinksAndIgnoresOtherFiles) {
    const QUrl magnet(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s);
    delegate.application({magnet, file(u"a.zip"_s), file(u"b.torrent"_s)});
    ASSERT_EQ(manager().items().size(), 2);
    EXPECT_EQ(item(0)->url(), file(u"b.torrent"_s));
    EXPECT_EQ(item(1)->url(), magnet);
    EXPECT_EQ(error(), QString());
}

TEST_F(AppDelegateTest, TheLastWindowEndsTheApplicationThatShallShowNoIcon) {
    EXPECT_FALSE(delegate.applicationShouldTerminateAfterLastWindowClosed());
    model().settings().set(AppSettings::showMenuBar, false);
    EXPECT_TRUE(delegate.applicationShouldTerminateAfterLastWindowClosed());
}

TEST_F(AppDelegateTest, StoresWhatRanOrWaitedAsWaitingAndWhatWasPausedAsPaused) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"abc"_s);
    manager().pause(item(2));
    for (int asked = 0; asked < 2; ++asked)
        EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later);
    EXPECT_EQ(fake.alerts.shown.size(), 1u);
    fake.alerts.answer(0);
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later);
    EXPECT_TRUE(replies(true));
    EXPECT_EQ(savedStatuses(), u"queued queued paused"_s);
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later) << "nobody leaves before the answer";
    add(u"captured"_s);
    EXPECT_EQ(list(), u"abccaptured"_s) << "nothing starts any more";
    EXPECT_EQ(savedStatuses(), u"queued queued paused queued"_s);
}

TEST_F(AppDelegateTest, AnEndThatDoesNotWaitStillGoesOnAtTheNextStart) {
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

TEST_F(AppDelegateTest, StaysOpenWhenDownloadsDoNotStopInAMinute) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"ab"_s);
    transfer(0).staysDeaf = true;
    delegate.applicationShouldTerminate();
    fake.alerts.answer(0);
    clock.advance(59.9);
    ASSERT_TRUE(runUntil([&] { return transfer(0).isCancelled(); }));
    EXPECT_TRUE(replies_.isEmpty());
    clock.advance(0.2);
    EXPECT_TRUE(replies(false));
    EXPECT_EQ(error(), u"Downloads are still stopping. Fetra stayed open to protect their resume data. Try "
                       "quitting again when they are paused."_s);
    transfer(0).fail(DownloadError::cancelled());
    ASSERT_TRUE(runUntil([&] { return item(0)->status() == DownloadStatus::paused; }));
    EXPECT_EQ(item(1)->status(), DownloadStatus::paused);
    model().resume({item(1)});
    EXPECT_TRUE(item(1)->isActive()) << "the application goes on";
}

TEST_F(AppDelegateTest, WaitsWithoutAskingForARemovalThatIsUnderWay) {
    const Item item = addComplete(u"f"_s);
    model().performRemoval({.ids = {item->id()}, .deleteFiles = true});
    EXPECT_EQ(delegate.applicationShouldTerminate(), Reply::later);
    EXPECT_TRUE(fake.alerts.shown.empty());
    EXPECT_TRUE(replies(true));
    EXPECT_FALSE(folder.contains(u"f"_s));
}

} // namespace
} // namespace fetra
