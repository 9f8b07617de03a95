#pragma once

#include "support/TempFolder.h"

namespace fetra::test {

/// What the sidecar of the file at `path` vouches for, after comparing those bytes of the partial file with
/// `content`; 0 without a valid record, which names that `etag` where one is given.
[[nodiscard]] qint64 heldBytes(const QString& path, const QByteArray& content,
                               const std::optional<QString>& etag = {});
[[nodiscard]] inline qint64 heldBytes(const TempFolder& folder, const QString& name,
                                      const QByteArray& content) {
    return heldBytes(folder.path(name), content);
}

} // namespace fetra::test
