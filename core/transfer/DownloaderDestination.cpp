// Where a download goes: finding, claiming and giving the final name.

#include "system/AbsoluteURL.h"
#include "system/DiskSpace.h"
#include "system/Log.h"
#include "system/MakeFolder.h"
#include "system/MoveFile.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"
#include "transfer/Downloader.h"
#include "transfer/DownloadError.h"
#include "transfer/NameParts.h"
#include "transfer/Reservation.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QUuid>

#include <cerrno>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int maxNames = 10'000;

QUrl inFolder(const QString& folder, const QString& name) {
    return QUrl::fromLocalFile(QDir(folder).filePath(name));
}

/// A failure shows when the file is opened.
void makeFolder(const QString& path) {
    constexpr mode_t asTheUserLikes = 0777;
    try {
        MakeFolder::sync(MakeFolder::withParents(QDir::cleanPath(path), asTheUserLikes));
    } catch (const PosixError& error) {
        Log::debug([&] { return u"folder not made: "_s + error.description(); });
    }
}

bool exists(const QUrl& file) {
    return PosixFile::exists(file.toLocalFile());
}

/// Whether an earlier transfer of this very file ended between the final rename and the removal of its
/// sidecar: then the record is complete, the partial file gone, and the file as old as its last byte, so
/// older than the record.
bool isDelivered(const ResumeRecord& record, const RemoteInfo& info, const Reservation& place) {
    const QFileInfo file(place.destination.toLocalFile());
    return record.isComplete() && ResumeStore::describesSameFile(record, info) &&
           !PosixFile::exists(place.partPath) && file.isFile() && !file.isSymLink() &&
           file.size() == record.totalSize &&
           file.lastModified() <= QFileInfo(place.sidecarPath).lastModified();
}

/// Whether there is an interrupted transfer of this address that could go on if only the server offered
/// ranges again. A page that stands in for the file, because a link or a login has expired, offers none.
bool isWorthKeeping(const ResumeRecord& record, const RemoteInfo& info, const Reservation& place) {
    RemoteInfo asRecorded = info;
    asRecorded.acceptsRanges = true;
    asRecorded.totalSize = record.totalSize;
    asRecorded.etag = record.etag;
    asRecorded.lastModified = record.lastModified;
    return ResumeStore::validate(record, asRecorded, place.partPath) && record.heldBytes() > 0;
}

/// Whether the place holds bytes of a file from another address, whose transfer may go on one day.
bool belongsToAnother(const ResumeRecord& record, const RemoteInfo& info, const Reservation& place) {
    return record.heldBytes() > 0 && PosixFile::exists(place.partPath) &&
           record.url != absoluteString(info.originalURL) && record.url != absoluteString(info.finalURL);
}

/// Says at once what would otherwise come out half-way. Throws `DownloadError::io`.
void requireSpace(const Reservation& place, const RemoteInfo& info) {
    if (!info.totalSize)
        return;
    const std::optional<qint64> available = DiskSpace::available(QFileInfo(place.partPath).absolutePath());
    if (available && *available < *info.totalSize - DiskSpace::allocated(place.partPath))
        throw DownloadError::io(PosixError(ENOSPC).description());
}

} // namespace

std::optional<qint64> Downloader::fileSize(const QString& path) {
    const QFileInfo file(path);
    return file.exists() ? std::optional(file.size()) : std::nullopt;
}

QUrl Downloader::resolveDestination(const QUrl& target, const RemoteInfo& info) {
    const QString path = target.toLocalFile();
    QUrl candidate = target;
    if (QFileInfo(path).isDir() || path.endsWith(u'/')) {
        makeFolder(path);
        candidate = inFolder(path, info.suggestedFilename);
    } else {
        makeFolder(QFileInfo(path).absolutePath());
    }
    const Reservation place(candidate);
    if (PosixFile::exists(place.sidecarPath) || PosixFile::exists(place.partPath)) {
        // Left by an interrupted transfer, unless that one is still running.
        return FileSink::isInUse(place.partPath) ? uniqueURL(candidate) : candidate;
    }
    return exists(candidate) ? uniqueURL(candidate) : candidate;
}

QUrl Downloader::uniqueURL(const QUrl& url) {
    const QFileInfo file(url.toLocalFile());
    const auto [base, extension] = NameParts::of(file.fileName());
    for (int number = 1; number <= maxNames; ++number) {
        QString name = base + u" ("_s + QString::number(number) + u')';
        if (!extension.isEmpty())
            name += u'.' + extension;
        const QUrl candidate = inFolder(file.path(), name);
        if (!exists(candidate) && !PosixFile::exists(Reservation::partPathOf(candidate)))
            return candidate;
    }
    const QString random = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    return inFolder(file.path(), random + u'-' + file.fileName());
}

Reservation Downloader::reserve(const QUrl& target, const RemoteInfo& info) const {
    Reservation place(resolveDestination(target, info));
    const QUrl first = place.destination;
    const std::optional<ResumeRecord> record = ResumeStore::load(place.sidecarPath);
    if (record && belongsToAnother(*record, info, place)) {
        place = Reservation(uniqueURL(first));
    } else if (options_.resume) {
        if (record && isDelivered(*record, info, place))
            return place;
        if (record && ResumeStore::validate(*record, info, place.partPath))
            place.resumeSegments = record->segments;
        else if (record && !info.acceptsRanges && isWorthKeeping(*record, info, place))
            throw DownloadError::rangeNotHonored();
    }
    requireSpace(place, info);
    bool fresh = !place.resumeSegments;
    if (fresh && FileSink::discard(place.partPath) == FileSink::Discarded::gone)
        ResumeStore::forget(place.sidecarPath);
    for (int attempt = 0; attempt < maxNames; ++attempt) {
        try {
            place.sink = std::make_unique<FileSink>(place.partPath, info.totalSize,
                                                    fresh ? FileSink::Existing::refused
                                                          : FileSink::Existing::required);
            return place;
        } catch (const PosixError& error) {
            if (!fresh && error.code() == ENOENT) {
                // Deleted since the record was read. An empty file in its place would count as received.
                place.resumeSegments.reset();
                fresh = true;
                ResumeStore::forget(place.sidecarPath);
                continue;
            }
            // Creating the partial file is what claims a name. Somebody else was quicker.
            const bool taken = (fresh && error.code() == EEXIST) || error.code() == EBUSY;
            if (!taken)
                throw DownloadError::io(error.description());
        }
        place = Reservation(uniqueURL(first));
        fresh = true;
        ResumeStore::forget(place.sidecarPath);
    }
    throw DownloadError::io(u"could not reserve a destination for "_s + first.fileName());
}

QUrl Downloader::moveIntoPlace(const Reservation& reservation) {
    const QUrl& wanted = reservation.destination;
    QUrl destination = wanted;
    if (reservation.sink) {
        try {
            while (!MoveFile::withoutReplacing(reservation.partPath, destination.toLocalFile())) {
                // The record speaks of a file under the wanted name, and that is somebody else's now.
                ResumeStore::remove(reservation.sidecarPath);
                destination = uniqueURL(wanted);
            }
        } catch (const PosixError& error) {
            throw DownloadError::io(error.description());
        }
    }
    ResumeStore::remove(reservation.sidecarPath);
    return destination;
}

} // namespace fetra
