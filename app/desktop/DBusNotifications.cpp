#include "app/desktop/DBusNotifications.h"

#include "app/desktop/BusCall.h"

#include <algorithm>
#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr auto serviceName = "org.freedesktop.Notifications"_L1;
constexpr auto objectPath = "/org/freedesktop/Notifications"_L1;

constexpr qsizetype longestText = 1000;
/// Some servers never tell that a notification is gone.
constexpr std::size_t mostShown = 200;
constexpr std::size_t mostWaiting = 100;

QDBusMessage methodCall(QLatin1StringView method) {
    return QDBusMessage::createMethodCall(serviceName, objectPath, serviceName, method);
}

bool reorders(QChar c) {
    switch (c.direction()) {
    case QChar::DirLRE:
    case QChar::DirLRO:
    case QChar::DirRLE:
    case QChar::DirRLO:
    case QChar::DirPDF:
    case QChar::DirLRI:
    case QChar::DirRLI:
    case QChar::DirFSI:
    case QChar::DirPDI:
        return true;
    default:
        return false;
    }
}

bool breaksLine(QChar c) {
    return c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line ||
           c.category() == QChar::Separator_Paragraph;
}

/// One line that says what it seems to say: file names from anywhere end up here.
QString presentable(const QString& text) {
    QString result = text.left(longestText);
    for (qsizetype at = 0; at < result.size(); ++at) {
        QChar& c = result[at];
        if (c.isHighSurrogate() && at + 1 < result.size() && result[at + 1].isLowSurrogate())
            ++at;
        else if (c.isSurrogate() || reorders(c))
            c = QChar::ReplacementCharacter;
        else if (breaksLine(c))
            c = u' ';
    }
    if (text.size() > longestText) {
        const qsizetype pair = result.size() > 1 && result[result.size() - 2].isHighSurrogate() ? 2 : 1;
        result.chop(pair);
        result += u'…';
    }
    return result;
}

std::optional<QString> errorIn(const QDBusMessage& answer) {
    if (answer.type() != QDBusMessage::ErrorMessage || saysNoService(answer))
        return std::nullopt;
    return answer.errorMessage().isEmpty() ? answer.errorName() : answer.errorMessage();
}

} // namespace

DBusNotifications::DBusNotifications(QDBusConnection bus)
    : bus_(std::move(bus))
    , watcher_(serviceName, bus_, QDBusServiceWatcher::WatchForOwnerChange) {
    connect(&watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) { forgetServer(owner); });
    // From any sender: to name one would ask the bus who that is, and wait. Each slot looks for itself.
    const auto listen = [this](QLatin1StringView signal, const char* slot) {
        bus_.connect({}, objectPath, serviceName, signal, this, slot);
    };
    listen("ActionInvoked"_L1, SLOT(actionInvoked(uint, QString, QDBusMessage)));
    listen("ActivationToken"_L1, SLOT(activationToken(uint, QString, QDBusMessage)));
    listen("NotificationClosed"_L1, SLOT(notificationClosed(uint, uint, QDBusMessage)));
}

void DBusNotifications::requestAuthorization(Completion completion) {
    completeLater(std::move(completion), std::nullopt);
}

void DBusNotifications::completeLater(Completion completion, const std::optional<QString>& error) {
    QMetaObject::invokeMethod(
        this, [completion = std::move(completion), error] { completion(error); }, Qt::QueuedConnection);
}

void DBusNotifications::add(const Notification& notification, Completion completion) {
    if (waiting_.size() == mostWaiting) {
        completeLater(std::move(waiting_.front().completion), tr("Too many notifications wait."));
        waiting_.pop_front();
    }
    waiting_.push_back({notification, std::move(completion)});
    sendWaiting();
}

void DBusNotifications::forgetServer(const QString& newOwner) {
    owner_ = newOwner;
    ++ownerChanges_;
    capabilities_.reset();
    shown_.clear();
    token_.reset();
}

bool DBusNotifications::isFromServer(const QDBusMessage& reply) {
    // A server that was there before us tells its name with its first reply.
    if (owner_.isEmpty())
        owner_ = reply.service();
    return owner_ == reply.service();
}

void DBusNotifications::sendWaiting() {
    if (waiting_.empty() || isAsking_)
        return;
    if (!capabilities_)
        return askForCapabilities();
    std::set<QString> busy = beingSent_;
    for (auto next = waiting_.begin(); next != waiting_.end();) {
        if (!busy.insert(next->notification.identifier).second) {
            ++next;
            continue;
        }
        send(std::move(*next));
        next = waiting_.erase(next);
    }
}

void DBusNotifications::askForCapabilities() {
    isAsking_ = true;
    callAsync(bus_, methodCall("GetCapabilities"_L1), *this,
              [this, before = ownerChanges_](const QDBusMessage& answer) {
                  isAsking_ = false;
                  const bool isReply = answer.type() == QDBusMessage::ReplyMessage;
                  if (isReply ? isFromServer(answer) : before == ownerChanges_)
                      // A server that does not tell is taken for the plainest, and not asked again.
                      capabilities_ = isReply ? answer.arguments().value(0).toStringList() : QStringList();
                  if (saysNoReply(answer))
                      dropWaiting(errorIn(answer));
                  sendWaiting();
              });
}

/// What waits for a server that hangs would all come late, and at once.
void DBusNotifications::dropWaiting(const std::optional<QString>& error) {
    for (Waiting& dropped : std::exchange(waiting_, {}))
        completeLater(std::move(dropped.completion), error);
}

void DBusNotifications::send(Waiting sending) {
    const QStringList& capabilities = *capabilities_;
    const Notification& notification = sending.notification;
    QString body = presentable(notification.body);
    if (capabilities.contains("body-markup"_L1))
        body = body.toHtmlEscaped();
    QStringList actions;
    if (capabilities.contains("actions"_L1))
        actions = {u"default"_s, tr("Show")};
    QVariantMap hints{{u"desktop-entry"_s, u"fetra"_s}};
    if (capabilities.contains("sound"_L1))
        hints.insert(u"sound-name"_s, u"message-new-instant"_s);

    constexpr int serversOwnTime = -1;
    QDBusMessage call = methodCall("Notify"_L1);
    call.setArguments({u"Fetra"_s, idOf(notification.identifier), u"fetra"_s, presentable(notification.title),
                       body, actions, hints, serversOwnTime});
    beingSent_.insert(notification.identifier);
    callAsync(bus_, call, *this,
              [this, sending = std::move(sending)](const QDBusMessage& answer) { sent(sending, answer); });
}

void DBusNotifications::sent(const Waiting& sending, const QDBusMessage& answer) {
    if (answer.type() == QDBusMessage::ReplyMessage && isFromServer(answer)) {
        if (const quint32 id = answer.arguments().value(0).toUInt(); id != 0)
            remember({sending.notification.identifier, id, sending.notification.userInfo});
    }
    beingSent_.erase(sending.notification.identifier);
    if (saysNoReply(answer))
        dropWaiting(errorIn(answer));
    sendWaiting();
    sending.completion(errorIn(answer));
}

void DBusNotifications::remember(Shown shown) {
    std::erase_if(shown_, [&](const Shown& other) {
        return other.id == shown.id || other.identifier == shown.identifier;
    });
    if (shown_.size() == mostShown)
        shown_.erase(shown_.begin());
    shown_.push_back(std::move(shown));
}

quint32 DBusNotifications::idOf(const QString& identifier) const {
    const auto found = std::ranges::find(shown_, identifier, &Shown::identifier);
    return found == shown_.end() ? 0 : found->id;
}

void DBusNotifications::actionInvoked(uint id, const QString& action, const QDBusMessage& message) {
    if (message.service() != owner_ || action != "default"_L1)
        return;
    const auto found = std::ranges::find(shown_, id, &Shown::id);
    if (found == shown_.end() || !handler_)
        return;
    QMap<QString, QString> userInfo = found->userInfo;
    const std::optional<Token> token = std::exchange(token_, std::nullopt);
    if (token && token->id == id)
        userInfo.insert(QLatin1StringView(NotificationCenter::activationToken), token->token);
    // A copy, for what it does may set another.
    const Activation handler = handler_;
    handler(userInfo);
}

void DBusNotifications::activationToken(uint id, const QString& token, const QDBusMessage& message) {
    if (message.service() == owner_)
        token_ = {id, token};
}

void DBusNotifications::notificationClosed(uint id, uint, const QDBusMessage& message) {
    if (message.service() == owner_)
        std::erase_if(shown_, [id](const Shown& shown) { return shown.id == id; });
}

} // namespace fetra
