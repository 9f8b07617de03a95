#pragma once

#include "manager/DownloadManager.h"

#include <QList>
#include <QObject>

namespace fetra {

/// Tells of every change of every download of a list, however the list changes meanwhile. Main thread only.
class ListWatch final : public QObject {
    Q_OBJECT

public:
    /// `manager` outlives this.
    explicit ListWatch(DownloadManager& manager);

Q_SIGNALS:
    void itemChanged(const fetra::DownloadManager::Item& item, fetra::DownloadItem::Field field);

private:
    void follow();

    DownloadManager& manager_;
    QList<DownloadManager::Item> followed_;
};

} // namespace fetra
