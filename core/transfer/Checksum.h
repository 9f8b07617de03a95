#pragma once

#include <QString>

namespace fetra::Checksum {

/// SHA-256 of the file at `path` as 64 lower-case hexadecimal digits, read in chunks of 8 MiB.
/// Throws `DownloadError::io` when the file cannot be opened and `PosixError` when a read fails.
[[nodiscard]] QString sha256(const QString& path);

} // namespace fetra::Checksum
