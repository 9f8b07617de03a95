#pragma once

#include "system/PosixFile.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <span>

namespace fetra {

/// Replaces whole files: a reader sees the old content or the new, never a mix, a power loss included.
/// One writer a path at a time; the temporary file is `path` + `temporarySuffix`.
namespace AtomicFile {

inline constexpr const char* temporarySuffix = ".tmp";

/// Writes `content` to a temporary file of mode 0600 in the same folder, syncs it, renames it over `path` and
/// syncs the folder. Throws `PosixError`; then `path` is as it was, unless only the last sync failed.
void write(const QString& path, const QByteArray& content);

/// The same without waiting for the disk, for a caller that may not: a power loss can still take it back, or
/// leave an empty file. `pieces` are written one after the other. Returns the written file, open, so that a
/// sync can follow elsewhere. Throws `PosixError`; then `path` is as it was.
[[nodiscard]] PosixFile::Descriptor replace(const QString& path, std::span<const QByteArrayView> pieces);

/// The whole file, or nothing when it is missing, unreadable or longer than `maxBytes`.
[[nodiscard]] std::optional<QByteArray> read(const QString& path, qint64 maxBytes);

/// The same, but throws `PosixError` when there is something at `path` that cannot be read now.
[[nodiscard]] std::optional<QByteArray> readIfThere(const QString& path, qint64 maxBytes);

} // namespace AtomicFile
} // namespace fetra
