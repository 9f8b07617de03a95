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
    for (const auto& [told, wish] :
         {std::pair{2U, Wish::light}, {0U, Wish::none}, {1U, Wish::dark}, {99U, Wish::none}}) {
        tell(u"org.freedesktop.appearance"_s, u"color-scheme"_s, told);
        EXPECT_TRUE(runUntil([&, expected = wish] { return scheme.wish() == expected; })) << told;
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

} // namespace fetra
