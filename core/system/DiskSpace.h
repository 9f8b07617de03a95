#pragma once

#include <QString>

#include <optional>

namespace fetra::DiskSpace {

/// Bytes that this user may still write to the file system of `path`, or nothing where it does not say.
[[nodiscard]] std::optional<qint64> available(const QString& path);

/// Bytes of the disk that the file at `path` already has; 0 when it cannot be examined.
[[nodiscard]] qint64 allocated(const QString& path);

} // namespace fetra::DiskSpace
