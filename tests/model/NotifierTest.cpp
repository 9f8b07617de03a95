#include "app/model/Notifier.h"

#include "model/ModelWorld.h"

#include <QScopeGuard>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class NotifierTest : public test::ModelWorld {
protected:
    /// Of the next download, which has ended by then.
    [[nodiscard]] Notification told(const std::function<void(test::ScriptedTransfer&)>& end) {
        const qsizetype before = center.added.size();
        add(u"f.bin"_s);
        end(*runners.transfers.back());
        EXPECT_TRUE(test::runUntil([&] { return center.added.size() > before; }));
        return center.added.value(before);
    }

    test::FakeNotifications& center = fake.notifications;
};

TEST_F(NotifierTest, TellsHowADownloadHasEndedAndThatItCouldNot) {
    const QUrl destination = file(u"a b#%20.bin"_s);
    const auto completes = [&](test::ScriptedTransfer& transfer) { transfer.finish(result(destination)); };
    const Notification complete = told(completes);
    EXPECT_EQ(complete.title, u"Download complete"_s);
    EXPECT_EQ(complete.body, u"a b#%20.bin"_s);
    EXPECT_EQ(complete.userInfo, (QMap<QString, QString>{{u"path"_s, folder.path(u"a b#%20.bin"_s)}}));

    center.error = u"no room"_s;
    const Notification failed = told([](auto& transfer) { transfer.fail(DownloadError::badStatus(404)); });
    EXPECT_NE(failed.identifier, complete.identifier);
    EXPECT_EQ(failed.title, u"Download failed"_s);
    EXPECT_EQ(failed.body, u"f.bin: Server returned HTTP 404"_s);
    EXPECT_EQ(failed.userInfo, (QMap<QString, QString>{}));
    EXPECT_EQ(error(), u"Could not deliver notification: no room"_s);
}

TEST_F(NotifierTest, IsSilentWhereNobodyWantsNotificationsAndAsksOnceForPermission) {
    const Item item = addComplete(u"a"_s);
    model().settings().set(AppSettings::notifyOnFinish, false);
    model().notifier().send(*item, true);
    model().settings().set(AppSettings::notifyOnFinish, true);
    center.usable = false;
    model().notifier().send(*item, true);
    model().notifier().start();
    EXPECT_EQ(center.added.size(), 0);
    EXPECT_EQ(center.requests, 0);
    center.usable = true;
    center.error = u"No such service."_s;
    for (int starts = 0; starts < 2; ++starts) {
        center.activate = nullptr;
        model().notifier().start();
        EXPECT_EQ(center.requests, 1);
        EXPECT_TRUE(center.activate);
    }
    EXPECT_EQ(error(), u"Notification authorization failed: No such service."_s);
}

TEST_F(NotifierTest, ShowsTheFileOfAnActivatedNotification) {
    const QString path = folder.write(u"a b#%20.bin"_s, "x");
    const auto back = qScopeGuard([from = QDir::currentPath()] { QDir::setCurrent(from); });
    QDir::setCurrent(folder.path());
    model().notifier().becomeDelegate();
    for (const QString& wrong : {QString(), u"a b#%20.bin"_s, u"file://"_s + path, folder.path(u"gone"_s)})
        center.activate({{u"path"_s, wrong}});
    center.activate({});
    EXPECT_EQ(fake.workspace.revealed.size(), 0);

    center.activate({{u"path"_s, path}, {u"activationToken"_s, u"front"_s}});
    EXPECT_EQ(fake.workspace.revealed, QList<QList<QUrl>>{{QUrl::fromLocalFile(path)}});
    EXPECT_EQ(fake.workspace.token, u"front"_s);
    stopModel();
    center.activate({{u"path"_s, path}});
    EXPECT_EQ(fake.workspace.revealed.size(), 1);
}

} // namespace
} // namespace fetra
