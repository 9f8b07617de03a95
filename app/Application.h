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
    /// It is certain that the process ends; what is opened from now on is for the next one.
    void ending();

private:
    void openMain() override;

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
};

} // namespace fetra
