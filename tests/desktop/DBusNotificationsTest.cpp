#include "app/desktop/DBusNotifications.h"

#include "desktop/MockService.h"
#include "desktop/PrivateBus.h"
#include "support/EventLoop.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QElapsedTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace fetra {

using namespace Qt::StringLiterals;
using namespace test;

namespace {

const QString everything = u"body body-markup actions sound"_s;

/// The arguments of a Notify call.
enum { replaces = 1, title = 3, body, actions, hints };

class DBusNotificationsTest : public ::testing::Test {
protected:
    void serve(const QString& capabilities = everything) {
        server = MockService::notificationServer(bus, capabilities);
    }

    void add(const QString& identifier, const QString& title = u"Finished"_s, const QString& body = {}) {
        center.add({identifier, title, body, {{u"item"_s, title}}},
                   [this](const std::optional<QString>& error) { results.append(error); });
    }

    /// Whether `count` adds have completed, the last of them without an error.
    [[nodiscard]] bool completed(qsizetype count) {
        return runUntil([&] { return results.size() >= count; }) && !results.last();
    }

    [[nodiscard]] QList<QVariantList> asked() { return server->calls(u"Notify"_s); }
    [[nodiscard]] std::vector<uint> replaced() {
        std::vector<uint> ids;
        for (const QVariantList& call : asked())
            ids.push_back(call.at(replaces).toUInt());
        return ids;
    }

    /// Comes back when all that the server has sent before, its leave included, has been heard.
    void hearServer() {
        const qsizetype before = results.size();
        add(u"last word"_s);
        EXPECT_TRUE(completed(before + 1));
    }

    PrivateBus bus;
    DBusNotifications center{bus.connect()};
    std::unique_ptr<MockService> server;
    QList<std::optional<QString>> results;
};

TEST_F(DBusNotificationsTest, PresentsItselfByTheCapabilitiesOfTheServerThatIsThere) {
    const QString nearlyLongest(998, u'x');
    const std::pair<QString, QString> cases[]{
        {u"<b>a &amp; b</b>.iso"_s, u"<b>a &amp; b</b>.iso"_s},
        {u"one\ntwo\tthree\u2028four"_s, u"one two three four"_s},
        {u"doc\u202Efdp.exe\u2066"_s, u"doc\uFFFDfdp.exe\uFFFD"_s},
        {QString(QChar(0xD83D)) + u'a', u"\uFFFDa"_s},
        {nearlyLongest + u"\U0001F4BE"_s, nearlyLongest + u"\U0001F4BE"_s},
        {nearlyLongest + u"\U0001F4BE end"_s, nearlyLongest + u'…'},
        {QString(1001, u'<'), QString(999, u'<') + u'…'},
    };
    const QVariantMap silent{{u"desktop-entry"_s, u"fetra"_s}};
    const QVariantMap loud{{u"desktop-entry"_s, u"fetra"_s}, {u"sound-name"_s, u"message-new-instant"_s}};
    for (const bool isRich : {true, false}) {
        SCOPED_TRACE(isRich);
        serve(isRich ? everything : u"body"_s);
        results.clear();
        for (const auto& [text, shown] : cases)
            add(text, text, text);
        ASSERT_TRUE(completed(std::ssize(cases)));
        const QList<QVariantList> calls = asked();
        ASSERT_EQ(calls.size(), std::ssize(cases));
        for (qsizetype at = 0; at < calls.size(); ++at) {
            const QString& plain = cases[at].second;
            EXPECT_EQ(calls[at][title], plain);
            EXPECT_EQ(calls[at][body], isRich ? plain.toHtmlEscaped() : plain);
            EXPECT_EQ(calls[at][replaces], 0U) << "the number was another server's";
        }
        EXPECT_EQ(calls[0][actions], isRich ? (QStringList{u"default"_s, u"Show"_s}) : QStringList());
        EXPECT_EQ(qdbus_cast<QVariantMap>(calls[0][hints]), isRich ? loud : silent);
        server->stop();
        hearServer();
    }
}

TEST_F(DBusNotificationsTest, OneNotificationPerIdentifierIsReplacedInPlaceWhileItIsThere) {
    serve();
    // Each waits for the one before of its own identifier only, so that either may be the sooner.
    for (const QString& identifier : {u"a"_s, u"a"_s, u"b"_s, u"a"_s, u"b"_s})
        add(identifier);
    ASSERT_TRUE(completed(5));
    EXPECT_THAT(replaced(), ::testing::UnorderedElementsAre(0U, 0U, 1U, 2U, 1U));

    server->emitSignal(u"NotificationClosed"_s, u"uu"_s, {1U, 2U});
    hearServer();
    add(u"a"_s);
    add(u"b"_s);
    ASSERT_TRUE(completed(8));
    EXPECT_EQ(replaced().at(6), 0U) << "closed";
    EXPECT_EQ(replaced().at(7), 2U);
}

TEST_F(DBusNotificationsTest, ActivatingOneBringsItsUserInfo) {
    serve();
    std::vector<std::pair<QString, QString>> activated; ///< items and tokens
    center.setActivationHandler([&](const QMap<QString, QString>& userInfo) {
        activated.emplace_back(userInfo.value(u"item"_s), userInfo.value(u"activationToken"_s));
    });
    add(u"a"_s, u"first"_s);
    add(u"b"_s, u"second"_s);
    add(u"a"_s, u"third"_s);
    ASSERT_TRUE(completed(3));

    const auto invoke = [&](uint id, const QString& action) {
        server->emitSignal(u"ActionInvoked"_s, u"us"_s, {id, action});
    };
    server->emitSignal(u"ActivationToken"_s, u"us"_s, {1U, u"token"_s});
    invoke(1, u"default"_s); // third took first's place
    invoke(2, u"default"_s); // the token was the other's
    invoke(2, u"other"_s);
    invoke(7, u"default"_s); // another program's
    auto forged = QDBusMessage::createSignal(u"/org/freedesktop/Notifications"_s,
                                             u"org.freedesktop.Notifications"_s, u"ActionInvoked"_s);
    forged.setArguments({2U, u"default"_s});
    const QDBusConnection stranger = bus.connect();
    ASSERT_TRUE(stranger.send(forged));
    server->emitSignal(u"NotificationClosed"_s, u"uu"_s, {1U, 2U});
    invoke(1, u"default"_s); // closed
    PrivateBus::settle(stranger);
    hearServer();

    EXPECT_EQ(activated, (decltype(activated){{u"third"_s, u"token"_s}, {u"second"_s, {}}}));
}

TEST_F(DBusNotificationsTest, AServerThatFailsIsReportedAndOneThatHangsHoldsNobodyUp) {
    serve();
    server->addMethod(u"Notify"_s, u"susssasa{sv}i"_s, u"u"_s,
                      u"if args[3] == 'bad': raise dbus.exceptions.DBusException('Too many of them.', "
                      "name='org.example.Excess')\n"
                      "ret = 5"_s);
    add(u"a"_s, u"bad"_s);
    add(u"a"_s);
    add(u"a"_s);
    ASSERT_TRUE(completed(3));
    EXPECT_EQ(results, (QList<std::optional<QString>>{u"Too many of them."_s, {}, {}}));
    EXPECT_EQ(replaced(), (std::vector<uint>{0, 0, 5}));

    results.clear();
    server->send(SIGSTOP);
    QElapsedTimer timer;
    timer.start();
    const DBusNotifications another{bus.connect()};
    for (int number = 0; number < 102; ++number)
        add(u"a"_s);
    EXPECT_TRUE(runUntil([&] { return results.size() == 1 && results.at(0); })) << "100 may wait";
    EXPECT_LT(timer.elapsed(), 10000) << "nobody has waited for it as long as calls are given";
    server->send(SIGCONT);
    EXPECT_TRUE(completed(102));
    EXPECT_EQ(results.count(std::nullopt), 101);
}

TEST_F(DBusNotificationsTest, AServiceAndASessionThatAreNotThereAreNoError) {
    EXPECT_TRUE(center.isUsable());
    add(u"a"_s);
    add(u"b"_s);
    EXPECT_TRUE(results.isEmpty()) << "never before add has returned";
    ASSERT_TRUE(completed(2));
    serve();
    add(u"a"_s);
    ASSERT_TRUE(completed(3)) << "a service that comes later is used";
    EXPECT_EQ(asked().size(), 1);
    EXPECT_EQ(results.count(std::nullopt), 3);

    add(u"a"_s);
    bus.stop();
    EXPECT_TRUE(runUntil([&] { return !center.isUsable() && results.size() == 4; }));
    add(u"b"_s);
    EXPECT_TRUE(completed(5));
}

} // namespace
} // namespace fetra
