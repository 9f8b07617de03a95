#include "app/desktop/LauncherBadge.h"

#include <QDBusMessage>
#include <QVariantMap>

#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr auto launcher = "application://fetra.desktop"_L1;

/// Each application sends from a path of its own; the docks' convention makes it of this hash.
QString objectPath() {
    quint32 hash = 5381;
    for (const char c : launcher)
        hash = hash * 33 + static_cast<quint32>(c);
    return "/com/canonical/unity/launcherentry/"_L1 + QString::number(hash);
}

} // namespace

LauncherBadge::LauncherBadge(QDBusConnection bus)
    : bus_(std::move(bus))
    , docks_(u"com.canonical.Unity"_s, bus_, QDBusServiceWatcher::WatchForOwnerChange) {
    // A dock that starts now, or takes over from another, has heard none of the earlier signals.
    QObject::connect(&docks_, &QDBusServiceWatcher::serviceOwnerChanged, &docks_,
                     [this](const QString&, const QString&, const QString& owner) {
                         if (count_ > 0 && !owner.isEmpty())
                             send();
                     });
}

void LauncherBadge::show(qint64 count) {
    if (count == count_)
        return;
    count_ = count;
    send();
}

void LauncherBadge::send() const {
    auto update =
        QDBusMessage::createSignal(objectPath(), u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s);
    update.setArguments({launcher, QVariantMap{{u"count"_s, count_}, {u"count-visible"_s, count_ > 0}}});
    bus_.send(update);
}

} // namespace fetra
