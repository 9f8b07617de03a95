#pragma once

#include "app/model/AppModel.h"
#include "app/model/DownloadCommands.h"

#include <QElapsedTimer>
#include <QWidget>

#include <functional>

class QLabel;
class QPushButton;

namespace fetra {

class ActiveDownloadsModel;
class EmptyState;
class FittingListView;
class RefreshPace;
class ToneLabel;

/// The panel of the status icon: what runs, and the commands for all of it. A window of its own that goes
/// when the user turns to something else; whoever owns it puts it beside the icon and shows it.
class MenuBarContent final : public QWidget {
    Q_OBJECT

public:
    /// `quit` asks the application to end. Model and commands outlive this.
    MenuBarContent(AppModel& model, DownloadCommands& commands, std::function<void()> quit,
                   QWidget* parent = nullptr);

    void setVisible(bool visible) override;
    /// Whether it closed a moment ago because the user clicked elsewhere, perhaps where they open it.
    [[nodiscard]] bool wasLeftJustNow() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

private:
    QPushButton* addCommand(DownloadCommands::Command command);
    QPushButton* addWindowButton(const QString& title, std::function<void()> perform);
    void layOut(QPushButton* open, QPushButton* quit);
    void follow();
    void refresh();

    AppModel& model_;
    DownloadCommands& commands_;
    QLabel* const title_;
    ToneLabel* const count_;
    EmptyState* const nothing_;
    ActiveDownloadsModel* const active_;
    FittingListView* const list_;
    QPushButton* const pauseAll_;
    QPushButton* const resumeAll_;
    QLabel* const rate_;
    RefreshPace* const pace_;
    bool isHiding_ = false;
    QElapsedTimer sinceLeft_;
};

} // namespace fetra
