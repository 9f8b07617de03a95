#pragma once

#include "support/TempFolder.h"

namespace fetra::test {

/// What the sidecar of `name` vouches for, after comparing those bytes of the partial file with `content`; 0
/// without a record.
[[nodiscard]] qint64 heldBytes(const TempFolder& folder, const QString& name, const QByteArray& content);

} // namespace fetra::test
