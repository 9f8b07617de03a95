#include "app/model/LinkGrabber.h"

#include "app/model/AppModel.h"
#include "app/model/FolderChooser.h"
#include "links/LinkParser.h"
#include "system/AbsoluteURL.h"
#include "torrent/TorrentDownloader.h"
#include "transfer/HTTPProbe.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

bool isHexDigit(QChar each) {
    return (each >= u'0' && each <= u'9') || (each >= u'a' && each <= u'f');
}

bool isWritableFolder(const QUrl& folder) {
    const QFileInfo info(folder.toLocalFile());
    return isLocalPath(folder) && info.isDir() && info.isWritable() && info.isExecutable();
}

} // namespace

LinkGrabber::LinkGrabber(AppModel& model, const QString& text)
    : model_(model)
    , text_(text)
    , directory_(model.manager().defaultDirectory())
    , connections_(std::clamp(model.manager().connectionsPerDownload(), minConnections, maxConnections)) {
    parse();
}

// Fields

template <typename T>
void LinkGrabber::assign(T& field, const T& value, Field name) {
    if (field == value)
        return;
    field = value;
    Q_EMIT changed(name);
}

void LinkGrabber::setText(const QString& text) {
    if (text == text_)
        return;
    assign(text_, text, Field::text);
    if (text.size() > maxTextLength)
        setErrorMessage(tr("The text is too long: links beyond its first million characters are left out."));
    parse();
}

void LinkGrabber::setChecked(const QList<QUrl>& links, bool isChecked) {
    const QSet<QUrl> named(links.begin(), links.end());
    const QSet<QUrl> listed(links_.begin(), links_.end());
    assign(checked_, isChecked ? checked_ | (named & listed) : checked_ - named, Field::checked);
}

void LinkGrabber::setDirectory(const QUrl& directory) {
    assign(directory_, directory, Field::directory);
    setErrorMessage(std::nullopt);
}

void LinkGrabber::setConnections(qint64 count) {
    assign(connections_, std::clamp(count, minConnections, maxConnections), Field::connections);
}

void LinkGrabber::setMirrors(bool on) {
    assign(mirrors_, on, Field::mirrors);
}

void LinkGrabber::setChecksum(const QString& checksum) {
    assign(checksum_, checksum, Field::checksum);
}

void LinkGrabber::setErrorMessage(const std::optional<QString>& message) {
    assign(errorMessage_, message, Field::errorMessage);
}

/// New links are checked; a link that the user has unchecked stays so while it remains.
void LinkGrabber::parse() {
    const QSet<QUrl> before(links_.begin(), links_.end());
    QList<QUrl> links = LinkParser::extract(text_.first(std::min(text_.size(), maxTextLength)));
    QSet<QUrl> found(links.begin(), links.end());
    for (const QUrl& file : torrentFiles_) {
        if (found.contains(file))
            continue;
        found.insert(file);
        links.append(file);
    }
    const QSet<QUrl> checked = (checked_ & found) | (found - before);
    assign(links_, links, Field::links);
    assign(checked_, checked, Field::checked);
}

// What follows from them

QList<QUrl> LinkGrabber::selected() const {
    QList<QUrl> urls = links_;
    urls.removeIf([this](const QUrl& link) { return !checked_.contains(link); });
    return urls;
}

bool LinkGrabber::hasSelectedTorrent() const {
    return std::ranges::any_of(checked_, TorrentDownloader::isTorrentSource);
}

bool LinkGrabber::isOneDownload() const {
    return checked_.size() == 1 || (mirrors_ && !checked_.isEmpty() && !hasSelectedTorrent());
}

std::optional<QString> LinkGrabber::wantedChecksum() const {
    const QString digest = checksum_.trimmed().toLower();
    return takesChecksum() && !digest.isEmpty() ? std::optional(digest) : std::nullopt;
}

bool LinkGrabber::checksumValid() const {
    const std::optional<QString> digest = wantedChecksum();
    return !digest || (digest->size() == 64 && std::ranges::all_of(*digest, isHexDigit));
}

bool LinkGrabber::canAdd() const {
    return !checked_.isEmpty() && checksumValid() && !model_.isTerminating();
}

// Texts

LinkGrabber::Row LinkGrabber::row(const QUrl& link) {
    Row row{.kind = FileKind::torrents, .title = {}, .detail = link.host(), .help = absoluteString(link)};
    if (link.scheme() == "magnet"_L1)
        row.detail = u"magnet"_s;
    if (TorrentDownloader::isTorrentSource(link)) {
        row.title = TorrentDownloader::displayName(link);
        return row;
    }
    const QString name = HTTPProbe::filenameFromURL(link).value_or(QString());
    row.kind = fileKind(name);
    row.title = !name.isEmpty() ? name : !link.host().isEmpty() ? link.host() : tr("download");
    return row;
}

QString LinkGrabber::countText() const {
    return links_.size() == 1 ? tr("1 link detected") : tr("%1 links detected").arg(links_.size());
}

QString LinkGrabber::selectedText() const {
    return tr("%1 selected").arg(checked_.size());
}

QString LinkGrabber::connectionsText() const {
    return (hasSelectedTorrent() ? tr("%1 per HTTP download") : tr("%1 per download")).arg(connections_);
}

QString LinkGrabber::checksumNote() const {
    return checksumValid() ? tr("Available when adding one download. Enter 64 hexadecimal characters.")
                           : tr("SHA-256 must contain exactly 64 hexadecimal characters.");
}

// Operations

void LinkGrabber::add(bool start) {
    if (!canAdd())
        return;
    if (!isWritableFolder(directory_)) {
        setErrorMessage(tr("Choose an existing folder you have permission to write to."));
        return;
    }
    DownloadManager& manager = model_.manager();
    const std::optional<QString> sha256 = wantedChecksum();
    AppModel::Items added;
    {
        const DownloadManager::Batch batch(manager);
        QList<QUrl> urls = selected();
        if (mirrors_ && !hasSelectedTorrent()) {
            const QUrl first = urls.takeFirst();
            added.append(manager.add({.url = first,
                                      .mirrors = urls,
                                      .directory = directory_,
                                      .connections = connections_,
                                      .sha256 = sha256,
                                      .startImmediately = start}));
        } else {
            for (const QUrl& url : urls) {
                const bool isTorrent = TorrentDownloader::isTorrentSource(url);
                added.append(
                    manager.add({.url = url,
                                 .directory = directory_,
                                 .connections = isTorrent ? std::nullopt : std::optional(connections_),
                                 .sha256 = sha256,
                                 .startImmediately = start}));
            }
        }
    }
    model_.revealInList(added);
    model_.clipboard().setLinks({});
    close();
}

bool LinkGrabber::drop(const QList<LinkDrop::Item>& items) {
    const QPointer<LinkGrabber> self(this);
    return LinkDrop::accept(
        items, {
                   .receive =
                       [self](const QString& text) {
                           if (self)
                               self->setText(self->text_.isEmpty() ? text : self->text_ + u'\n' + text);
                       },
                   .receiveFiles =
                       [self](const QList<QUrl>& files) {
                           if (self)
                               self->addTorrentFiles(files);
                       },
                   .onError =
                       [self](const QString& message) {
                           if (self)
                               self->setErrorMessage(message);
                       },
               });
}

void LinkGrabber::addTorrentFiles(const QList<QUrl>& files) {
    torrentFiles_.append(files);
    parse();
}

void LinkGrabber::chooseDirectory() {
    FolderChooser::choose(model_.desktop().panels, directory_, [self = QPointer(this)](const QUrl& folder) {
        if (self)
            self->setDirectory(folder);
    });
}

void LinkGrabber::chooseTorrentFiles() {
    model_.chooseTorrentFiles(directory_, [self = QPointer(this)] {
        if (self)
            self->close();
    });
}

void LinkGrabber::close() {
    model_.setGrabber(std::nullopt);
}

} // namespace fetra
