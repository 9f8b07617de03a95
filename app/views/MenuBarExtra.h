#pragma once

#include <QObject>
#include <QSystemTrayIcon>

#include <functional>
#include <memory>

namespace fetra {

class AppModel;
class DownloadCommands;
class MenuBarContent;
class Tray;

/// The application's icon among the status icons, with a panel that opens from it. There while the user wants
/// it and the desktop has a place for it. Main thread only.
class MenuBarExtra final : public QObject {
    Q_OBJECT

public:
    /// All outlive this. `quit` asks the application to end.
    MenuBarExtra(AppModel& model, DownloadCommands& commands, Tray& tray, std::function<void()> quit);
    ~MenuBarExtra() override;

    /// Whether there is a way back to the application without a window.
    [[nodiscard]] bool hasIcon() const { return icon_ != nullptr; }
    /// The place for icons has come, gone or made room for another.
    void renew();

private:
    void follow();
    void showRate();
    void togglePanel(QSystemTrayIcon::ActivationReason reason);

    AppModel& model_;
    Tray& tray_;
    std::unique_ptr<MenuBarContent> panel_;
    std::unique_ptr<QSystemTrayIcon> icon_;
};

} // namespace fetra
