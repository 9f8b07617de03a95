#pragma once

#include "app/desktop/Tray.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>

#include <functional>

namespace fetra {

/// Whether something on this desktop draws status icons: a host of StatusNotifierItems, which may come and
/// go, or the older tray of an X11 window system. Main thread only; waits for nothing, so the answer is no
/// until the first word from the bus.
class StatusTray final : public QObject, public Tray {
    Q_OBJECT

public:
    explicit StatusTray(QDBusConnection bus = QDBusConnection::sessionBus());
    /// `olderTray` says whether a tray of the other kind is there now. Asked only where nobody watches over
    /// the newer kind.
    StatusTray(QDBusConnection bus, std::function<bool()> olderTray);

    [[nodiscard]] bool isAvailable() const override;
    /// Hosts of StatusNotifierItems do.
    [[nodiscard]] bool colorsSymbols() const override { return hasHost_; }

Q_SIGNALS:
    /// A host has come, gone or made room for another: icons must be registered anew.
    void changed();

private Q_SLOTS:
    void askForHost();

private:
    void watcherChanged(bool exists);
    void answered(bool hasHost);

    QDBusConnection bus_;
    QDBusServiceWatcher watcher_;
    std::function<bool()> olderTray_;
    bool isKnown_ = false;
    bool hasWatcher_ = false;
    bool hasHost_ = false;
    /// Tells the answer to the last question from those to earlier ones.
    quint64 questions_ = 0;
};

} // namespace fetra
