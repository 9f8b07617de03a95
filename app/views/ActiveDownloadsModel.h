#pragma once

#include "app/views/SnapshotListModel.h"
#include "manager/DownloadManager.h"

#include <QCoreApplication>

namespace fetra {

/// What the panel says of one download that runs.
struct ActiveDownload {
    QString name;
    /// 0 to 1.
    double fraction = 0;
    QString percent;
    QString rate;
    /// Empty unless it is a torrent.
    QString peers;

    bool operator==(const ActiveDownload&) const = default;
};

/// The downloads that run, in the order of the list, as they were at the last refresh.
class ActiveDownloadsModel final : public SnapshotListModel<ActiveDownload> {
    Q_DECLARE_TR_FUNCTIONS(ActiveDownloads)

public:
    using SnapshotListModel::SnapshotListModel;

    void refresh(const DownloadManager& manager);

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
};

} // namespace fetra
