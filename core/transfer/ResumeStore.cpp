#include "transfer/ResumeStore.h"

#include "system/AbsoluteURL.h"
#include "system/AtomicFile.h"
#include "system/Log.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"
#include "transfer/JsonFields.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fetra {

using namespace Qt::StringLiterals;

qint64 ResumeRecord::heldBytes() const {
    qint64 held = 0;
    for (const Seg& segment : segments)
        held += segment.current - segment.start;
    return held;
}

bool ResumeRecord::isComplete() const {
    return std::ranges::all_of(segments, [](const Seg& segment) { return segment.current > segment.end; });
}

namespace ResumeStore {

namespace {

constexpr qint64 maxFileSize = 4 * 1024 * 1024;
constexpr qsizetype maxSegments = 100'000;
constexpr qint64 blockUnit = 512; // Of st_blocks.
/// What disks write whole or not at all. Of a record half old and half new, numbers could claim too much.
constexpr qint64 wholeWrite = 4096;

std::optional<ResumeRecord::Seg> decodeSegment(const QJsonValue& value) {
    const QJsonObject object = value.toObject();
    const auto start = JsonFields::integer(object, u"start"_s);
    const auto end = JsonFields::integer(object, u"end"_s);
    const auto current = JsonFields::integer(object, u"current"_s);
    if (!start || !end || !current)
        return std::nullopt;
    return ResumeRecord::Seg{.start = *start, .end = *end, .current = *current};
}

std::optional<QList<ResumeRecord::Seg>> decodeSegments(const QJsonValue& value) {
    const QJsonArray array = value.toArray();
    if (!value.isArray() || array.size() > maxSegments)
        return std::nullopt;
    QList<ResumeRecord::Seg> segments;
    segments.reserve(array.size());
    for (const QJsonValue& element : array) {
        const auto segment = decodeSegment(element);
        if (!segment)
            return std::nullopt;
        segments.append(*segment);
    }
    return segments;
}

/// Puts `content` where the previous record stands, in the blocks that it has. False when they cannot hold
/// it, or a power loss could tear it; then nothing has changed. Throws `PosixError`.
bool overwriteInPlace(const QString& path, QByteArray content) {
    const PosixFile::Descriptor file = PosixFile::open(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_blocks * blockUnit < content.size() ||
        std::max<qint64>(status.st_size, content.size()) > wholeWrite)
        return false;
    const qint64 length = content.size();
    // Blanks cover the rest of a longer record, so that the file reads as one even before it is cut.
    content = content.leftJustified(static_cast<qsizetype>(std::max<qint64>(length, status.st_size)), ' ');
    PosixFile::writeAll(file.number(), content, 0);
    if (!PosixFile::setLength(file.number(), length) || !PosixFile::sync(file.number(), true))
        throw PosixError::last();
    return true;
}

bool validatorsAgree(const ResumeRecord& record, const RemoteInfo& info) {
    if (record.etag && info.etag)
        return *record.etag == *info.etag;
    return record.lastModified && info.lastModified && *record.lastModified == *info.lastModified;
}

} // namespace

std::optional<ResumeRecord> load(const QString& path) {
    const auto json = AtomicFile::readIfThere(path, maxFileSize);
    return json ? decode(*json) : std::nullopt;
}

std::optional<ResumeRecord> decode(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const auto version = JsonFields::integer(object, u"version"_s);
    const auto url = JsonFields::string(object, u"url"_s);
    const auto totalSize = JsonFields::integer(object, u"totalSize"_s);
    const auto etag = JsonFields::optional(JsonFields::string, object, u"etag"_s);
    const auto lastModified = JsonFields::optional(JsonFields::string, object, u"lastModified"_s);
    const auto segments = decodeSegments(object.value("segments"_L1));
    if (!version || !url || !totalSize || !etag.valid || !lastModified.valid || !segments)
        return std::nullopt;
    return ResumeRecord{.version = *version,
                        .url = *url,
                        .totalSize = *totalSize,
                        .etag = etag.value,
                        .lastModified = lastModified.value,
                        .segments = *segments};
}

QByteArray encode(const ResumeRecord& record) {
    QJsonArray segments;
    for (const ResumeRecord::Seg& segment : record.segments)
        segments.append(QJsonObject{
            {u"start"_s, segment.start}, {u"end"_s, segment.end}, {u"current"_s, segment.current}});
    QJsonObject object{{u"version"_s, record.version},
                       {u"url"_s, record.url},
                       {u"totalSize"_s, record.totalSize},
                       {u"segments"_s, segments}};
    if (record.etag)
        object.insert(u"etag"_s, *record.etag);
    if (record.lastModified)
        object.insert(u"lastModified"_s, *record.lastModified);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

void save(const ResumeRecord& record, const QString& path) {
    const QByteArray content = encode(record);
    try {
        try {
            AtomicFile::write(path, content);
        } catch (const PosixError& error) {
            const bool isFull = error.code() == ENOSPC || error.code() == EDQUOT;
            if (!isFull || !overwriteInPlace(path, content))
                throw;
        }
    } catch (const PosixError& error) {
        Log::debug([&] { return u"resume record not saved: "_s + error.description(); });
    }
}

void remove(const QString& path) {
    PosixFile::unlink(path);
    PosixFile::unlink(path + QLatin1StringView(AtomicFile::temporarySuffix));
}

void forget(const QString& path) {
    if (!PosixFile::exists(path))
        return;
    if (!PosixFile::unlink(path) && errno != ENOENT)
        throw PosixError::last();
    PosixFile::syncFolderOf(path);
}

bool validate(const ResumeRecord& record, const RemoteInfo& info, const QString& partPath) {
    struct stat part {};
    return describesSameFile(record, info) && ::stat(QFile::encodeName(partPath).constData(), &part) == 0 &&
           part.st_size == record.totalSize && isValidPartition(record.segments, record.totalSize);
}

bool describesSameFile(const ResumeRecord& record, const RemoteInfo& info) {
    return info.acceptsRanges && info.totalSize == record.totalSize &&
           (record.url == absoluteString(info.originalURL) || record.url == absoluteString(info.finalURL)) &&
           validatorsAgree(record, info);
}

bool isValidPartition(const QList<ResumeRecord::Seg>& segments, qint64 total) {
    if (total < 1 || segments.isEmpty())
        return false;
    QList<ResumeRecord::Seg> sorted = segments;
    std::ranges::sort(sorted, {}, &ResumeRecord::Seg::start);
    qint64 next = 0;
    for (const ResumeRecord::Seg& segment : sorted) {
        // `end` < `total` is what keeps `end` + 1 from overflowing.
        if (segment.start != next || segment.end < next || segment.end >= total || segment.current < next ||
            segment.current > segment.end + 1)
            return false;
        next = segment.end + 1;
    }
    return next == total;
}

} // namespace ResumeStore
} // namespace fetra
