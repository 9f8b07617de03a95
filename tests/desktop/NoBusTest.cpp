#include "app/desktop/DBusNotifications.h"
#include "app/desktop/DesktopWorkspace.h"
#include "app/desktop/LauncherBadge.h"
#include "app/desktop/StatusTray.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

TEST(NoBusTest, TheDesktopIsPoorAndNothingFails) {
    // One that was never made, and one of a bus that cannot be reached.
    for (const QDBusConnection& connection :
         {QDBusConnection(u"none"_s),
          QDBusConnection::connectToBus(u"unix:path=/nonexistent/bus"_s, u"a"_s)}) {
        int completed = 0;
        const auto complete = [&](const std::optional<QString>& error) {
            EXPECT_EQ(error, std::nullopt);
            ++completed;
        };
        DBusNotifications center(connection);
        EXPECT_FALSE(center.isUsable());
        center.add({u"a"_s, u"Finished"_s, u"file.iso"_s}, complete);
        center.requestAuthorization(complete);
        EXPECT_EQ(completed, 0) << "later, whatever the answer";
        LauncherBadge(connection).show(3);
        QList<QUrl> opened;
        DesktopWorkspace workspace(connection, [&](const QUrl& url) {
            opened.append(url);
            return true;
        });
        workspace.reveal({QUrl(u"file:///etc/hostname"_s)});
        const StatusTray tray(connection, [] { return false; });
        EXPECT_TRUE(runUntil([&] { return completed == 2 && !opened.isEmpty(); }));
        EXPECT_EQ(opened, QList{QUrl(u"file:///etc"_s)});
        EXPECT_FALSE(tray.isAvailable());
    }
}

} // namespace
} // namespace fetra::test
