#pragma once

#include "cli/Arguments.h"

#include <QString>
#include <QUrl>

#include <variant>

namespace fetra::cli {

/// Where a download goes: the file URL of a folder (ending in "/") or of the file itself, for what -o said
/// (`output`, empty when it was left out). Looks at the disk and changes nothing there.
[[nodiscard]] std::variant<QUrl, UsageError> outputTarget(const QString& output,
                                                          const QString& currentFolder);

} // namespace fetra::cli
