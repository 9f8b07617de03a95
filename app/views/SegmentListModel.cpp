#include "app/views/SegmentListModel.h"

namespace fetra {

void SegmentListModel::refresh(const Item& item) {
    const bool isActive = item->isActive();
    const bool hasMirrors = !item->mirrors().isEmpty();
    const bool allDiffer = item != item_ || isActive != isActive_ || hasMirrors != hasMirrors_;
    item_ = item;
    isActive_ = isActive;
    hasMirrors_ = hasMirrors;
    show(item_->segments(), allDiffer);
}

InspectorFacts::SegmentFacts SegmentListModel::facts(int row) const {
    return InspectorFacts::segment(*item_, value(row), row);
}

double SegmentListModel::fraction(int row) const {
    const SegmentSnapshot& segment = value(row);
    if (segment.length() == 0)
        return 0;
    return std::min(static_cast<double>(segment.done()) / static_cast<double>(segment.length()), 1.0);
}

QVariant SegmentListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid) ||
        (role != Qt::DisplayRole && role != Qt::AccessibleTextRole))
        return {};
    const InspectorFacts::SegmentFacts row = facts(index.row());
    QStringList parts{row.title, row.range, row.percent, row.source,
                      InspectorFacts::segmentStateText(row.state)};
    parts.removeAll(QString());
    return parts.join(QStringLiteral(", "));
}

} // namespace fetra
