#pragma once

#include "app/views/DownloadTableModel.h"

#include <QTreeView>

namespace fetra {

class DownloadColumns;

/// The list of downloads: one row each, bound to the model's selection. What the user selects here replaces
/// the selection; downloads that are merely not shown stay selected until then.
class DownloadTable final : public QTreeView {
    Q_OBJECT

public:
    /// `model` outlives this.
    explicit DownloadTable(AppModel& model, QWidget* parent = nullptr);
    ~DownloadTable() override;

    [[nodiscard]] DownloadColumns& columns() const { return *columns_; }

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
    [[nodiscard]] QSet<QUuid> shownSelection() const;
    void showSelection();
    /// Brings what has been selected elsewhere into view.
    void followSelection();
    void showMenu(const QSet<QUuid>& ids, const QPoint& position);

    AppModel& model_;
    DownloadTableModel rows_;
    DownloadColumns* columns_;
    /// The selection of the view changes for other reasons than the user.
    bool isShowingSelection_ = false;
    bool isTakingSelection_ = false;
    QUuid current_;
    /// Where the keyboard is, shown once it is used.
    bool showsFocus_ = false;
};

} // namespace fetra
