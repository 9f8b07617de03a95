#include "desktop/MockService.h"

#include "support/Eventually.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>

#include <stdexcept>

namespace fetra::test {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const MockService::Place MockService::fileManager{
    u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s, u"org.freedesktop.FileManager1"_s};
const MockService::Place MockService::trayWatcher{
    u"org.kde.StatusNotifierWatcher"_s, u"/StatusNotifierWatcher"_s, u"org.kde.StatusNotifierWatcher"_s};

MockService::MockService(const PrivateBus& bus, const Place& place, const QStringList& what)
    : place_(place)
    , connection_(bus.connect()) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, bus.address());
    process_.setProcessEnvironment(environment);
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.setStandardOutputFile(QProcess::nullDevice());
    // The system's own interpreter is the one that packages install for.
    startChild(process_, u"/usr/bin/python3"_s, QStringList{u"-m"_s, u"dbusmock"_s, u"--session"_s} + what);
    const bool isThere =
        eventually(20s, [&] { return connection_.interface()->isServiceRegistered(place_.name).value(); });
    if (!isThere)
        throw std::runtime_error("python3-dbusmock does not serve " + place_.name.toStdString());
}

MockService::MockService(const PrivateBus& bus, const Place& place)
    : MockService(bus, place, QStringList{place.name, place.path, place.interface}) {}

std::unique_ptr<MockService> MockService::notificationServer(const PrivateBus& bus,
                                                             const QString& capabilities) {
    const Place place{u"org.freedesktop.Notifications"_s, u"/org/freedesktop/Notifications"_s,
                      u"org.freedesktop.Notifications"_s};
    return std::unique_ptr<MockService>(
        new MockService(bus, place,
                        {u"--template"_s, u"notification_daemon"_s, u"--parameters"_s,
                         u"{\"capabilities\": \"%1\"}"_s.arg(capabilities)}));
}

MockService::~MockService() {
    process_.kill();
    process_.waitForFinished();
}

void MockService::stop() {
    process_.kill();
    process_.waitForFinished();
    const bool isGone =
        eventually(10s, [&] { return !connection_.interface()->isServiceRegistered(place_.name).value(); });
    if (!isGone)
        throw std::runtime_error("a dead service stays on the bus");
}

void MockService::addMethod(const QString& method, const QString& in, const QString& out,
                            const QString& code) {
    control(u"AddMethod"_s, {place_.interface, method, in, out, code});
}

void MockService::setProperty(const QString& property, const QVariant& value) {
    if (!properties_.contains(property))
        control(u"AddProperty"_s, {place_.interface, property, QVariant::fromValue(QDBusVariant(value))});
    properties_.insert(property);
    control(u"UpdateProperties"_s, {place_.interface, QVariantMap{{property, value}}});
}

void MockService::emitSignal(const QString& signal, const QString& signature, const QVariantList& arguments) {
    control(u"EmitSignal"_s, {place_.interface, signal, signature, arguments});
}

QList<QVariantList> MockService::calls(const QString& method) {
    QList<QVariantList> result;
    const auto rows = control(u"GetMethodCalls"_s, {method}).value(0).value<QDBusArgument>();
    rows.beginArray();
    while (!rows.atEnd()) {
        qulonglong time = 0;
        QVariantList arguments;
        rows.beginStructure();
        rows >> time >> arguments;
        rows.endStructure();
        result.append(arguments);
    }
    rows.endArray();
    return result;
}

QVariantList MockService::control(const QString& method, const QVariantList& arguments) {
    auto call =
        QDBusMessage::createMethodCall(place_.name, place_.path, u"org.freedesktop.DBus.Mock"_s, method);
    call.setArguments(arguments);
    const QDBusMessage reply = connection_.call(call);
    if (reply.type() != QDBusMessage::ReplyMessage)
        throw std::runtime_error(method.toStdString() + ": " + reply.errorMessage().toStdString());
    return reply.arguments();
}

} // namespace fetra::test
