#include "transfer/ResumeStore.h"

#include "support/SystemFaults.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFile>

#include <cerrno>
#include <functional>
#include <limits>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using Segments = QList<ResumeRecord::Seg>;
using test::SystemFaults;
using test::TempFolder;

constexpr qint64 largest = std::numeric_limits<qint64>::max();

ResumeRecord recordOf(const Segments& segments, qint64 total) {
    return {.url = u"https://h/f?q=1"_s,
            .totalSize = total,
            .etag = u"\"v1\""_s,
            .lastModified = u"Mon"_s,
            .segments = segments};
}

/// `count` segments of 10 bytes each.
ResumeRecord recordOf(qint64 count) {
    Segments segments;
    for (qint64 index = 0; index < count; ++index)
        segments.append({.start = index * 10, .end = index * 10 + 9, .current = index * 10 + 5});
    return recordOf(segments, count * 10);
}

TEST(ResumeStoreTest, ReadsValidRecordsOnly) {
    const QByteArray good =
        R"({"segments":[{"current":1,"end":9,"start":0}],"totalSize":10,"url":"u","version":2})";
    ASSERT_TRUE(ResumeStore::decode(good));
    const std::tuple<QByteArray, QByteArray, bool> changes[] = {
        {R"("current":1)", R"("current":1.0)", true},
        {R"("version":2)", R"("version":2,"etag":"e")", true},
        {R"("version":2)", R"("version":3, "more":null)", true},
        {R"("version":2)", R"("version":2,"etag":5)", false},
        {R"(,"version":2)", "", false},
        {R"("url":"u")", R"("url":"\ud800")", false},
        {R"("totalSize":10)", R"("totalSize":10.5)", false},
        {R"("totalSize":10)", R"("totalSize":9223372036854775808)", false},
        {R"("current":1,)", "", false},
        {R"([{"current":1,"end":9,"start":0}])", R"({"current":1,"end":9,"start":0})", false},
        {R"("version":2})", R"("version":2)", false},
    };
    for (const auto& [from, to, valid] : changes) {
        QByteArray json = good;
        json.replace(from, to);
        EXPECT_EQ(ResumeStore::decode(json).has_value(), valid) << json.constData();
    }
}

TEST(ResumeStoreTest, ReadsNoMoreThanItsLimits) {
    const TempFolder folder;
    const QByteArray json = ResumeStore::encode(recordOf(1));
    constexpr qsizetype limit = 4 * 1024 * 1024;
    EXPECT_TRUE(ResumeStore::load(folder.write(u"fits"_s, json.leftJustified(limit, ' '))));
    EXPECT_FALSE(ResumeStore::load(folder.write(u"big"_s, json.leftJustified(limit + 1, ' '))));
    const QByteArray segment = R"({"start":0,"end":9,"current":5},)";
    for (const qsizetype count : {100'000, 100'001}) {
        QByteArray many = json;
        many.replace("[", '[' + segment.repeated(count - 1));
        EXPECT_EQ(ResumeStore::decode(many).has_value(), count == 100'000);
    }
    EXPECT_FALSE(ResumeStore::load(folder.path(u"missing"_s)));
}

TEST(ResumeStoreTest, OnAFullDiskTheRecordIsOverwrittenWhereItFits) {
    const std::tuple<const char*, qint64, qint64, std::vector<int>, bool> cases[] = {
        {"shorter", 100, 90, {ENOSPC}, true},
        {"a little longer", 90, 91, {EDQUOT}, true},
        {"longer than what cannot be torn", 90, 150, {ENOSPC}, false},
        {"where a longer one stands", 150, 90, {ENOSPC}, false},
        // Not known to be on the disk, but it still reads.
        {"cut short", 100, 90, {ENOSPC, EIO}, true},
    };
    for (const auto& [name, before, after, codes, saved] : cases) {
        SCOPED_TRACE(name);
        const TempFolder folder;
        const QString path = folder.path(u"f.fetra"_s);
        ResumeStore::save(recordOf(before), path);
        const ino_t inode = folder.inode(u"f.fetra"_s);
        SystemFaults faults;
        faults.failSync(codes);
        ResumeStore::save(recordOf(after), path);
        EXPECT_EQ(ResumeStore::load(path), recordOf(saved ? after : before));
        EXPECT_EQ(folder.inode(u"f.fetra"_s), inode);
        EXPECT_EQ(folder.names(), QStringList{u"f.fetra"_s});
    }
}

TEST(ResumeStoreTest, NeverOverwritesThroughALink) {
    const TempFolder folder;
    const QString target = folder.write(u"precious"_s, QByteArray(100'000, 'p'));
    const QString path = folder.path(u"f.fetra"_s);
    ASSERT_TRUE(QFile::link(target, path));
    SystemFaults faults;
    faults.failSync({ENOSPC});
    ResumeStore::save(recordOf(3), path);
    EXPECT_EQ(folder.read(u"precious"_s), QByteArray(100'000, 'p'));
}

/// What an honest server says now about the file of that record.
RemoteInfo infoOf(const ResumeRecord& record) {
    return {.originalURL = QUrl(record.url),
            .finalURL = QUrl(record.url),
            .totalSize = record.totalSize,
            .acceptsRanges = true,
            .etag = record.etag,
            .lastModified = record.lastModified};
}

TEST(ResumeStoreTest, OnlyARecordOfTheSameFileIsValid) {
    const TempFolder folder;
    const QString part = folder.write(u"f.part"_s, QByteArray(30, '\0'));
    using Change = std::function<void(ResumeRecord&, RemoteInfo&)>;
    const std::tuple<const char*, Change, bool, bool> cases[] = {
        {"unchanged", [](auto&, auto&) {}, true, true},
        {"no ranges any more", [](auto&, auto& info) { info.acceptsRanges = false; }, false, false},
        {"size unknown", [](auto&, auto& info) { info.totalSize = std::nullopt; }, false, false},
        {"other size", [](auto&, auto& info) { info.totalSize = 31; }, false, false},
        {"before a redirect", [](auto&, auto& info) { info.finalURL = QUrl(u"http://cdn"_s); }, true, true},
        {"after it", [](auto&, auto& info) { info.originalURL = QUrl(u"http://old"_s); }, true, true},
        {"other query", [](auto& record, auto&) { record.url = u"https://h/f?q=2"_s; }, false, false},
        {"other version", [](auto& record, auto&) { record.version = 9; }, true, true},
        {"a gap", [](auto& record, auto&) { record.segments.removeAt(1); }, true, false},
    };
    for (const auto& [name, change, sameFile, valid] : cases) {
        SCOPED_TRACE(name);
        ResumeRecord record = recordOf(3);
        RemoteInfo info = infoOf(record);
        change(record, info);
        EXPECT_EQ(ResumeStore::describesSameFile(record, info), sameFile);
        EXPECT_EQ(ResumeStore::validate(record, info, part), valid);
        EXPECT_FALSE(ResumeStore::validate(record, info, folder.path(u"missing"_s)));
    }
    EXPECT_FALSE(ResumeStore::validate(recordOf(4), infoOf(recordOf(4)), part)) << "of another size";
}

TEST(ResumeStoreTest, ATagDecidesAndWithoutOneTheDate) {
    using Text = std::optional<QString>;
    // The record's tag and date, those of today, and whether they speak of one version.
    const std::tuple<Text, Text, Text, Text, bool> cases[] = {
        {u"v1"_s, u"Mon"_s, u"v2"_s, u"Mon"_s, false}, {u"v1"_s, u"Mon"_s, u"v1"_s, u"Tue"_s, true},
        {u"v1"_s, u"Mon"_s, {}, u"Mon"_s, true},       {u"v1"_s, u"Mon"_s, {}, u"Tue"_s, false},
        {{}, u"Mon"_s, u"v1"_s, u"Mon"_s, true},       {{}, {}, {}, {}, false},
    };
    for (const auto& [tag, date, tagNow, dateNow, same] : cases) {
        SCOPED_TRACE(
            (tag.value_or(u"-"_s) + tagNow.value_or(u"-"_s) + dateNow.value_or(u"-"_s)).toStdString());
        ResumeRecord record = recordOf(3);
        record.etag = tag;
        record.lastModified = date;
        RemoteInfo info = infoOf(record);
        info.etag = tagNow;
        info.lastModified = dateNow;
        EXPECT_EQ(ResumeStore::describesSameFile(record, info), same);
    }
}

TEST(ResumeStoreTest, SegmentsMustTileTheFile) {
    constexpr qint64 least = std::numeric_limits<qint64>::min();
    // Start, end and current of each; the total; a partition; complete.
    const std::tuple<const char*, Segments, qint64, bool, bool> cases[] = {
        {"one byte", {{0, 0, 0}}, 1, true, false},
        {"all received", {{0, 4, 5}, {5, 9, 10}}, 10, true, true},
        {"out of order", {{5, 9, 5}, {0, 4, 5}}, 10, true, false},
        {"as large as can be", {{0, largest - 1, 7}}, largest, true, false},
        {"none", {}, 10, false, true},
        {"a gap", {{0, 4, 0}, {6, 9, 6}}, 10, false, false},
        {"an overlap", {{0, 5, 0}, {5, 9, 5}}, 10, false, false},
        {"too short", {{0, 8, 0}}, 10, false, false},
        {"too long", {{0, 10, 0}}, 10, false, false},
        {"not from the start", {{1, 9, 1}}, 10, false, false},
        {"before the range", {{0, 4, 0}, {5, 9, 4}}, 10, false, false},
        {"past the range", {{0, 4, 6}, {5, 9, 5}}, 10, false, false},
        {"current at the largest number", {{0, 9, largest}}, 10, false, true},
        {"numbers that would wrap", {{0, largest, 0}, {least, -1, least}}, largest, false, false},
    };
    for (const auto& [name, segments, total, valid, complete] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(ResumeStore::isValidPartition(segments, total), valid);
        EXPECT_EQ(recordOf(segments, total).isComplete(), complete);
    }
}

} // namespace
} // namespace fetra
