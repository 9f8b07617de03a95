#pragma once

#include <QString>

namespace fetra::MakeFolder {

/// Creates the folder at `path` and every missing one above it, each for its owner alone (0700). A folder
/// that exists is left as it is. Throws `PosixError`; ENOTDIR when something else has that name.
void withParents(const QString& path);

} // namespace fetra::MakeFolder
