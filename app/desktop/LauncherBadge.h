#pragma once

#include "app/desktop/Badge.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>

namespace fetra {

/// The count beside the launcher's icon, in docks that follow the launcher-entry signals. Main thread only;
/// waits for nothing, and says nothing without a bus.
class LauncherBadge final : public Badge {
public:
    explicit LauncherBadge(QDBusConnection bus = QDBusConnection::sessionBus());

    void show(qint64 count) override;

private:
    void send() const;

    QDBusConnection bus_;
    QDBusServiceWatcher docks_;
    qint64 count_ = 0;
};

} // namespace fetra
