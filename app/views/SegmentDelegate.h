#pragma once

#include <QStyledItemDelegate>

namespace fetra {

/// Paints a row of a SegmentListModel: which range, in what state, and how far it is.
class SegmentDelegate final : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

} // namespace fetra
