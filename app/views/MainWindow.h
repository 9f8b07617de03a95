#pragma once

#include "app/views/Throttle.h"

#include <QHash>
#include <QMainWindow>
#include <QUrl>

#include <functional>

class QLineEdit;
class QSplitter;
class QStackedWidget;

namespace fetra {

class AppModel;
class DownloadCommands;
class DownloadTable;
class EmptyState;
class InspectorView;
class PreferencesStore;
class Sparkline;

/// The main window: sidebar, list and inspector, with the menus and the toolbar above, and the sheets that
/// the model asks for. There is one; closing it hides it.
class MainWindow final : public QMainWindow {
    Q_OBJECT

public:
    struct Setup {
        /// These outlive the window.
        AppModel& model;
        DownloadCommands& commands;
        PreferencesStore& preferences;
        /// As for `AppDelegate`.
        QUrl appBundle;
        /// Asks the application to end.
        std::function<void()> quit;
    };

    explicit MainWindow(const Setup& setup);
    ~MainWindow() override;

    /// Asked when the user closes the window: whether it may go. Without one it may.
    void setCloseHandler(std::function<bool()> mayClose) { mayClose_ = std::move(mayClose); }
    /// Shows the window and brings it to the front.
    void present();
    void showSettings();

    /// The toolbar stays.
    QMenu* createPopupMenu() override { return nullptr; }

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void makeActions();
    void makeMenus();
    void makeToolBar();
    void makeColumns();
    void restore();
    void save() const;

    void refreshCommands();
    void refreshContent();
    void refreshThroughput();
    void showInspector();
    void showErrorMessage();
    void setDropTargeted(bool targeted);

    AppModel& model_;
    DownloadCommands& commands_;
    PreferencesStore& preferences_;
    const QUrl appBundle_;
    const std::function<void()> quit_;
    std::function<bool()> mayClose_;

    /// By `DownloadCommands::Command`.
    QHash<int, QAction*> actions_;
    QLineEdit* search_;
    Sparkline* throughput_;
    QSplitter* columns_;
    QStackedWidget* content_;
    DownloadTable* table_;
    EmptyState* empty_;
    InspectorView* inspector_;
    /// For what changes with every download that goes its way.
    Throttle contentRefresh_;
    QWidget* settings_ = nullptr;
    QWidget* errorAlert_ = nullptr;
    /// Around the list while something that can be used hovers over it.
    QWidget* dropFrame_;
};

} // namespace fetra
