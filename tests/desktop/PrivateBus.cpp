#include "desktop/PrivateBus.h"

#include "support/StartChild.h"

#include <QCoreApplication>
#include <QDBusError>
#include <QDBusMessage>

#include <stdexcept>

namespace fetra::test {

using namespace Qt::StringLiterals;

PrivateBus::PrivateBus() {
    const QString configuration = folder_.write(u"bus.conf"_s, R"(<busconfig>
  <type>session</type>
  <listen>unix:path=)" + folder_.path(u"bus"_s).toUtf8() + R"(</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)");
    // It grumbles where it may not raise its limits.
    daemon_.setStandardErrorFile(QProcess::nullDevice());
    startChild(daemon_, u"dbus-daemon"_s,
               {u"--config-file="_s + configuration, u"--print-address"_s, u"--nofork"_s, u"--nopidfile"_s});
    while (!daemon_.canReadLine()) {
        if (!daemon_.waitForReadyRead(10000))
            throw std::runtime_error("the bus daemon gives no address");
    }
    address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
}

PrivateBus::~PrivateBus() {
    for (const QString& name : connections_)
        QDBusConnection::disconnectFromBus(name);
    stop();
}

QDBusConnection PrivateBus::connect() const {
    const QString name = address_ + u'#' + QString::number(connections_.size());
    connections_.append(name);
    auto connection = QDBusConnection::connectToBus(address_, name);
    if (!connection.isConnected())
        throw std::runtime_error("no connection to the bus: " +
                                 connection.lastError().message().toStdString());
    return connection;
}

void PrivateBus::settle(const QDBusConnection& connection, const QString& service) {
    // What is heard first may make somebody ask.
    for (int round = 0; round < 2; ++round) {
        const auto ping =
            QDBusMessage::createMethodCall(service, u"/"_s, u"org.freedesktop.DBus.Peer"_s, u"Ping"_s);
        if (connection.call(ping).type() != QDBusMessage::ReplyMessage)
            throw std::runtime_error("no answer from " + service.toStdString());
        QCoreApplication::processEvents();
    }
}

void PrivateBus::stop() {
    daemon_.kill();
    daemon_.waitForFinished();
}

} // namespace fetra::test
