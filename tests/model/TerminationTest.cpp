#include "app/model/AppDelegate.h"
#include "model/ModelWorld.h"

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

} // namespace
} // namespace fetra
