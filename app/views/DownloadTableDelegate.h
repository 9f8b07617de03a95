#pragma once

#include "app/views/DownloadTableModel.h"

#include <QStyledItemDelegate>

namespace fetra {

/// Draws the cells of the table of downloads; the table itself draws what lies behind them.
class DownloadTableDelegate final : public QStyledItemDelegate {
    Q_OBJECT

public:
    /// `model` outlives this.
    DownloadTableDelegate(const DownloadTableModel& model, QObject* parent);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    /// Enough for whatever the column may show, apart from names; in device-independent pixels.
    [[nodiscard]] static int usualWidth(DownloadColumn column, const QFont& font);

private:
    const DownloadTableModel& model_;
};

} // namespace fetra
