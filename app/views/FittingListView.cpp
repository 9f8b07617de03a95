#include "app/views/FittingListView.h"

#include <QScrollArea>

#include <algorithm>

namespace fetra {

FittingListView::FittingListView(int mostRows, QWidget* parent)
    : QListView(parent)
    , mostRows_(mostRows) {
    setFrameShape(QFrame::NoFrame);
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    // Not by the wheel, which only passes.
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    // It lies on its surroundings rather than in a field of its own.
    viewport()->setAutoFillBackground(false);
}

void FittingListView::setModel(QAbstractItemModel* model) {
    QListView::setModel(model);
    const auto fit = [this] { updateGeometry(); };
    connect(model, &QAbstractItemModel::rowsInserted, this, fit);
    connect(model, &QAbstractItemModel::rowsRemoved, this, fit);
    connect(model, &QAbstractItemModel::modelReset, this, fit);
}

QSize FittingListView::sizeHint() const {
    const int rows = model() ? model()->rowCount() : 0;
    return {0, rows == 0 ? 0 : std::min(rows, mostRows_) * sizeHintForRow(0)};
}

QSize FittingListView::minimumSizeHint() const {
    return sizeHint();
}

QVariant FittingListView::inputMethodQuery(Qt::InputMethodQuery query) const {
    return query == Qt::ImCursorRectangle && currentIndex().isValid() ? visualRect(currentIndex())
                                                                      : QListView::inputMethodQuery(query);
}

void FittingListView::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    if (!hasFocus() || !current.isValid())
        return;
    for (QWidget* around = parentWidget(); around; around = around->parentWidget())
        if (auto* const area = qobject_cast<QScrollArea*>(around)) {
            area->ensureWidgetVisible(this, 0, 0);
            return;
        }
}

} // namespace fetra
