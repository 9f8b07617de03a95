#include "manager/DownloadFiles.h"

#include "manager/DownloadItem.h"
#include "system/PosixError.h"
#include "transfer/Reservation.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// Whether `file` is a name in `folder`, so that deleting it with all that is in it deletes nothing else.
bool isDirectlyIn(const QUrl& folder, const QUrl& file) {
    const QString name = file.fileName();
    return !name.isEmpty() && name != u"."_s && name != u".."_s &&
           QDir(QFileInfo(file.toLocalFile()).path()) == QDir(folder.toLocalFile());
}

/// Why the file is still there, or nothing.
std::optional<QString> unlinked(const QString& path) {
    if (PosixFile::unlink(path) || errno == ENOENT)
        return std::nullopt;
    return PosixError::last().description();
}

} // namespace

DownloadFiles::DownloadFiles(const DownloadItem& item)
    : destination_(item.destination())
    , directory_(item.directory())
    , isTorrent_(item.isTorrent())
    , isComplete_(item.status() == DownloadStatus::completed) {}

bool DownloadFiles::discardPartial(const QUrl& destination) {
    const Reservation place(destination);
    // A partial file that another transfer has taken since, and its record, are that one's.
    if (!FileSink::discard(place.partPath))
        return false;
    ResumeStore::remove(place.sidecarPath);
    return true;
}

std::optional<QString> DownloadFiles::remove() const {
    if (!destination_)
        return std::nullopt;
    if (!isTorrent_ && !discardPartial(*destination_)) {
        const QString part = Reservation::partPathOf(*destination_);
        if (FileSink::isInUse(part))
            return u"Another transfer has taken the partial file."_s;
        if (const auto reason = unlinked(part))
            return reason;
    }
    return isComplete_ ? removeDestination() : std::nullopt;
}

std::optional<QString> DownloadFiles::removeDestination() const {
    const QString path = destination_->toLocalFile();
    const QFileInfo file(path);
    if (!file.isDir() || file.isSymLink() || !isTorrent_)
        return unlinked(path);
    if (!isDirectlyIn(directory_, *destination_))
        return u"The folder does not lie where the download was put."_s;
    return QDir(path).removeRecursively() ? std::nullopt
                                          : std::optional(u"Not all of the folder could be deleted."_s);
}

QStringList DownloadFiles::owned() const {
    QStringList paths;
    if (destination_ && !isTorrent_)
        paths = {Reservation::partPathOf(*destination_), Reservation(*destination_).sidecarPath};
    if (destination_ && isComplete_)
        paths.append(destination_->toLocalFile());
    return paths;
}

void DownloadFiles::Places::insert(const DownloadFiles& files) {
    if (!files.destination_)
        return;
    const Reservation place(*files.destination_);
    for (const QString& path : {files.destination_->toLocalFile(), place.partPath, place.sidecarPath})
        paths_.insert(resolved(path));
}

bool DownloadFiles::Places::touches(const DownloadFiles& files) {
    return std::ranges::any_of(files.owned(),
                               [this](const QString& path) { return paths_.contains(resolved(path)); });
}

QString DownloadFiles::Places::resolved(const QString& path) {
    const QFileInfo file(QDir::cleanPath(path));
    if (file.isSymLink() && file.exists())
        return file.canonicalFilePath();
    QString& folder = folders_[file.path()];
    if (folder.isEmpty()) {
        const QString canonical = QFileInfo(file.path()).canonicalFilePath();
        folder = canonical.isEmpty() ? file.path() : canonical;
    }
    return folder + u'/' + file.fileName();
}

} // namespace fetra
