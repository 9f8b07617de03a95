#include "app/desktop/DBusNotifications.h"

#include "desktop/MockService.h"
#include "desktop/PrivateBus.h"
#include "support/EventLoop.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QElapsedTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fetra {

using namespace Qt::StringLiterals;
using namespace test;
using ::testing::IsEmpty;

namespace {

const QString everything = u"body body-markup actions sound"_s;

/// What a Notify call asked for.
struct Asked {
    explicit Asked(const QVariantList& arguments)
        : application(arguments.at(0).toString())
        , replaces(arguments.at(1).toUInt())
        , icon(arguments.at(2).toString())
        , title(arguments.at(3).toString())
        , body(arguments.at(4).toString())
        , actions(arguments.at(5).toStringList())
        , hints(qdbus_cast<QVariantMap>(arguments.at(6))) {}

    QString application;
    uint replaces;
    QString icon;
    QString title;
    QString body;
    QStringList actions;
    QVariantMap hints;
};

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

    [[nodiscard]] std::vector<Asked> asked() {
        const QList<QVariantList> calls = server->calls(u"Notify"_s);
        return {calls.begin(), calls.end()};
    }

    [[nodiscard]] std::vector<uint> replaced() {
        std::vector<uint> ids;
        for (const Asked& one : asked())
            ids.push_back(one.replaces);
        return ids;
    }

    /// Comes back when all that the server has sent before, its leave included, has been heard.
    void hearServer() {
        const qsizetype before = results.size();
        add(u"last word"_s);
        EXPECT_TRUE(completed(before + 1));
    }

    void stopServer() {
        server->stop();
        hearServer();
    }

    PrivateBus bus;
    DBusNotifications center{bus.connect()};
    std::unique_ptr<MockService> server;
    QList<std::optional<QString>> results;
};

TEST_F(DBusNotificationsTest, PresentsItselfByTheServersCapabilities) {
    struct Case {
        QString capabilities;
        QStringList actions;
        QVariantMap hints;
    };
    const QVariantMap plain{{u"desktop-entry"_s, u"fetra"_s}};
    const Case cases[]{
        {u"body actions sound"_s,
         {u"default"_s, u"Show"_s},
         {{u"desktop-entry"_s, u"fetra"_s}, {u"sound-name"_s, u"message-new-instant"_s}}},
        {u"body"_s, {}, plain},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.capabilities.toStdString());
        serve(expected.capabilities);
        results.clear();
        add(u"a"_s, u"Finished"_s, u"file.iso"_s);
        ASSERT_TRUE(completed(1));
        const Asked call = asked().at(0);
        EXPECT_EQ(call.application, u"Fetra"_s);
        EXPECT_EQ(call.icon, u"fetra"_s);
        EXPECT_EQ(call.title, u"Finished"_s);
        EXPECT_EQ(call.body, u"file.iso"_s);
        EXPECT_EQ(call.actions, expected.actions);
        EXPECT_EQ(call.hints, expected.hints);
        stopServer();
    }
}

TEST_F(DBusNotificationsTest, TextArrivesAsItReads) {
    struct Case {
        QString text;
        QString plain;
        QString markup;
    };
    const QString long1 = QString(998, u'x') + u"\U0001F4BE end"_s;
    const Case cases[]{
        {u"<b>a & b</b>.iso"_s, u"<b>a & b</b>.iso"_s, u"&lt;b&gt;a &amp; b&lt;/b&gt;.iso"_s},
        {u"a&amp;b"_s, u"a&amp;b"_s, u"a&amp;amp;b"_s},
        {u"one\ntwo\tthree\u2028four"_s, u"one two three four"_s, u"one two three four"_s},
        {u"doc\u202Efdp.exe\u2066"_s, u"doc\uFFFDfdp.exe\uFFFD"_s, u"doc\uFFFDfdp.exe\uFFFD"_s},
        {u"\U0001F4BE שלום"_s, u"\U0001F4BE שלום"_s, u"\U0001F4BE שלום"_s},
        {QString(QChar(0xD83D)) + u'a', u"\uFFFDa"_s, u"\uFFFDa"_s},
        {QString(1000, u'x'), QString(1000, u'x'), QString(1000, u'x')},
        {QString(998, u'x') + u"\U0001F4BE"_s, QString(998, u'x') + u"\U0001F4BE"_s,
         QString(998, u'x') + u"\U0001F4BE"_s},
        {long1, QString(998, u'x') + u'…', QString(998, u'x') + u'…'},
        {QString(1001, u'<'), QString(999, u'<') + u'…', u"&lt;"_s.repeated(999) + u'…'},
    };
    for (const bool hasMarkup : {false, true}) {
        serve(hasMarkup ? u"body body-markup"_s : u"body"_s);
        results.clear();
        for (const Case& expected : cases)
            add(expected.text, expected.text, expected.text);
        ASSERT_TRUE(completed(std::ssize(cases)));
        const std::vector<Asked> calls = asked();
        ASSERT_EQ(calls.size(), std::size(cases));
        for (std::size_t at = 0; at < calls.size(); ++at) {
            EXPECT_EQ(calls[at].title, cases[at].plain);
            EXPECT_EQ(calls[at].body, hasMarkup ? cases[at].markup : cases[at].plain);
        }
        stopServer();
    }
}

TEST_F(DBusNotificationsTest, OneNotificationPerIdentifierIsReplacedInPlace) {
    serve();
    // None of these waits for the one before.
    for (const QString& identifier : {u"a"_s, u"a"_s, u"b"_s, u"a"_s, u"b"_s})
        add(identifier);
    ASSERT_TRUE(completed(5));
    EXPECT_EQ(replaced(), (std::vector<uint>{0, 1, 0, 1, 2}));
}

TEST_F(DBusNotificationsTest, OneThatWasClosedIsNotReplaced) {
    serve();
    add(u"a"_s);
    add(u"b"_s);
    ASSERT_TRUE(completed(2));
    server->emitSignal(u"NotificationClosed"_s, u"uu"_s, {1U, 2U});
    hearServer();
    add(u"a"_s);
    add(u"b"_s);
    ASSERT_TRUE(completed(5));
    EXPECT_EQ(replaced(), (std::vector<uint>{0, 0, 0, 0, 2}));
}

TEST_F(DBusNotificationsTest, ANewServerStartsWithoutTheOldOnesNumbersAndCapabilities) {
    serve(u"body body-markup"_s);
    add(u"a"_s, u"Finished"_s, u"<1>"_s);
    ASSERT_TRUE(completed(1));
    stopServer();
    serve(u"body"_s);
    add(u"b"_s, u"Finished"_s, u"<2>"_s);
    add(u"a"_s, u"Finished"_s, u"<3>"_s);
    ASSERT_TRUE(completed(4));
    EXPECT_EQ(replaced(), (std::vector<uint>{0, 0}));
    EXPECT_EQ(asked().at(0).body, u"<2>"_s);
}

TEST_F(DBusNotificationsTest, ActivatingOneBringsItsUserInfo) {
    serve();
    struct Activated {
        QString item;
        QString token;
        bool operator==(const Activated&) const = default;
    };
    std::vector<Activated> activated;
    center.setActivationHandler([&](const QMap<QString, QString>& userInfo) {
        activated.push_back({userInfo.value(u"item"_s), qEnvironmentVariable("XDG_ACTIVATION_TOKEN")});
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
    // A call of the stranger's own that has come back follows its signal.
    ASSERT_EQ(stranger
                  .call(QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/"_s,
                                                       u"org.freedesktop.DBus"_s, u"GetId"_s))
                  .type(),
              QDBusMessage::ReplyMessage);
    hearServer();

    EXPECT_EQ(activated, (std::vector<Activated>{{u"third"_s, u"token"_s}, {u"second"_s, {}}}));
    EXPECT_FALSE(qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
}

TEST_F(DBusNotificationsTest, AnErrorOfTheServerIsReportedAndStopsNothing) {
    serve();
    server->addMethod(u"Notify"_s, u"susssasa{sv}i"_s, u"u"_s,
                      u"if args[3] == 'bad': raise dbus.exceptions.DBusException('Too many of them.', "
                      "name='org.example.Excess')\nret = 5"_s);
    add(u"a"_s, u"bad"_s);
    add(u"a"_s, u"good"_s);
    add(u"a"_s, u"good"_s);
    ASSERT_TRUE(completed(3));
    EXPECT_EQ(results.at(0), u"Too many of them."_s);
    EXPECT_EQ(results.at(1), std::nullopt);
    EXPECT_EQ(replaced(), (std::vector<uint>{0, 0, 5}));
}

TEST_F(DBusNotificationsTest, TextIsPlainWhereTheServerDoesNotTellWhatItCan) {
    serve();
    server->addMethod(u"GetCapabilities"_s, {}, u"as"_s, u"raise dbus.exceptions.DBusException('No.')"_s);
    add(u"a"_s, u"Finished"_s, u"a & b"_s);
    ASSERT_TRUE(completed(1));
    EXPECT_EQ(asked().at(0).body, u"a & b"_s);
    EXPECT_THAT(asked().at(0).actions, IsEmpty());

    server->addMethod(u"GetCapabilities"_s, {}, u"as"_s, u"ret = ['body-markup']"_s);
    add(u"a"_s, u"Finished"_s, u"a & b"_s);
    ASSERT_TRUE(completed(2));
    EXPECT_EQ(asked().at(1).body, u"a &amp; b"_s) << "asked again for the next one";
}

TEST_F(DBusNotificationsTest, AServerThatHangsHoldsNobodyUp) {
    serve();
    server->freeze();
    QElapsedTimer timer;
    timer.start();
    const DBusNotifications another{bus.connect()};
    add(u"a"_s);
    QCoreApplication::processEvents();
    EXPECT_LT(timer.elapsed(), 10000) << "less than the time that calls are given";
    EXPECT_THAT(results, IsEmpty());
    server->thaw();
    EXPECT_TRUE(completed(1));
}

TEST_F(DBusNotificationsTest, TheOldestOfVeryManyIsForgotten) {
    serve();
    for (int number = 0; number < 201; ++number)
        add(QString::number(number));
    add(u"1"_s);
    add(u"0"_s);
    ASSERT_TRUE(completed(203));
    const std::vector<uint> ids = replaced();
    EXPECT_EQ(ids.at(201), 2U);
    EXPECT_EQ(ids.at(202), 0U);
}

TEST_F(DBusNotificationsTest, AMissingServiceIsNoError) {
    EXPECT_TRUE(center.isUsable());
    add(u"a"_s);
    add(u"b"_s);
    EXPECT_THAT(results, IsEmpty()) << "never before add has returned";
    EXPECT_TRUE(completed(2));
    EXPECT_EQ(results.at(0), std::nullopt);

    serve();
    add(u"a"_s);
    EXPECT_TRUE(completed(3)) << "a service that comes later is used";
    EXPECT_EQ(asked().size(), 1U);
}

TEST_F(DBusNotificationsTest, ASessionThatEndsEndsEveryAdd) {
    serve();
    add(u"a"_s);
    ASSERT_TRUE(completed(1));
    add(u"a"_s);
    bus.stop();
    EXPECT_TRUE(runUntil([&] { return !center.isUsable() && results.size() == 2; }));
    add(u"b"_s);
    EXPECT_TRUE(completed(3));
}

TEST_F(DBusNotificationsTest, AuthorizationIsGivenLaterAndWithoutAnError) {
    center.requestAuthorization([&](const std::optional<QString>& error) { results.append(error); });
    EXPECT_THAT(results, IsEmpty());
    EXPECT_TRUE(completed(1));
}

} // namespace
} // namespace fetra
