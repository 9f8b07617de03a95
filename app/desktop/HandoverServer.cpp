#include "app/desktop/HandoverServer.h"

#include "app/desktop/PeerUser.h"

#include <QLocalSocket>
#include <QTimer>

#include <poll.h>
#include <unistd.h>

namespace fetra {

namespace {

bool hasHungUp(qintptr socket) {
    // A socket that is closed already has no number, and to poll none of them tells nothing.
    pollfd state{.fd = static_cast<int>(socket), .events = POLLRDHUP, .revents = 0};
    return socket < 0 || ::poll(&state, 1, 0) < 0 ||
           (state.revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)) != 0;
}

} // namespace

class HandoverServer::Client final : public QLocalSocket {
public:
    using QLocalSocket::QLocalSocket;

    /// What has come before the line feed.
    QByteArray message;
};

HandoverServer::HandoverServer(std::chrono::milliseconds messageWithin, qsizetype maxClients)
    : messageWithin_(messageWithin)
    , maxClients_(maxClients) {
    setSocketOptions(UserAccessOption);
}

void HandoverServer::incomingConnection(quintptr socket) {
    const auto descriptor = static_cast<qintptr>(socket);
    if (!PeerUser::isOurs(descriptor)) {
        ::close(static_cast<int>(descriptor));
        return;
    }
    if (clients_.size() >= maxClients_)
        drop(clients_.first());

    auto* client = new Client(this);
    clients_.append(client);
    client->setReadBufferSize(65'536);
    connect(client, &QLocalSocket::readyRead, this, [this, client] { read(client); });
    connect(client, &QLocalSocket::disconnected, this, [this, client] { drop(client); });
    // It bounds the sending of the answer too.
    QTimer::singleShot(messageWithin_, client, [this, client] { drop(client); });
    client->setSocketDescriptor(descriptor);
}

void HandoverServer::read(Client* client) {
    const QByteArray more = client->readAll();
    const qsizetype end = more.indexOf('\n');
    client->message += end < 0 ? more : more.first(end);
    if (end < 0 && client->message.size() <= Handover::maxMessageBytes)
        return;

    const auto handover = end < 0 ? std::nullopt : Handover::parse(client->message);
    // A start that no longer waits has told its user that nothing came of it.
    if (!handover || hasHungUp(client->socketDescriptor())) {
        drop(client);
        return;
    }
    disconnect(client, &QLocalSocket::readyRead, this, nullptr);
    // Who hears it may run events of its own, or end this server: not from within its socket.
    QMetaObject::invokeMethod(
        this, [this, heard = *handover] { Q_EMIT received(heard); }, Qt::QueuedConnection);
    client->write(taken);
    client->flush();
    client->disconnectFromServer();
}

void HandoverServer::drop(Client* client) {
    if (!clients_.removeOne(client))
        return;
    client->abort();
    client->deleteLater();
}

} // namespace fetra
