#pragma once

#include <QString>
#include <QStringList>

#include <sys/types.h>

namespace fetra::MakeFolder {

/// Creates the folder at `path` and every missing one above it, by default each for its owner alone. A folder
/// that exists is left as it is. Answers which were made, the outermost first. Throws `PosixError`; ENOTDIR
/// when something else has that name.
QStringList withParents(const QString& path, mode_t mode = 0700);

/// Waits until no power loss takes the new folders away, as far as that can be had.
void sync(const QStringList& made);

} // namespace fetra::MakeFolder
