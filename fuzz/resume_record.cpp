#include "Check.h"
#include "transfer/ResumeStore.h"

using namespace fetra;
using fuzz::check;

namespace {

/// The bytes that the segments claim, when they tile the file.
void checkPartition(const ResumeRecord& record) {
    qint64 received = 0;
    qint64 covered = 0;
    for (const ResumeRecord::Seg& segment : record.segments) {
        check(segment.start >= 0 && segment.start <= segment.current, "current is not before its range");
        check(segment.current <= segment.end + 1 && segment.end < record.totalSize, "nor past it");
        covered += segment.end - segment.start + 1;
        received += segment.current - segment.start;
    }
    check(covered == record.totalSize, "the segments cover the file");
    check(received == record.heldBytes(), "what is held is what the segments claim");
    check((received == covered) == record.isComplete(), "complete means every byte");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray json(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto record = ResumeStore::decode(json);
    if (!record)
        return 0;
    check(ResumeStore::decode(ResumeStore::encode(*record)) == record, "a record survives being written");
    if (ResumeStore::isValidPartition(record->segments, record->totalSize))
        checkPartition(*record);
    const RemoteInfo info{.originalURL = QUrl(record->url),
                          .totalSize = record->totalSize,
                          .acceptsRanges = true,
                          .etag = record->etag,
                          .lastModified = record->lastModified};
    if (ResumeStore::describesSameFile(*record, info))
        check(record->etag || record->lastModified, "no record is trusted without a validator");
    return 0;
}
