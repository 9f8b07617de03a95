// Links that the system hands over.

#include "app/model/AppModel.h"

#include "links/LinkParser.h"
#include "system/AbsoluteURL.h"
#include "torrent/TorrentDownloader.h"

#include <QUrlQuery>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

bool isSame(const QString& text, QLatin1StringView word) {
    return text.compare(word, Qt::CaseInsensitive) == 0;
}

/// The values of the query items `url`, a line each.
QString linesOf(const QUrl& addLink) {
    return QUrlQuery(addLink).allQueryItemValues(u"url"_s, QUrl::FullyDecoded).join(u'\n');
}

} // namespace

void AppModel::handleURL(const QUrl& url) {
    if (isTerminating_)
        return;
    const QString unsupported = tr("This link is not a supported Fetra add link.");
    if (!url.isValid() || absoluteString(url).size() > maxAddLinkLength) {
        setErrorMessage(unsupported);
        return;
    }
    if (isSame(url.scheme(), "magnet"_L1)) {
        add({url}, std::nullopt);
        return;
    }
    if (url.isLocalFile() && TorrentDownloader::isTorrentSource(url)) {
        openTorrentFiles({url});
        return;
    }
    const bool isOurs = isSame(url.scheme(), "fetra"_L1);
    if (isOurs && isSame(url.host(), "wake"_L1)) {
        manager_.ingestInbox();
        return;
    }
    if (!isOurs || !isSame(url.host(), "add"_L1)) {
        setErrorMessage(unsupported);
        return;
    }
    const QList<QUrl> links = LinkParser::extract(linesOf(url));
    if (links.isEmpty())
        setErrorMessage(tr("The add link contains no valid HTTP, HTTPS, or magnet links."));
    else if (links.size() > maxAddLinkCount)
        setErrorMessage(tr("The add link contains more than %1 links.").arg(maxAddLinkCount));
    else
        add(links, std::nullopt);
}

} // namespace fetra
