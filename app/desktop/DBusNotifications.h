#pragma once

#include "app/desktop/NotificationCenter.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QStringList>

#include <deque>
#include <optional>
#include <set>
#include <vector>

namespace fetra {

/// The notification service of freedesktop.org, over D-Bus. Main thread only; waits for nothing.
class DBusNotifications final : public QObject, public NotificationCenter {
    Q_OBJECT

public:
    explicit DBusNotifications(QDBusConnection bus = QDBusConnection::sessionBus());

    /// Whether there is a bus. A service may come, and go, at any time.
    [[nodiscard]] bool isUsable() const override { return bus_.isConnected(); }
    void setActivationHandler(Activation handler) override { handler_ = std::move(handler); }
    /// Nobody needs to be asked here.
    void requestAuthorization(Completion completion) override;
    /// On a desktop without notifications it is dropped, without an error; with one when the service hangs.
    void add(const Notification& notification, Completion completion) override;

private Q_SLOTS:
    void actionInvoked(uint id, const QString& action, const QDBusMessage& message);
    void activationToken(uint id, const QString& token, const QDBusMessage& message);
    void notificationClosed(uint id, uint reason, const QDBusMessage& message);

private:
    struct Waiting {
        Notification notification;
        Completion completion;
    };
    struct Shown {
        QString identifier;
        quint32 id;
        QMap<QString, QString> userInfo;
    };
    struct Token {
        quint32 id;
        QString token;
    };

    void forgetServer(const QString& newOwner);
    [[nodiscard]] bool isFromServer(const QDBusMessage& reply);
    void completeLater(Completion completion, const std::optional<QString>& error);
    void sendWaiting();
    void askForCapabilities();
    void dropWaiting(const std::optional<QString>& error);
    void send(Waiting sending);
    void sent(const Waiting& sending, const QDBusMessage& answer);
    void remember(Shown shown);
    [[nodiscard]] quint32 idOf(const QString& identifier) const;

    QDBusConnection bus_;
    QDBusServiceWatcher watcher_;
    Activation handler_;
    /// For the server's capabilities, or for an earlier one of the same identifier, which they are to
    /// replace.
    std::deque<Waiting> waiting_;
    std::set<QString> beingSent_; ///< identifiers
    bool isAsking_ = false;

    // What the server with the bus name `owner_` has told; nothing of it holds for another.
    QString owner_;
    quint64 ownerChanges_ = 0;
    std::optional<QStringList> capabilities_;
    std::vector<Shown> shown_; ///< oldest first
    std::optional<Token> token_;
};

} // namespace fetra
