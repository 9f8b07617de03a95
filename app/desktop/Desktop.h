#pragma once

namespace fetra {

class Alerts;
class Badge;
class NotificationCenter;
class OpenPanels;
class Pasteboard;
class PreferencesStore;
class Tray;
class Windows;
class Workspace;

/// All that the application asks of the desktop. Whoever makes these keeps them longer than their users.
struct Desktop {
    Pasteboard& pasteboard;
    PreferencesStore& preferences;
    NotificationCenter& notifications;
    Badge& badge;
    Workspace& workspace;
    OpenPanels& panels;
    Alerts& alerts;
    Windows& windows;
    Tray& tray;
};

} // namespace fetra
