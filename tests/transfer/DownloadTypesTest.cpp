#include "transfer/DownloadOptions.h"
#include "transfer/DownloadProgress.h"
#include "transfer/RemoteInfo.h"

#include <gtest/gtest.h>
#include <QJsonDocument>

#include <cmath>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

/// A value comes back from text as it was; any key of another type makes it unreadable, and so does a missing
/// one that is not optional.
template <typename T>
void expectStrictJson(const T& value, const QStringList& optionalKeys) {
    const QJsonObject whole = QJsonDocument::fromJson(QJsonDocument(value.toJson()).toJson()).object();
    EXPECT_EQ(T::fromJson(whole), value);
    for (const QString& key : whole.keys()) {
        SCOPED_TRACE(key.toStdString());
        QJsonObject other = whole;
        other.remove(key);
        EXPECT_EQ(T::fromJson(other).has_value(), optionalKeys.contains(key));
        other[key] = whole[key].isString() ? QJsonValue(1) : QJsonValue(u"1"_s);
        EXPECT_FALSE(T::fromJson(other));
    }
}

TEST(ValueRecordsTest, JsonIsExactAndStrict) {
    // A number of connections that is out of range on purpose: the JSON form does not clamp.
    expectStrictJson(DownloadOptions{.connections = 500,
                                     .minSegmentSize = 9'007'199'254'740'993,
                                     .requestTimeout = 1.5,
                                     .headers = {{u"Cookie"_s, u"a=b; c=\"ü\""_s}},
                                     .dynamicSplit = false,
                                     .expectedSHA256 = u"ABC"_s},
                     {u"expectedSHA256"_s});
    expectStrictJson(RemoteInfo{.originalURL = QUrl(u"https://h/a b%2Fc?x=%20&y=ü#part"_s),
                                .finalURL = QUrl(u"http://user:p%40ss@[::1]:8080/"_s),
                                .totalSize = 9'007'199'254'740'993,
                                .acceptsRanges = true,
                                .etag = u"W/\"x\""_s,
                                .lastModified = u"Tue"_s,
                                .suggestedFilename = u"ü.zip"_s,
                                .contentType = u"application/zip"_s},
                     {u"totalSize"_s, u"etag"_s, u"lastModified"_s, u"contentType"_s});
    expectStrictJson(SegmentSnapshot{.start = 1, .end = -1, .current = 2, .active = true, .source = 2}, {});
}

TEST(DownloadOptionsTest, ClampsEveryNumberIntoItsRange) {
    const std::pair<DownloadOptions, DownloadOptions> cases[] = {
        {{.connections = 0, .minSegmentSize = 1'000, .maxRetries = -3, .requestTimeout = 1.0},
         {.connections = 1, .minSegmentSize = 65'536, .maxRetries = 0, .requestTimeout = 5.0}},
        {{.connections = 500, .requestTimeout = 30.0}, {.connections = 64, .requestTimeout = 30.0}},
        {{.requestTimeout = std::nan("")}, {.requestTimeout = 5.0}},
    };
    for (const auto& [given, clamped] : cases)
        EXPECT_EQ(given.clamped(), clamped);
}

TEST(DownloadProgressTest, FractionAndEtaAreAbsentWhereTheyWouldMislead) {
    using Maybe = std::optional<double>;
    const std::tuple<std::optional<qint64>, qint64, double, Maybe, Maybe> cases[] = {
        {std::nullopt, 50, 10, std::nullopt, std::nullopt},
        {0, 0, 10, std::nullopt, 0.0},
        {200, 50, 10, 0.25, 15.0},
        {200, 250, 10, 1.0, 0.0},
        {200, 50, 1.0, 0.25, std::nullopt},
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

} // namespace
} // namespace fetra
