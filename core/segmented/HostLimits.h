#pragma once

#include <QString>

#include <optional>

namespace fetra::HostLimits {

/// How many parallel connections each server host tolerated, remembered for the life of the process and
/// shared by all downloads. The mutex behind it is always the innermost lock.

[[nodiscard]] std::optional<qint64> get(const QString& host);
/// `limit` is at least 1 and replaces what was remembered.
void set(const QString& host, qint64 limit);
void forget(const QString& host);

} // namespace fetra::HostLimits
