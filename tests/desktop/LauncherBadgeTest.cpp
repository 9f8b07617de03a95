#include "app/desktop/LauncherBadge.h"

#include "desktop/PrivateBus.h"
#include "support/EventLoop.h"

#include <QDBusArgument>
#include <QDBusMessage>

#include <gtest/gtest.h>

namespace fetra {

using namespace Qt::StringLiterals;
using namespace test;

namespace {

class LauncherBadgeTest : public QObject, public ::testing::Test {
    Q_OBJECT

protected:
    void SetUp() override {
        // The djb2 hash of the address below, computed elsewhere.
        ASSERT_TRUE(dock.connect({}, u"/com/canonical/unity/launcherentry/3783559979"_s,
                                 u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s, this,
                                 SLOT(record(QDBusMessage))));
        PrivateBus::settle(dock);
    }

    [[nodiscard]] bool becomes(const QString& expected) {
        const bool has = runUntil([&] { return shown == expected; });
        EXPECT_TRUE(has) << shown.toStdString();
        return has;
    }

    PrivateBus bus;
    QDBusConnection dock = bus.connect();
    /// What each update said; in brackets while it is hidden.
    QString shown;
    QDBusConnection application = bus.connect();
    LauncherBadge badge{application};

private Q_SLOTS:
    void record(const QDBusMessage& message) {
        EXPECT_EQ(message.signature(), u"sa{sv}"_s);
        EXPECT_EQ(message.arguments().at(0), u"application://fetra.desktop"_s);
        const auto properties = qdbus_cast<QVariantMap>(message.arguments().at(1));
        const QVariant count = properties.value(u"count"_s);
        EXPECT_EQ(count.typeId(), QMetaType::LongLong);
        const bool isVisible = properties.value(u"count-visible"_s).toBool();
        shown += (isVisible ? u" %1"_s : u" (%1)"_s).arg(count.toLongLong());
    }
};

TEST_F(LauncherBadgeTest, SendsChangesOnlyHidesAtZeroAndTellsADockThatStartsLater) {
    for (const qint64 count : {0, 0, 2, 2, 3, 0, 0, 1})
        badge.show(count);
    ASSERT_TRUE(becomes(u" 2 3 (0) 1"_s));
    EXPECT_TRUE(dock.registerService(u"com.canonical.Unity"_s));
    EXPECT_TRUE(becomes(u" 2 3 (0) 1 1"_s));
}

} // namespace
} // namespace fetra

#include "LauncherBadgeTest.moc"
