#pragma once

#include <QDBusConnection>
#include <QDBusMessage>

#include <functional>

class QObject;

namespace fetra {

/// Calls a method over D-Bus without waiting. `answered` gets the reply or an error message, once, later, on
/// the thread of `receiver`, which is the caller's own; never when `receiver` is gone by then. A bus that is
/// not there answers with an error too.
void callAsync(const QDBusConnection& bus, const QDBusMessage& call, QObject& receiver,
               std::function<void(const QDBusMessage& answer)> answered);

/// Whether nobody is there to answer such a call, nor can be started.
[[nodiscard]] bool saysNoService(const QDBusMessage& answer);
/// Whether somebody is, and said nothing in time: the call may still be carried out.
[[nodiscard]] bool saysNoReply(const QDBusMessage& answer);

} // namespace fetra
