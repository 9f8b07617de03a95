#include "manager/DownloadFiles.h"

#include "manager/DownloadItem.h"
#include "system/PosixError.h"
#include "transfer/Reservation.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

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
    , identity_(item.status() == DownloadStatus::completed && destination_ ? identityAt(*destination_)
                                                                           : std::nullopt) {}

std::optional<DownloadFiles::Identity> DownloadFiles::identityAt(const QUrl& file) {
    struct stat status {};
    if (::lstat(QFile::encodeName(file.toLocalFile()).constData(), &status) != 0)
        return std::nullopt;
    return Identity{status.st_dev, status.st_ino};
}

std::optional<QString> DownloadFiles::removePartial(const QUrl& destination) {
    const Reservation place(destination);
    switch (FileSink::discard(place.partPath)) {
    case FileSink::Discarded::gone:
        ResumeStore::remove(place.sidecarPath);
        // Says why it could not.
        return unlinked(place.sidecarPath);
    case FileSink::Discarded::taken:
        // Then the record beside it is that transfer's, too.
        return u"Another transfer has taken the partial file."_s;
    case FileSink::Discarded::failed:
        break;
    }
    return PosixError::last().description();
}

std::optional<QString> DownloadFiles::remove() const {
    if (destination_ && !isTorrent_)
        if (const std::optional<QString> reason = removePartial(*destination_))
            return reason;
    // What has gone, or made room for another file, is not ours to delete.
    return identity_ && identityAt(*destination_) == identity_ ? removeDestination() : std::nullopt;
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
    if (identity_)
        paths.append(destination_->toLocalFile());
    return paths;
}

void DownloadFiles::Places::insert(const QUrl& destination) {
    const Reservation place(destination);
    for (const QString& path : {destination.toLocalFile(), place.partPath, place.sidecarPath})
        paths_.insert(resolved(path));
}

bool DownloadFiles::Places::touches(const DownloadFiles& files) {
    const QStringList owned = files.owned();
    if (std::ranges::any_of(owned, [this](const QString& path) { return paths_.contains(resolved(path)); }))
        return true;
    // The folder of a torrent goes with all that is in it.
    return files.isTorrent_ && std::ranges::any_of(owned, [this](const QString& path) {
               return std::ranges::any_of(paths_, [folder = resolved(path) + u'/'](const QString& inserted) {
                   return inserted.startsWith(folder);
               });
           });
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
