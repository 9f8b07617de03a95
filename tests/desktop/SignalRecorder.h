#pragma once

#include <QDBusMessage>
#include <QList>
#include <QObject>

namespace fetra::test {

/// Keeps the D-Bus signals that are connected to its slot.
class SignalRecorder final : public QObject {
    Q_OBJECT

public:
    QList<QDBusMessage> received;

public Q_SLOTS:
    void record(const QDBusMessage& message) { received.append(message); }
};

} // namespace fetra::test
