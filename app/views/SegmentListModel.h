#pragma once

#include "app/model/InspectorFacts.h"
#include "app/views/SnapshotListModel.h"

namespace fetra {

/// The byte ranges of one download as rows. Shows them as they were at the last refresh.
class SegmentListModel final : public SnapshotListModel<SegmentSnapshot> {
public:
    using Item = DownloadManager::Item;
    using SnapshotListModel::SnapshotListModel;

    /// Takes the item's present ranges.
    void refresh(const Item& item);

    /// Of an existing row.
    [[nodiscard]] InspectorFacts::SegmentFacts facts(int row) const;
    /// How much of an existing row is fetched, 0 to 1.
    [[nodiscard]] double fraction(int row) const;

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

private:
    Item item_;
    /// What the rows depend on besides their ranges.
    bool isActive_ = false;
    bool hasMirrors_ = false;
};

} // namespace fetra
