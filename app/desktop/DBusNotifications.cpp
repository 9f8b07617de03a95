#include "app/desktop/DBusNotifications.h"

#include "app/desktop/BusCall.h"

#include <QDBusError>

#include <algorithm>
#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr auto serviceName = "org.freedesktop.Notifications"_L1;
constexpr auto objectPath = "/org/freedesktop/Notifications"_L1;
constexpr auto activationVariable = "XDG_ACTIVATION_TOKEN";

constexpr qsizetype longestText = 1000;
/// Some servers never tell that a notification is gone.
constexpr std::size_t mostShown = 200;

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

/// Whether nobody is there to show notifications, nor can be started.
bool saysNoService(const QDBusMessage& error) {
    static const QStringList names{
        QDBusError::errorString(QDBusError::ServiceUnknown),
        QDBusError::errorString(QDBusError::Disconnected),
        u"org.freedesktop.DBus.Error.NameHasNoOwner"_s,
    };
    return names.contains(error.errorName()) ||
           error.errorName().startsWith("org.freedesktop.DBus.Error.Spawn."_L1);
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
    QMetaObject::invokeMethod(
        this, [completion = std::move(completion)] { completion(std::nullopt); }, Qt::QueuedConnection);
}

void DBusNotifications::add(const Notification& notification, Completion completion) {
    waiting_.push_back({notification, std::move(completion)});
    sendNext();
}

void DBusNotifications::forgetServer(const QString& newOwner) {
    owner_ = newOwner;
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

void DBusNotifications::sendNext() {
    if (isSending_ || waiting_.empty())
        return;
    isSending_ = true;
    if (capabilities_)
        return send(*capabilities_);
    callAsync(bus_, methodCall("GetCapabilities"_L1), *this, [this](const QDBusMessage& answer) {
        QStringList capabilities;
        if (answer.type() == QDBusMessage::ReplyMessage) {
            capabilities = answer.arguments().value(0).toStringList();
            if (isFromServer(answer))
                capabilities_ = capabilities;
        }
        send(capabilities);
    });
}

void DBusNotifications::send(const QStringList& capabilities) {
    Waiting sending = std::move(waiting_.front());
    waiting_.pop_front();

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
    callAsync(bus_, call, *this,
              [this, sending = std::move(sending)](const QDBusMessage& answer) { sent(sending, answer); });
}

void DBusNotifications::sent(const Waiting& sending, const QDBusMessage& answer) {
    if (answer.type() == QDBusMessage::ReplyMessage && isFromServer(answer)) {
        if (const quint32 id = answer.arguments().value(0).toUInt(); id != 0)
            remember({sending.notification.identifier, id, sending.notification.userInfo});
    }
    isSending_ = false;
    sendNext();
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
    const std::optional<Token> token = std::exchange(token_, std::nullopt);
    if (token && token->id == id)
        qputenv(activationVariable, token->token.toUtf8());
    handler_(QMap(found->userInfo));
    // It is good for this one activation, and no business of the programs started later.
    qunsetenv(activationVariable);
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
