#pragma once

#include <QString>
#include <QStringList>

#include <optional>

/// The folders where other programs leave job files. Nothing is created.
namespace fetra::InboxFolders {

/// This application's own inbox; absent when the system names no application-support folder.
[[nodiscard]] std::optional<QString> application();

/// The inbox in the capture extension's container, a folder of its own beside the application's data.
[[nodiscard]] std::optional<QString> captureExtension();

/// All there are, in the order in which they are read.
[[nodiscard]] QStringList all();

} // namespace fetra::InboxFolders
