#pragma once

#include <QList>
#include <QUrl>

namespace fetra {

/// Files in the hands of other programs. Main thread only.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// Opens a file with its default application; false when it is not there or nobody could be asked.
    [[nodiscard]] virtual bool open(const QUrl& file) = 0;
    /// Shows files and folders, selected, in the file manager.
    virtual void reveal(const QList<QUrl>& files) = 0;
};

} // namespace fetra
