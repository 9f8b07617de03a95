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

    /// Gets ready for the next search of `items`, the whole list, a part at a time: called now and then, it
    /// prepares texts that are not known yet and forgets those of downloads that have gone.
    void prepare(const QList<DownloadManager::Item>& items);

private:
    struct Entry {
        /// What `texts` was made from, and may change.
        QString filename;
        QString texts;
    };

    [[nodiscard]] const QString& textsOf(const DownloadItem& item);

    void forgetAllBut(const QList<DownloadManager::Item>& items);

    QHash<QUuid, Entry> entries_;
    /// Where the next part begins.
    qsizetype next_ = 0;
};

} // namespace fetra
