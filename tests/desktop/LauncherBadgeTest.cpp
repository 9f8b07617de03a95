#include "app/desktop/LauncherBadge.h"

#include "desktop/PrivateBus.h"
#include "support/EventLoop.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <gtest/gtest.h>

namespace fetra {

using namespace Qt::StringLiterals;
using namespace test;

namespace {

using Shown = std::pair<qint64, bool>; ///< the count, and whether it is visible

class LauncherBadgeTest : public QObject, public ::testing::Test {
    Q_OBJECT

protected:
    void SetUp() override {
        ASSERT_TRUE(dock.connect({}, {}, u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s, this,
                                 SLOT(record(QDBusMessage))));
        PrivateBus::settle(dock);
    }

    /// What was shown until and with `count` updates.
    [[nodiscard]] std::vector<Shown> shown(qsizetype count) {
        EXPECT_TRUE(runUntil([&] { return received.size() >= count; }));
        std::vector<Shown> result;
        for (const QDBusMessage& message : received) {
            EXPECT_EQ(message.signature(), u"sa{sv}"_s);
            EXPECT_EQ(message.arguments().at(0), u"application://fetra.desktop"_s);
            const auto properties = qdbus_cast<QVariantMap>(message.arguments().at(1));
            EXPECT_EQ(properties.value(u"count"_s).typeId(), QMetaType::LongLong);
            result.push_back(
                {properties.value(u"count"_s).toLongLong(), properties.value(u"count-visible"_s).toBool()});
        }
        return result;
    }

    PrivateBus bus;
    QDBusConnection dock = bus.connect();
    QList<QDBusMessage> received;
    QDBusConnection application = bus.connect();
    LauncherBadge badge{application};

private Q_SLOTS:
    void record(const QDBusMessage& message) { received.append(message); }
};

TEST_F(LauncherBadgeTest, SendsChangesOnlyAndHidesAtZero) {
    for (const qint64 count : {0, 0, 2, 2, 3, 0, 0, 1})
        badge.show(count);
    ASSERT_EQ(shown(4), (std::vector<Shown>{{2, true}, {3, true}, {0, false}, {1, true}}));
    // The djb2 hash of the address above, computed elsewhere.
    EXPECT_EQ(received.at(0).path(), u"/com/canonical/unity/launcherentry/3783559979"_s);
}

TEST_F(LauncherBadgeTest, TellsADockThatStartsLaterOrTakesOver) {
    const auto restartDock = [&] {
        EXPECT_TRUE(dock.registerService(u"com.canonical.Unity"_s));
        EXPECT_TRUE(dock.unregisterService(u"com.canonical.Unity"_s));
        PrivateBus::settle(application);
    };
    restartDock(); // hears nothing: nothing is shown
    badge.show(7);
    ASSERT_EQ(shown(1), (std::vector<Shown>{{7, true}}));
    restartDock();
    EXPECT_EQ(shown(2), (std::vector<Shown>{{7, true}, {7, true}}));
    // One dock takes over from another, and the name is never free.
    for (const QDBusConnection& next : {dock, bus.connect()})
        ASSERT_TRUE(next.interface()
                        ->registerService(u"com.canonical.Unity"_s,
                                          QDBusConnectionInterface::ReplaceExistingService,
                                          QDBusConnectionInterface::AllowReplacement)
                        .isValid());
    EXPECT_EQ(shown(4), std::vector<Shown>(4, {7, true}));
}

} // namespace
} // namespace fetra

#include "LauncherBadgeTest.moc"
