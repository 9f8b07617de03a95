#include "segmented/HostLimits.h"

#include <QHash>

#include <mutex>

namespace fetra::HostLimits {

namespace {

struct Memory {
    std::mutex mutex;
    QHash<QString, qint64> limits;
};

Memory& memory() {
    static Memory instance;
    return instance;
}

} // namespace

std::optional<qint64> get(const QString& host) {
    Memory& shared = memory();
    const std::lock_guard lock(shared.mutex);
    const auto found = shared.limits.constFind(host);
    return found == shared.limits.cend() ? std::nullopt : std::optional(*found);
}

void set(const QString& host, qint64 limit) {
    if (host.isEmpty())
        return;
    Memory& shared = memory();
    const std::lock_guard lock(shared.mutex);
    shared.limits.insert(host, qMax<qint64>(limit, 1));
}

void forget(const QString& host) {
    Memory& shared = memory();
    const std::lock_guard lock(shared.mutex);
    shared.limits.remove(host);
}

} // namespace fetra::HostLimits
