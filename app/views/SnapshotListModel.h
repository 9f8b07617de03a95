#pragma once

#include <QAbstractListModel>
#include <QList>

#include <algorithm>

namespace fetra {

/// A list of values that is brought to another list now and then, telling only of the rows that differ.
/// Values that go or come are taken for the last ones: for rows that are compared by their place.
template <typename Value>
class SnapshotListModel : public QAbstractListModel {
public:
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(values_.size());
    }
    /// Of an existing row.
    [[nodiscard]] const Value& value(int row) const { return values_.at(row); }

protected:
    using QAbstractListModel::QAbstractListModel;

    /// With `allDiffer`, equal values are told of too: what is made of them is another.
    void show(const QList<Value>& values, bool allDiffer = false) {
        const int before = rowCount();
        const int now = static_cast<int>(values.size());
        if (now < before) {
            beginRemoveRows({}, now, before - 1);
            values_.resize(now);
            endRemoveRows();
        } else if (now > before) {
            beginInsertRows({}, before, now - 1);
            values_.append(values.sliced(before));
            endInsertRows();
        }
        int first = now;
        int last = -1;
        for (int row = 0; row < std::min(before, now); ++row) {
            if (!allDiffer && values_.at(row) == values.at(row))
                continue;
            values_[row] = values.at(row);
            first = std::min(first, row);
            last = row;
        }
        if (first <= last)
            Q_EMIT dataChanged(index(first), index(last));
    }

private:
    QList<Value> values_;
};

} // namespace fetra
