#pragma once

#include "app/views/DownloadTableModel.h"

#include <QMap>
#include <QTreeView>

#include <array>

class QMenu;

namespace fetra {

/// The list of downloads: one row each, bound to the model's selection. What the user selects here replaces
/// the selection; downloads that are merely not shown stay selected until then.
class DownloadTable final : public QTreeView {
    Q_OBJECT

public:
    /// `model` outlives this.
    explicit DownloadTable(AppModel& model, QWidget* parent = nullptr);
    ~DownloadTable() override;

    /// Offers every column but the names. What it shows or hides stays so; the others come and go with the
    /// room.
    [[nodiscard]] QMenu& columnsMenu() const { return *columnsMenu_; }

    /// Widths, order and choice of the columns, and what the rows are sorted by.
    [[nodiscard]] QByteArray saveState() const;
    /// False, and nothing changes, for anything that `saveState` did not make.
    bool restoreState(const QByteArray& state);

    void keyboardSearch(const QString& search) override;
    /// What is not shown is not selected.
    void selectAll() override;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;

private:
    void setUpColumns();
    void setUsualColumns();
    /// Measures the font again. Widths that the user has changed stay.
    void updateUsualWidths();
    void makeColumnsMenu();
    void chooseColumn(int section, bool isShown);
    /// Shows what fits beside the names, and always what the user has chosen.
    void fitColumns();
    /// The names have the room that the other columns leave.
    void fitNames();

    [[nodiscard]] QSet<QUuid> shownSelection() const;
    void showSelection();
    /// Brings what has been selected elsewhere into view.
    void followSelection();
    void showMenu(const QSet<QUuid>& ids, const QPoint& position);

    AppModel& model_;
    DownloadTableModel rows_;
    /// The selection of the view changes for other reasons than the user.
    bool isShowingSelection_ = false;
    bool isTakingSelection_ = false;
    QUuid current_;
    /// Where the keyboard is, shown once it is used.
    bool showsFocus_ = false;

    QMenu* columnsMenu_;
    /// Also of the columns that are hidden.
    std::array<int, downloadColumnCount> widths_{};
    /// What the font asks for.
    std::array<int, downloadColumnCount> usualWidths_{};
    /// By section: whether it is shown whatever the room.
    QMap<int, bool> chosen_;
    bool isFitting_ = false;
};

} // namespace fetra
