#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace fetra {

/// Replaces whole files: a reader sees the old content or the new, never a mix, a power loss included.
/// One writer a path at a time; the temporary file is `path` + `temporarySuffix`.
namespace AtomicFile {

inline constexpr const char* temporarySuffix = ".tmp";

/// Writes `content` to a temporary file of mode 0600 in the same folder, syncs it, renames it over `path` and
/// syncs the folder. Throws `PosixError`; then `path` is as it was, unless only the last sync failed.
void write(const QString& path, const QByteArray& content);

/// The whole file, or nothing when it is missing, unreadable or longer than `maxBytes`.
[[nodiscard]] std::optional<QByteArray> read(const QString& path, qint64 maxBytes);

} // namespace AtomicFile
} // namespace fetra
