#pragma once

#include <QList>
#include <QString>
#include <QUrl>

namespace fetra {

/// Files in the hands of other programs. Main thread only.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// Opens a file with its default application; false when it is not there or nobody could be asked. A
    /// launcher is revealed instead: to run something is the user's own decision.
    [[nodiscard]] virtual bool open(const QUrl& file) = 0;
    /// Shows files and folders, selected, in the file manager, whose window `activationToken` lets come to
    /// the front.
    virtual void reveal(const QList<QUrl>& files, const QString& activationToken = {}) = 0;
};

} // namespace fetra
