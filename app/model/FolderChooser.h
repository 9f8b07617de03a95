#pragma once

#include <QUrl>

#include <functional>

namespace fetra {

class OpenPanels;

namespace FolderChooser {

/// Lets the user choose a download folder, beginning in `current`; `receive` is called later, unless the user
/// cancels.
void choose(OpenPanels& panels, const QUrl& current, std::function<void(const QUrl& folder)> receive);

} // namespace FolderChooser
} // namespace fetra
