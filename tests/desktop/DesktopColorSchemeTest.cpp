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

    const auto tell = [&](const QString& key, uint value) {
        portal.emitSignal(
            u"SettingChanged"_s, u"ssv"_s,
            {u"org.freedesktop.appearance"_s, key, QVariant::fromValue(QDBusVariant(QVariant(value)))});
    };
    QList<Wish> wishes;
    QObject::connect(&scheme, &DesktopColorScheme::changed, &scheme, [&] { wishes.append(scheme.wish()); });
    for (const uint told : {2U, 0U, 1U, 99U}) {
        tell(u"contrast"_s, 2);
        tell(u"color-scheme"_s, told);
    }
    EXPECT_TRUE(runUntil([&] { return wishes.size() >= 4; }));
    EXPECT_EQ(wishes, (QList{Wish::light, Wish::none, Wish::dark, Wish::none}));
}

} // namespace fetra
