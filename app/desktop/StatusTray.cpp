#include "app/desktop/StatusTray.h"

#include "app/desktop/BusCall.h"

#include <QApplication>
#include <QDBusVariant>
#include <QSystemTrayIcon>

#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr auto watcherName = "org.kde.StatusNotifierWatcher"_L1;
constexpr auto watcherPath = "/StatusNotifierWatcher"_L1;

bool hasX11Tray() {
    return qobject_cast<QApplication*>(QCoreApplication::instance()) &&
           QGuiApplication::platformName() == "xcb"_L1 && QSystemTrayIcon::isSystemTrayAvailable();
}

} // namespace

StatusTray::StatusTray(QDBusConnection bus)
    : StatusTray(std::move(bus), hasX11Tray) {}

StatusTray::StatusTray(QDBusConnection bus, std::function<bool()> olderTray)
    : bus_(std::move(bus))
    , watcher_(watcherName, bus_, QDBusServiceWatcher::WatchForOwnerChange)
    , olderTray_(std::move(olderTray)) {
    connect(
        &watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString&, const QString&, const QString& owner) { watcherChanged(!owner.isEmpty()); });
    for (const auto signal : {"StatusNotifierHostRegistered"_L1, "StatusNotifierHostUnregistered"_L1})
        bus_.connect({}, watcherPath, watcherName, signal, this, SLOT(askForHost()));
    askForHost();
}

bool StatusTray::isAvailable() const {
    // Qt settles on one kind of tray when it is first asked: not while the newer one may still come up.
    return hasHost_ || (isKnown_ && !hasWatcher_ && olderTray_());
}

void StatusTray::watcherChanged(bool exists) {
    ++questions_;
    hasWatcher_ = exists;
    // Also when one watcher takes over from another: the icons were registered with the first.
    if (hasHost_ || !exists)
        answered(false);
    if (exists)
        askForHost();
}

void StatusTray::askForHost() {
    auto call = QDBusMessage::createMethodCall(watcherName, watcherPath, u"org.freedesktop.DBus.Properties"_s,
                                               u"Get"_s);
    call.setArguments({watcherName, u"IsStatusNotifierHostRegistered"_s});
    call.setAutoStartService(false);
    callAsync(bus_, call, *this, [this, question = ++questions_](const QDBusMessage& answer) {
        if (question != questions_)
            return;
        hasWatcher_ = !saysNoService(answer);
        answered(answer.type() == QDBusMessage::ReplyMessage &&
                 answer.arguments().value(0).value<QDBusVariant>().variant().toBool());
    });
}

void StatusTray::answered(bool hasHost) {
    const bool isFirst = !std::exchange(isKnown_, true);
    const bool hadHost = std::exchange(hasHost_, hasHost);
    if (hadHost != hasHost || (isFirst && isAvailable()))
        Q_EMIT changed();
}

} // namespace fetra
