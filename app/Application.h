#pragma once

#include "app/Appearance.h"
#include "app/desktop/DBusNotifications.h"
#include "app/desktop/DesktopColorScheme.h"
#include "app/desktop/DesktopWorkspace.h"
#include "app/desktop/LauncherBadge.h"
#include "app/desktop/QtAlerts.h"
#include "app/desktop/QtOpenPanels.h"
#include "app/desktop/QtPasteboard.h"
#include "app/desktop/StatusTray.h"
#include "app/desktop/StoredPreferences.h"
#include "app/desktop/Windows.h"
#include "app/model/AppDelegate.h"
#include "app/model/AppModel.h"
#include "app/model/DownloadCommands.h"
#include "app/views/MainWindow.h"
#include "app/views/MenuBarExtra.h"

#include <QObject>
#include <QTimer>

namespace fetra {

struct Handover;

/// The application: the manager, the model above it, the desktop it runs on and its windows, from the first
/// window to the end of the process. Main thread only.
class Application final : public QObject, private Windows {
    Q_OBJECT

public:
    struct Setup {
        DownloadManager::Setup manager;
        /// The folder that holds `Contents/Helpers`.
        QUrl appBundle;
    };

    /// `runners` and `clock` outlive this.
    Application(const Setup& setup, RunnerFactory& runners, const Clock& clock);
    ~Application() override;

    /// Shows the main window and begins the ticks.
    void launch();
    /// What this start or a later one was asked to open; raises the window.
    void open(const Handover& handover);
    /// Asks the user while downloads run, lets them save what they have, and ends the event loop.
    void quit();
    /// The same without asking: nobody may be there to answer.
    void quitUnasked();

Q_SIGNALS:
    /// Whether it takes what later starts have to open. While it ends, that is for the next instance; where
    /// something keeps it from ending it goes on.
    void acceptingChanged(bool accepts);

private:
    void openMain() override;
    /// Nobody is left with a program that has neither a window nor an icon.
    void stayReachable();

    DesktopColorScheme scheme_;
    Appearance appearance_{scheme_};
    StoredPreferences preferences_;
    QtPasteboard pasteboard_;
    DBusNotifications notifications_;
    LauncherBadge badge_;
    DesktopWorkspace workspace_;
    QtOpenPanels panels_;
    QtAlerts alerts_;
    StatusTray tray_;

    DownloadManager manager_;
    AppModel model_;
    AppDelegate delegate_;
    DownloadCommands commands_;
    MainWindow window_;
    MenuBarExtra extra_;
    QTimer reachableCheck_;
};

} // namespace fetra
