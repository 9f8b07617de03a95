#include "support/HeldBytes.h"

#include "transfer/ResumeStore.h"

#include <gtest/gtest.h>
#include <QFile>

namespace fetra::test {

using namespace Qt::StringLiterals;

qint64 heldBytes(const QString& path, const QByteArray& content, const std::optional<QString>& etag) {
    const std::optional<ResumeRecord> record = ResumeStore::load(path + u".fetra"_s);
    QFile file(path + u".part"_s);
    const QByteArray part = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    if (!record || (etag && record->etag != etag) || part.size() != record->totalSize ||
        part.size() != content.size() || !ResumeStore::isValidPartition(record->segments, content.size()))
        return 0;
    for (const ResumeRecord::Seg& segment : record->segments) {
        const qint64 length = segment.current - segment.start;
        EXPECT_TRUE(part.sliced(segment.start, length) == content.sliced(segment.start, length))
            << "the record claims wrong bytes from " << segment.start;
    }
    return record->heldBytes();
}

} // namespace fetra::test
