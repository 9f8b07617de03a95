#include "app/model/Notifier.h"

#include "model/ModelWorld.h"

#include <QScopeGuard>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class NotifierTest : public test::ModelWorld {
protected:
    void send(bool completed, const std::optional<QUrl>& destination = std::nullopt,
              const std::optional<QString>& error = std::nullopt) {
        model().notifier().send(
            DownloadItem(DownloadRecord{.id = QUuid(u"{0a1b2c3d-0000-4000-8000-00000000abcd}"_s),
                                        .url = QUrl(u"https://host.example/f.bin"_s),
                                        .filename = u"f.bin"_s,
                                        .destination = destination,
                                        .errorMessage = error}),
            completed);
    }

    test::FakeNotifications& center = fake.notifications;
};

TEST_F(NotifierTest, TellsHowADownloadHasEnded) {
    const QUrl file = QUrl::fromLocalFile(u"/tmp/a b#%20.bin"_s);
    const QMap<QString, QString> path{{u"path"_s, u"/tmp/a b#%20.bin"_s}};
    struct Case {
        bool completed;
        std::optional<QUrl> destination;
        std::optional<QString> error;
        QString title, body;
        QMap<QString, QString> userInfo;
    };
    const QString complete = u"Download complete"_s;
    const QString failed = u"Download failed"_s;
    const Case cases[] = {
        {true, file, u"old"_s, complete, u"f.bin"_s, path},
        {true, {}, {}, complete, u"f.bin"_s, {}},
        {false, file, u"Disk full."_s, failed, u"f.bin: Disk full."_s, {}},
        {false, file, {}, failed, u"f.bin: The download could not be completed."_s, {}},
    };
    for (const Case& each : cases) {
        send(each.completed, each.destination, each.error);
        const Notification& last = center.added.last();
        EXPECT_EQ(last.identifier, u"0A1B2C3D-0000-4000-8000-00000000ABCD"_s);
        EXPECT_EQ(last.title, each.title);
        EXPECT_EQ(last.body, each.body);
        EXPECT_EQ(last.userInfo, each.userInfo);
    }
    EXPECT_EQ(center.added.size(), std::ssize(cases));
}

TEST_F(NotifierTest, IsSilentWhenTheUserOrTheDesktopWantsNoNotifications) {
    model().settings().set(AppSettings::notifyOnFinish, false);
    send(true);
    model().settings().set(AppSettings::notifyOnFinish, true);
    center.usable = false;
    send(true);
    model().notifier().start();
    EXPECT_EQ(center.added.size(), 0);
    EXPECT_EQ(center.requests, 0);
    EXPECT_FALSE(center.activate);
    EXPECT_FALSE(model().settings().isOn(AppSettings::requestedNotifications)) << "nobody has been asked";
}

TEST_F(NotifierTest, AsksForPermissionOnceAndListensAtEveryStart) {
    center.error = u"No such service."_s;
    model().notifier().start();
    center.activate = nullptr;
    model().notifier().start();
    EXPECT_EQ(center.requests, 1);
    EXPECT_TRUE(center.activate);
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
