#pragma once

#include <QString>

#include <optional>

/// Where this user's files belong. Nothing is created. Absent when the system names no such folder.
namespace fetra::StandardFolders {

/// What stands in for an application-support folder: `$XDG_DATA_HOME`, or `~/.local/share`.
[[nodiscard]] std::optional<QString> applicationSupport();

/// Where programs keep their settings, browsers their profiles: `$XDG_CONFIG_HOME`, or `~/.config`.
[[nodiscard]] std::optional<QString> configuration();

[[nodiscard]] std::optional<QString> downloads();

[[nodiscard]] QString home();
[[nodiscard]] QString temporary();

} // namespace fetra::StandardFolders
