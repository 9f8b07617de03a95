#pragma once

#include "support/TempFolder.h"

#include <QDBusConnection>
#include <QProcess>
#include <QString>

namespace fetra::test {

/// A message bus of its own that starts no services: what is on it, a test has put there.
class PrivateBus {
public:
    PrivateBus(); ///< throws std::runtime_error when there is none
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] const QString& address() const { return address_; }
    /// A new connection, as another program would have it. Closed with the bus.
    [[nodiscard]] QDBusConnection connect() const;
    /// Comes back when the bus, or the service, has done all of before and `connection` has heard of it.
    static void settle(const QDBusConnection& connection,
                       const QString& service = QStringLiteral("org.freedesktop.DBus"));
    /// As when the session ends.
    void stop();

private:
    TempFolder folder_;
    QProcess daemon_;
    QString address_;
    mutable QStringList connections_;
};

} // namespace fetra::test
