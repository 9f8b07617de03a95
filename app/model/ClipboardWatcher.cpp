#include "app/model/ClipboardWatcher.h"

#include "app/desktop/Pasteboard.h"
#include "links/LinkParser.h"
#include "manager/DownloadManager.h"
#include "system/AbsoluteURL.h"

#include <utility>

namespace fetra {

ClipboardWatcher::ClipboardWatcher(Pasteboard& pasteboard)
    : pasteboard_(pasteboard) {}

void ClipboardWatcher::poll(const DownloadManager& manager, bool enabled) {
    const bool wasEnabled = std::exchange(wasEnabled_, enabled);
    // To ask for the count can mean to wait for another program, so nobody does unless it matters.
    if (!enabled)
        return clear();
    // Read before the text: what is copied meanwhile is found the next time.
    const qint64 changeCount = pasteboard_.changeCount();
    const bool isNew = std::exchange(changeCount_, changeCount) != changeCount;
    if (!wasEnabled || !isNew)
        return;

    QList<QUrl> links = LinkParser::extract(pasteboard_.text().value_or(QString()));
    if (!links.isEmpty()) {
        QSet<QString> known;
        known.reserve(manager.items().size());
        for (const DownloadManager::Item& item : manager.items())
            known.insert(absoluteString(item->url()));
        links.removeIf([&](const QUrl& link) { return known.contains(absoluteString(link)); });
    }
    setLinks(links);
}

QString ClipboardWatcher::detail() const {
    return links_.size() == 1 ? tr("1 link copied") : tr("%1 links copied").arg(links_.size());
}

void ClipboardWatcher::setLinks(const QList<QUrl>& links) {
    if (links_ == links)
        return;
    links_ = links;
    Q_EMIT changed();
}

} // namespace fetra
