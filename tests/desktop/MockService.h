#pragma once

#include "desktop/PrivateBus.h"
#include "support/StartChild.h"

#include <QDBusConnection>
#include <QList>
#include <QProcess>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

namespace fetra::test {

/// A D-Bus service in a process of its own, which is python-dbusmock and shares no code with ours. It answers
/// as told and keeps what it was asked.
class MockService {
public:
    struct Place {
        QString name;
        QString path;
        QString interface;
    };
    static const Place fileManager;
    static const Place trayWatcher;

    /// With no methods yet. On the bus when the constructor returns; throws std::runtime_error otherwise.
    MockService(const PrivateBus& bus, const Place& place);
    /// Numbers its notifications from 1.
    [[nodiscard]] static std::unique_ptr<MockService> notificationServer(const PrivateBus& bus,
                                                                         const QString& capabilities);
    ~MockService();
    MockService(const MockService&) = delete;
    MockService& operator=(const MockService&) = delete;

    /// SIGSTOP leaves it on the bus, and silent until SIGCONT.
    void send(int signal) { sendSignal(process_, signal); }
    /// Off the bus when it returns.
    void stop();
    /// Also replaces one. `code` is Python that may set `ret` or raise.
    void addMethod(const QString& method, const QString& in, const QString& out, const QString& code);
    void setProperty(const QString& property, const QVariant& value);
    void emitSignal(const QString& signal, const QString& signature, const QVariantList& arguments = {});
    /// The arguments of each call of `method` so far.
    [[nodiscard]] QList<QVariantList> calls(const QString& method);

private:
    MockService(const PrivateBus& bus, const Place& place, const QStringList& what);
    QVariantList control(const QString& method, const QVariantList& arguments);

    const Place place_;
    QDBusConnection connection_;
    QProcess process_;
    QSet<QString> properties_;
};

} // namespace fetra::test
