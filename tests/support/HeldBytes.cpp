#include "support/HeldBytes.h"

#include "transfer/ResumeStore.h"

#include <gtest/gtest.h>

namespace fetra::test {

using namespace Qt::StringLiterals;

qint64 heldBytes(const TempFolder& folder, const QString& name, const QByteArray& content) {
    const std::optional<ResumeRecord> record = ResumeStore::load(folder.path(name + u".fetra"_s));
    const QByteArray part = folder.tryRead(name + u".part"_s).value_or(QByteArray());
    if (!record)
        return 0;
    qint64 held = 0;
    EXPECT_EQ(part.size(), record->totalSize);
    EXPECT_TRUE(ResumeStore::isValidPartition(record->segments, content.size()));
    for (const ResumeRecord::Seg& segment : record->segments) {
        const qint64 length = segment.current - segment.start;
        EXPECT_TRUE(part.sliced(segment.start, length) == content.sliced(segment.start, length))
            << "the record claims wrong bytes from " << segment.start;
        held += length;
    }
    return held;
}

} // namespace fetra::test
