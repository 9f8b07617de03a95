#include "app/desktop/DBusNotifications.h"
#include "app/desktop/DesktopWorkspace.h"
#include "app/desktop/LauncherBadge.h"
#include "app/desktop/StatusTray.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>

#include <mutex>

namespace fetra {

using namespace Qt::StringLiterals;
using namespace test;

namespace {

std::mutex mutex; ///< the bus has threads of its own
QStringList warnings;

class NoBusTest : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        warnings.clear();
        previous_ = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
            const std::lock_guard lock(mutex);
            if (text.contains("dbus"_L1, Qt::CaseInsensitive))
                warnings.append(text);
        });
    }
    void TearDown() override { qInstallMessageHandler(previous_); }

    /// Of a bus that cannot be reached, or the name of a connection that was never made.
    [[nodiscard]] static QDBusConnection connection() {
        const QString address = QString::fromLatin1(GetParam());
        return address.isEmpty() ? QDBusConnection(u"none"_s)
                                 : QDBusConnection::connectToBus(address, u"unreachable"_s);
    }

private:
    QtMessageHandler previous_ = nullptr;
};

TEST_P(NoBusTest, TheDesktopIsQuietlyPoor) {
    int completed = 0;
    const auto complete = [&](const std::optional<QString>& error) {
        EXPECT_EQ(error, std::nullopt);
        ++completed;
    };
    DBusNotifications center(connection());
    EXPECT_FALSE(center.isUsable());
    center.add({u"a"_s, u"Finished"_s, u"file.iso"_s}, complete);
    center.requestAuthorization(complete);
    EXPECT_EQ(completed, 0) << "later, whatever the answer";
    LauncherBadge badge(connection());
    badge.show(3);
    QList<QUrl> opened;
    DesktopWorkspace workspace(connection(), [&](const QUrl& url) {
        opened.append(url);
        return true;
    });
    workspace.reveal({QUrl(u"file:///etc/hostname"_s)});
    StatusTray tray(connection(), [] { return false; });

    EXPECT_TRUE(runUntil([&] { return completed == 2 && !opened.isEmpty(); }));
    EXPECT_EQ(opened, QList{QUrl(u"file:///etc"_s)});
    EXPECT_FALSE(tray.isAvailable());
    const std::lock_guard lock(mutex);
    EXPECT_EQ(warnings, QStringList());
}

INSTANTIATE_TEST_SUITE_P(Connections, NoBusTest, ::testing::Values("", "unix:path=/nonexistent/bus"));

} // namespace
} // namespace fetra
