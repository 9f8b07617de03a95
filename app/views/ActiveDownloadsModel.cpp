#include "app/views/ActiveDownloadsModel.h"

#include "app/model/InspectorFacts.h"
#include "app/views/PlainToolTip.h"
#include "transfer/ByteFormat.h"

namespace fetra {

void ActiveDownloadsModel::refresh(const DownloadManager& manager) {
    QList<ActiveDownload> active;
    for (const DownloadManager::Item& item : manager.items())
        if (item->isActive())
            active.append({.name = item->filename(),
                           .fraction = item->fraction(),
                           .percent = InspectorFacts::percentText(item->fraction()),
                           .rate = ByteFormat::rate(item->bytesPerSecond()),
                           .peers = item->isTorrent() ? tr("%1 peers").arg(item->peers()) : QString()});
    show(active);
}

QVariant ActiveDownloadsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const ActiveDownload& row = value(index.row());
    if (role == Qt::ToolTipRole)
        return plainToolTip(row.name);
    if (role == Qt::DisplayRole)
        return row.name;
    if (role != Qt::AccessibleTextRole)
        return {};
    QStringList parts{row.name, row.percent, row.rate, row.peers};
    parts.removeAll(QString());
    return parts.join(QStringLiteral(", "));
}

} // namespace fetra
