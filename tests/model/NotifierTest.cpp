#include "app/model/Notifier.h"

#include "app/model/AppSettings.h"
#include "manager/DownloadItem.h"
#include "model/FakeDesktop.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QScopeGuard>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class NotifierTest : public ::testing::Test {
protected:
    NotifierTest() {
        notifier->onError = [this](const QString& message) { messages.append(message); };
    }

    [[nodiscard]] static DownloadItem item(const std::optional<QUrl>& destination = std::nullopt,
                                           const std::optional<QString>& error = std::nullopt) {
        return DownloadItem(DownloadRecord{
            .id = QUuid(u"{0a1b2c3d-0000-4000-8000-00000000abcd}"_s),
            .url = QUrl(u"https://host.example/f.bin"_s),
            .directory = QUrl(u"file:///tmp"_s),
            .connections = 4,
            .filename = u"f.bin"_s,
            .destination = destination,
            .errorMessage = error,
            .addedAt = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC),
        });
    }

    test::FakeNotifications center;
    test::FakeWorkspace workspace;
    test::FakePreferences preferences;
    AppSettings settings{preferences};
    std::unique_ptr<Notifier> notifier = std::make_unique<Notifier>(center, workspace, settings);
    QStringList messages;
};

TEST_F(NotifierTest, TellsHowADownloadHasEnded) {
    const QUrl file = QUrl::fromLocalFile(u"/tmp/a b#%20.bin"_s);
    const QMap<QString, QString> path{{u"path"_s, u"/tmp/a b#%20.bin"_s}};
    struct Case {
        bool completed;
        std::optional<QUrl> destination;
        std::optional<QString> error;
        QString title;
        QString body;
        QMap<QString, QString> userInfo;
    };
    const std::vector<Case> cases{
        {true, file, u"old"_s, u"Download complete"_s, u"f.bin"_s, path},
        {true, std::nullopt, std::nullopt, u"Download complete"_s, u"f.bin"_s, {}},
        {false, file, u"Disk full."_s, u"Download failed"_s, u"f.bin: Disk full."_s, {}},
        {false,
         file,
         std::nullopt,
         u"Download failed"_s,
         u"f.bin: The download could not be completed."_s,
         {}},
    };
    for (const Case& each : cases) {
        notifier->send(item(each.destination, each.error), each.completed);
        const Notification& last = center.added.last();
        EXPECT_EQ(last.identifier, u"0A1B2C3D-0000-4000-8000-00000000ABCD"_s);
        EXPECT_EQ(last.title, each.title);
        EXPECT_EQ(last.body, each.body);
        EXPECT_EQ(last.userInfo, each.userInfo);
    }
    EXPECT_EQ(center.added.size(), 4);
    EXPECT_EQ(messages, QStringList());
}

TEST_F(NotifierTest, IsSilentWhenTheUserOrTheDesktopWantsNoNotifications) {
    settings.set(AppSettings::notifyOnFinish, false);
    notifier->send(item(), true);
    settings.set(AppSettings::notifyOnFinish, true);
    center.usable = false;
    notifier->send(item(), true);
    notifier->start();

    EXPECT_EQ(center.added.size(), 0);
    EXPECT_EQ(center.requests, 0);
    EXPECT_FALSE(center.activate);
    EXPECT_FALSE(settings.isOn(AppSettings::requestedNotifications)) << "nobody has been asked";
}

TEST_F(NotifierTest, AsksForPermissionOnceAndListensAtEveryStart) {
    notifier->start();
    EXPECT_EQ(center.requests, 1);
    EXPECT_TRUE(settings.isOn(AppSettings::requestedNotifications));

    center.activate = nullptr;
    notifier->start();
    EXPECT_EQ(center.requests, 1);
    EXPECT_TRUE(center.activate);
}

TEST_F(NotifierTest, ShowsTheFileOfAnActivatedNotification) {
    const test::TempFolder folder;
    const QString file = folder.path(u"a b#%20.bin"_s);
    QFile created(file);
    ASSERT_TRUE(created.open(QIODevice::WriteOnly));
    const auto back = qScopeGuard([from = QDir::currentPath()] { QDir::setCurrent(from); });
    QDir::setCurrent(folder.path());
    notifier->becomeDelegate();

    for (const QString& path : {QString(), u"a b#%20.bin"_s, u"file://"_s + file, folder.path(u"gone"_s)})
        center.activate({{u"path"_s, path}});
    center.activate({});
    EXPECT_EQ(workspace.revealed.size(), 0);

    center.activate({{u"path"_s, file}, {u"activationToken"_s, u"front"_s}});
    EXPECT_EQ(workspace.revealed, QList<QList<QUrl>>{{QUrl::fromLocalFile(file)}});
    EXPECT_EQ(workspace.token, u"front"_s);

    notifier.reset();
    center.activate({{u"path"_s, file}});
    EXPECT_EQ(workspace.revealed.size(), 1);
}

TEST_F(NotifierTest, PassesOnWhatTheDesktopCouldNotDo) {
    center.error = u"No such service."_s;
    notifier->start();
    notifier->send(item(), true);
    EXPECT_EQ(messages, QStringList({u"Notification authorization failed: No such service."_s,
                                     u"Could not deliver notification: No such service."_s}));
}

} // namespace
} // namespace fetra
