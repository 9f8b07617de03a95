#pragma once

#include <QSet>
#include <QString>
#include <QUuid>

#include <functional>
#include <vector>

namespace fetra {

class AppModel;

/// What can be done with some downloads of the list, as one table that a menu is made from when the user asks
/// for one. Main thread only.
class DownloadContextMenu {
public:
    struct Entry {
        /// In the user's language and the words of this platform.
        QString title;
        /// Of the symbol set; may be empty.
        QString symbol;
        /// A line stands above it.
        bool beginsGroup = false;
        bool isEnabled = false;
        /// Acts on those of the downloads that it suits when it is called.
        std::function<void()> perform;
    };

    /// As things are now. `model` outlives the entries.
    DownloadContextMenu(AppModel& model, const QSet<QUuid>& ids);

    [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

private:
    const std::vector<Entry> entries_;
};

} // namespace fetra
