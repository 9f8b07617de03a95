#include "transfer/DownloadError.h"
#include "transfer/DownloadOptions.h"
#include "transfer/DownloadProgress.h"
#include "transfer/RemoteInfo.h"

#include <gtest/gtest.h>
#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <vector>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

DownloadOptions sampleOptions() {
    return {.connections = 500, // Out of range on purpose: the JSON form does not clamp.
            .minSegmentSize = 9'007'199'254'740'993,
            .maxRetries = 3,
            .requestTimeout = 1.5,
            .headers = {{u"Cookie"_s, u"a=b; c=\"ü\""_s}, {u"Referer"_s, u"https://h/"_s}},
            .userAgent = u"agent"_s,
            .dynamicSplit = false,
            .resume = false,
            .expectedSHA256 = u"ABC"_s};
}

RemoteInfo sampleInfo() {
    return {.originalURL = QUrl(u"https://h/a b%2Fc?x=%20&y=ü#part"_s),
            .finalURL = QUrl(u"http://user:p%40ss@[::1]:8080/"_s),
            .totalSize = 9'007'199'254'740'993,
            .acceptsRanges = true,
            .etag = u"W/\"x\""_s,
            .lastModified = u"Tue"_s,
            .suggestedFilename = u"ü.zip"_s,
            .contentType = u"application/zip"_s};
}

/// Through text, as a file would carry it.
QJsonObject throughText(const QJsonObject& object) {
    return QJsonDocument::fromJson(QJsonDocument(object).toJson()).object();
}

/// Reading must fail without any of the required keys, and with any key of another type.
template <typename T>
void expectStrictJson(const T& value, const QStringList& optionalKeys) {
    const QJsonObject whole = throughText(value.toJson());
    EXPECT_EQ(T::fromJson(whole), value);
    QJsonObject required = whole;
    for (const QString& key : optionalKeys)
        required.remove(key);
    EXPECT_TRUE(T::fromJson(required)) << "optional fields may be missing";
    for (const QString& key : whole.keys()) {
        SCOPED_TRACE(key.toStdString());
        QJsonObject other = whole;
        other.remove(key);
        EXPECT_EQ(T::fromJson(other).has_value(), optionalKeys.contains(key));
        for (const QJsonValue& wrong : {QJsonValue(), QJsonValue(QJsonArray()),
                                        whole[key].isString() ? QJsonValue(1) : QJsonValue(u"1"_s)}) {
            other[key] = wrong;
            EXPECT_FALSE(T::fromJson(other));
        }
    }
}

TEST(DownloadOptionsTest, ClampsEveryNumberIntoItsRange) {
    const std::pair<DownloadOptions, DownloadOptions> cases[] = {
        {{.connections = 0, .minSegmentSize = 1'000, .maxRetries = -3, .requestTimeout = 1.0},
         {.connections = 1, .minSegmentSize = 65'536, .maxRetries = 0, .requestTimeout = 5.0}},
        {{.connections = 500, .requestTimeout = 30.0}, {.connections = 64, .requestTimeout = 30.0}},
        {{.requestTimeout = std::nan("")}, {.requestTimeout = 5.0}},
        {{.headers = {{u"A"_s, u"b"_s}}, .userAgent = u"x"_s, .dynamicSplit = false, .resume = false},
         {.headers = {{u"A"_s, u"b"_s}}, .userAgent = u"x"_s, .dynamicSplit = false, .resume = false}},
    };
    for (const auto& [given, clamped] : cases)
        EXPECT_EQ(given.clamped(), clamped);
    EXPECT_EQ(DownloadOptions().userAgent, u"Fetra/1.0 (macOS)"_s);
}

TEST(ValueRecordsTest, JsonIsExactAndStrict) {
    expectStrictJson(sampleOptions(), {u"expectedSHA256"_s});
    expectStrictJson(sampleInfo(), {u"totalSize"_s, u"etag"_s, u"lastModified"_s, u"contentType"_s});
    expectStrictJson(
        SegmentSnapshot{.start = 1, .end = -1, .current = 9'007'199'254'740'993, .active = true, .source = 2},
        {});
    RemoteInfo bare = sampleInfo();
    bare.etag = std::nullopt;
    EXPECT_FALSE(bare.toJson().contains("etag"_L1));
    QJsonObject options = sampleOptions().toJson();
    options["connections"_L1] = 2.5;
    EXPECT_FALSE(DownloadOptions::fromJson(options));
    options = sampleOptions().toJson();
    options["headers"_L1] = QJsonObject{{u"A"_s, 1}};
    EXPECT_FALSE(DownloadOptions::fromJson(options));
    QJsonObject info = sampleInfo().toJson();
    info["finalURL"_L1] = u"/f.zip"_s;
    EXPECT_FALSE(RemoteInfo::fromJson(info));
}

TEST(SegmentSnapshotTest, LengthAndDoneAreNeverNegative) {
    const std::tuple<SegmentSnapshot, qint64, qint64> cases[] = {
        {{.start = 10, .end = 19, .current = 15}, 10, 5},
        {{.start = 10, .end = 10, .current = 11}, 1, 1},
        {{.start = 0, .end = -1, .current = 500}, 0, 500},
        {{.start = 10, .end = 19, .current = 3}, 10, 0},
    };
    for (const auto& [snapshot, length, done] : cases) {
        EXPECT_EQ(snapshot.length(), length);
        EXPECT_EQ(snapshot.done(), done);
    }
}

TEST(DownloadProgressTest, FractionAndEtaAreAbsentWhereTheyWouldMislead) {
    using Maybe = std::optional<double>;
    const std::tuple<std::optional<qint64>, qint64, double, Maybe, Maybe> cases[] = {
        {std::nullopt, 50, 10, std::nullopt, std::nullopt},
        {0, 0, 10, std::nullopt, 0.0},
        {200, 50, 10, 0.25, 15.0},
        {200, 250, 10, 1.0, 0.0},
        {200, 50, 1.0, 0.25, std::nullopt},
        {200, 50, 0, 0.25, std::nullopt},
        {200, 50, std::nan(""), 0.25, std::nullopt},
    };
    for (const auto& [total, received, speed, fraction, eta] : cases) {
        SCOPED_TRACE(testing::Message() << received << " at " << speed);
        const DownloadProgress progress{
            .totalBytes = total, .receivedBytes = received, .bytesPerSecond = speed};
        EXPECT_EQ(progress.fraction(), fraction);
        EXPECT_EQ(progress.eta(), eta);
    }
}

TEST(DownloadErrorTest, DescribesItselfToTheUser) {
    const std::vector<std::pair<DownloadError, QString>> cases{
        {DownloadError::badStatus(404), u"Server returned HTTP 404"_s},
        {DownloadError::exhaustedRetries(u"time %1"_s), u"Gave up after repeated failures: time %1"_s},
        {DownloadError::sizeMismatch(1000, -1), u"Size mismatch: expected 1000 bytes, got -1"_s},
        {DownloadError::checksumMismatch(u"%2a"_s, u"b"_s), u"SHA-256 mismatch: expected %2a, got b"_s},
        {DownloadError::io(u"voll ü"_s), u"Disk error: voll ü"_s},
        {DownloadError::notHTTP(), u"Server did not return an HTTP response"_s},
        {DownloadError::cancelled(), u"Download paused"_s},
        {DownloadError::rangeNotHonored(), u"Server ignored range requests"_s},
    };
    for (const auto& [error, description] : cases) {
        EXPECT_EQ(error.errorDescription(), description);
        EXPECT_EQ(QString::fromUtf8(error.what()), description);
        for (const auto& [other, words] : cases)
            EXPECT_EQ(error == other, description == words);
    }
    EXPECT_FALSE(DownloadError::badStatus(404) == DownloadError::badStatus(403));
}

} // namespace
} // namespace fetra
