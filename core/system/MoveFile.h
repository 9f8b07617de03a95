#pragma once

#include <QString>

namespace fetra::MoveFile {

/// Renames `from` to `to` within one file system and syncs the folder. Never replaces a file: answers false
/// when there is one at `to`. Throws `PosixError`; then the file is where it was.
[[nodiscard]] bool withoutReplacing(const QString& from, const QString& to);

} // namespace fetra::MoveFile
