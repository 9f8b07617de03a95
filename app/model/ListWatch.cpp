#include "app/model/ListWatch.h"

#include <QSet>

#include <algorithm>

namespace fetra {

ListWatch::ListWatch(DownloadManager& manager)
    : manager_(manager) {
    connect(&manager_, &DownloadManager::changed, this, [this](DownloadManager::Field field) {
        if (field == DownloadManager::Field::items)
            follow();
    });
    follow();
}

void ListWatch::follow() {
    // Changes come mostly at the end of a long list: what is the same at both ends needs no looking up.
    const QList<DownloadManager::Item>& now = manager_.items();
    const auto [oldBegin, newBegin] = std::ranges::mismatch(followed_, now);
    const qsizetype skipped = oldBegin - followed_.begin();
    const QList<DownloadManager::Item> before = followed_.sliced(skipped);
    const QList<DownloadManager::Item> after = now.sliced(skipped);
    const QSet<DownloadManager::Item> present(after.begin(), after.end());
    const QSet<DownloadManager::Item> known(before.begin(), before.end());
    for (const DownloadManager::Item& item : before)
        if (!present.contains(item))
            item->disconnect(this);
    for (const DownloadManager::Item& item : after)
        if (!known.contains(item))
            connect(item.get(), &DownloadItem::changed, this,
                    [this, changed = std::weak_ptr(item)](DownloadItem::Field field) {
                        if (const DownloadManager::Item alive = changed.lock())
                            Q_EMIT itemChanged(alive, field);
                    });
    followed_ = now;
}

} // namespace fetra
