#include "app/views/FittingListView.h"

#include <algorithm>

namespace fetra {

FittingListView::FittingListView(int mostRows, QWidget* parent)
    : QListView(parent)
    , mostRows_(mostRows) {
    setFrameShape(QFrame::NoFrame);
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
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

} // namespace fetra
