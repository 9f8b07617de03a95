#pragma once

#include "manager/DownloadManager.h"

#include <QHash>
#include <QString>
#include <QStringMatcher>
#include <QUuid>

namespace fetra {

/// Finds downloads by name and address without regard to letter case and diacritics, as the user's language
/// has them. Remembers the texts in comparable form, so that each further search is quick. Main thread only.
class DownloadSearch {
public:
    /// `text` as it is compared: the same for `Müller`, `MULLER` and `muller`.
    [[nodiscard]] static QString folded(const QString& text);

    /// Those of `items`, in their order, whose file name, address or host holds `query` without the white
    /// space around it; all when nothing is left of it.
    [[nodiscard]] QList<DownloadManager::Item> matching(const QList<DownloadManager::Item>& items,
                                                        const QString& query);

    /// Forgets the texts of downloads that are not in `items`, the whole list, any more.
    void trim(const QList<DownloadManager::Item>& items);

private:
    struct Entry {
        /// What `texts` was made from, and may change.
        QString filename;
        QString texts;
    };

    [[nodiscard]] const QString& textsOf(const DownloadItem& item);

    QHash<QUuid, Entry> entries_;
};

} // namespace fetra
