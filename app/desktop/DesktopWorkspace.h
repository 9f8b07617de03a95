#pragma once

#include "app/desktop/Workspace.h"

#include <QDBusConnection>
#include <QObject>

#include <functional>

namespace fetra {

/// The file manager and the default applications of this desktop. Main thread only; waits for nobody's
/// answer.
class DesktopWorkspace final : public Workspace {
public:
    /// Hands a file or folder to its default application; false when that failed.
    using Opener = std::function<bool(const QUrl&)>;

    DesktopWorkspace();
    DesktopWorkspace(QDBusConnection bus, Opener opener);

    [[nodiscard]] bool open(const QUrl& file) override;
    /// Where no file manager can select items, opens the folder that holds the first, or the first itself
    /// when it is a folder. One that is only slow gets no second window.
    void reveal(const QList<QUrl>& files, const QString& activationToken = {}) override;

private:
    void openFolder(const QString& path) const;

    QDBusConnection bus_;
    Opener opener_;
    QObject receiver_;
};

} // namespace fetra
