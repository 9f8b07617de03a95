#include "app/desktop/DesktopColorScheme.h"

#include "desktop/MockService.h"
#include "support/EventLoop.h"

#include <QDBusVariant>

#include <gtest/gtest.h>

namespace fetra {

using namespace Qt::StringLiterals;
using namespace test;
using Wish = DesktopColorScheme::Wish;

TEST(DesktopColorSchemeTest, TakesWhatThePortalSaysNowAndLater) {
    const PrivateBus bus;
    MockService portal(bus, {u"org.freedesktop.portal.Desktop"_s, u"/org/freedesktop/portal/desktop"_s,
                             u"org.freedesktop.portal.Settings"_s});
    // As portals do: the value is wrapped once more than it need be.
    portal.addMethod(u"Read"_s, u"ss"_s, u"v"_s,
                     u"ret = dbus.UInt32({('org.freedesktop.appearance', 'color-scheme'): 1}[tuple(args)], "
                     "variant_level=2)"_s);
    const QDBusConnection application = bus.connect();
    const DesktopColorScheme scheme(application);
    EXPECT_TRUE(runUntil([&] { return scheme.wish() == Wish::dark; }));

    const auto tell = [&](const QString& group, const QString& key, uint value) {
        portal.emitSignal(u"SettingChanged"_s, u"ssv"_s,
                          {group, key, QVariant::fromValue(QDBusVariant(QVariant(value)))});
    };
    struct Case {
        uint told;
        Wish wish;
    };
    for (const Case& change : {Case{2, Wish::light}, {0, Wish::none}, {1, Wish::dark}, {99, Wish::none}}) {
        tell(u"org.freedesktop.appearance"_s, u"color-scheme"_s, change.told);
        EXPECT_TRUE(runUntil([&] { return scheme.wish() == change.wish; })) << change.told;
    }
    // The last of these is what is waited for.
    tell(u"org.freedesktop.appearance"_s, u"contrast"_s, 1);
    tell(u"org.gnome.desktop.interface"_s, u"color-scheme"_s, 1);
    tell(u"org.freedesktop.appearance"_s, u"color-scheme"_s, 2);
    QList<Wish> wishes;
    QObject::connect(&scheme, &DesktopColorScheme::changed, &scheme, [&] { wishes.append(scheme.wish()); });
    EXPECT_TRUE(runUntil([&] { return !wishes.isEmpty(); }));
    EXPECT_EQ(wishes, QList{Wish::light});
}

TEST(DesktopColorSchemeTest, HasNoWishWithoutAPortal) {
    const PrivateBus bus;
    const QDBusConnection application = bus.connect();
    const DesktopColorScheme scheme(application);
    PrivateBus::settle(application);
    EXPECT_EQ(scheme.wish(), Wish::none);
}

} // namespace fetra
