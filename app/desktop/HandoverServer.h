#pragma once

#include "app/desktop/Handover.h"

#include <QList>
#include <QLocalServer>

#include <chrono>

namespace fetra {

/// Hears what later starts of the application hand over. A client sends one message, ended by a line feed,
/// and is told that it was taken; one that sends anything else, or takes too long, is dropped without an
/// answer, and so is every process of another user. Main thread only.
class HandoverServer final : public QLocalServer {
    Q_OBJECT

public:
    /// The whole answer.
    static constexpr const char* taken = "taken\n";

    /// Beyond `maxClients` at once the one that has waited longest is dropped: an honest message comes at
    /// once.
    HandoverServer(std::chrono::milliseconds messageWithin, qsizetype maxClients);

Q_SIGNALS:
    /// The other start has been answered already.
    void received(const fetra::Handover& handover);

protected:
    void incomingConnection(quintptr socket) override;

private:
    class Client;

    void read(Client* client);
    void drop(Client* client);

    std::chrono::milliseconds messageWithin_;
    qsizetype maxClients_;
    /// Oldest first. Each is a child of this.
    QList<Client*> clients_;
};

} // namespace fetra
