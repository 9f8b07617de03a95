#include "app/desktop/StatusTray.h"

#include "desktop/MockService.h"
#include "desktop/PrivateBus.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>

namespace fetra {

using namespace Qt::StringLiterals;
using namespace test;

namespace {

const QString hostProperty = u"IsStatusNotifierHostRegistered"_s;

class StatusTrayTest : public ::testing::Test {
protected:
    StatusTrayTest() {
        QObject::connect(&tray, &StatusTray::changed, &tray, [this] { heard.push_back(tray.isAvailable()); });
    }

    [[nodiscard]] bool becomes(bool available) {
        return runUntil([&] { return tray.isAvailable() == available; });
    }

    PrivateBus bus;
    QDBusConnection application = bus.connect();
    /// What the tray said each time it reported a change.
    std::vector<bool> heard;
    bool hasOlderTray = false;
    int olderTrayAsked = 0;
    StatusTray tray{application, [this] {
                        ++olderTrayAsked;
                        return hasOlderTray;
                    }};
};

TEST_F(StatusTrayTest, FollowsTheHostThroughTheSession) {
    EXPECT_FALSE(tray.isAvailable());
    auto watcher = std::make_unique<MockService>(bus, MockService::trayWatcher);
    const auto setHost = [&](bool hasHost) {
        watcher->setProperty(hostProperty, hasHost);
        watcher->emitSignal(hasHost ? u"StatusNotifierHostRegistered"_s : u"StatusNotifierHostUnregistered"_s,
                            {});
    };
    setHost(true);
    EXPECT_TRUE(becomes(true));
    hasOlderTray = true;
    setHost(false);
    EXPECT_TRUE(becomes(false)) << "another host may come";
    setHost(true);
    EXPECT_TRUE(becomes(true));
    // One of two hosts leaves.
    watcher->emitSignal(u"StatusNotifierHostUnregistered"_s, {});
    PrivateBus::settle(application, MockService::trayWatcher.name);
    EXPECT_TRUE(tray.isAvailable());
    StatusTray later(bus.connect(), [] { return false; });
    EXPECT_FALSE(later.isAvailable()) << "nobody has waited for the answer";
    EXPECT_TRUE(runUntil([&] { return later.isAvailable(); })) << "a host that was there before";
    hasOlderTray = false;
    watcher->stop();
    EXPECT_TRUE(becomes(false));
    EXPECT_EQ(heard, (std::vector<bool>{true, false, true, false}));
}

TEST_F(StatusTrayTest, CountsAnOlderTrayOnceTheBusHasSaidNo) {
    hasOlderTray = true;
    EXPECT_FALSE(tray.isAvailable());
    EXPECT_EQ(olderTrayAsked, 0) << "it would settle the kind of tray";
    EXPECT_TRUE(becomes(true));
    EXPECT_EQ(heard, (std::vector<bool>{true}));
    hasOlderTray = false;
    EXPECT_FALSE(tray.isAvailable());
}

} // namespace
} // namespace fetra
