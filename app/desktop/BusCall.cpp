#include "app/desktop/BusCall.h"

#include <QDBusError>
#include <QDBusPendingCall>
#include <QObject>
#include <QStringList>

#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

void callAsync(const QDBusConnection& bus, const QDBusMessage& call, QObject& receiver,
               std::function<void(const QDBusMessage& answer)> answered) {
    if (!bus.isConnected()) {
        const auto error = QDBusMessage::createError(QDBusError::Disconnected, u"There is no session bus."_s);
        QMetaObject::invokeMethod(
            &receiver, [answered = std::move(answered), error] { answered(error); }, Qt::QueuedConnection);
        return;
    }
    auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), &receiver);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &receiver,
                     [answered = std::move(answered)](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         answered(finished->reply());
                     });
}

bool saysNoService(const QDBusMessage& answer) {
    static const QStringList names{
        QDBusError::errorString(QDBusError::ServiceUnknown),
        QDBusError::errorString(QDBusError::Disconnected),
        u"org.freedesktop.DBus.Error.NameHasNoOwner"_s,
    };
    return names.contains(answer.errorName()) ||
           answer.errorName().startsWith("org.freedesktop.DBus.Error.Spawn."_L1);
}

bool saysNoReply(const QDBusMessage& answer) {
    static const QStringList names{
        QDBusError::errorString(QDBusError::NoReply),
        QDBusError::errorString(QDBusError::Timeout),
        QDBusError::errorString(QDBusError::TimedOut),
    };
    return names.contains(answer.errorName());
}

} // namespace fetra
