#pragma once

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

namespace fetra {

/// What the user may choose in an open panel.
struct OpenPanel {
    enum class Choice { files, folder };

    QString title;
    /// On the button that confirms.
    QString prompt;
    Choice choice = Choice::files;
    /// The only MIME type offered; all files when empty.
    QString mimeType{};
    bool allowsSeveral = false;
    /// The folder that the panel begins in.
    std::optional<QUrl> start{};
};

/// Panels that ask for files or folders. Main thread only.
class OpenPanels {
public:
    virtual ~OpenPanels() = default;

    /// Returns at once. Shows the panel as a sheet of the window in use, or free-standing without one;
    /// `chosen` gets at least one file URL, and is not called when the user cancels.
    virtual void show(const OpenPanel& panel, std::function<void(const QList<QUrl>&)> chosen) = 0;
};

} // namespace fetra
