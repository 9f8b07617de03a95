#include "manager/DownloadItem.h"

#include <gtest/gtest.h>
#include <QJsonDocument>

#include <limits>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

DownloadRecord record() {
    return {.id = QUuid::createUuid(),
            .url = QUrl(u"https://host.example/f.bin"_s),
            .directory = QUrl(u"file:///tmp"_s),
            .connections = 4,
            .filename = u"f.bin"_s,
            .addedAt = QDateTime::fromMSecsSinceEpoch(1'700'000'000'123, Qt::UTC)};
}

TEST(DownloadItemTest, DerivesFractionAndTimeLeft) {
    using enum DownloadStatus;
    using Maybe = std::optional<double>;
    const std::tuple<DownloadStatus, std::optional<qint64>, qint64, double, double, Maybe> cases[] = {
        {completed, std::nullopt, 0, 5, 1.0, std::nullopt},
        {downloading, 0, 0, 5, 0.0, 0.0},
        {downloading, std::nullopt, 7, 5, 0.0, std::nullopt},
        {downloading, 100, 25, 5, 0.25, 15.0},
        {downloading, 100, 25, 1.0, 0.25, std::nullopt},
        {downloading, 100, 130, 2, 1.0, 0.0},
        {paused, 100, 50, 5, 0.5, std::nullopt},
    };
    for (const auto& [status, total, received, rate, fraction, eta] : cases) {
        SCOPED_TRACE(testing::Message() << received << " at " << rate);
        DownloadItem item(record());
        item.setStatus(status);
        item.setTotalBytes(total);
        item.setReceivedBytes(received);
        item.setBytesPerSecond(rate);
        EXPECT_EQ(item.fraction(), fraction);
        EXPECT_EQ(item.eta(), eta);
    }
}

TEST(DownloadItemTest, TellsWhichFieldHasAnotherValueAndNothingElse) {
    DownloadItem item(record());
    QList<DownloadItem::Field> heard;
    QObject::connect(&item, &DownloadItem::changed, &item,
                     [&](DownloadItem::Field field) { heard.append(field); });
    const QByteArray before = item.encodedRecord();
    item.setStatus(item.status());
    item.setHeaders({});
    item.setPeers(3);
    EXPECT_EQ(item.encodedRecord(), before) << "peers are not stored";
    for (int time = 0; time < 2; ++time)
        item.setHeaders({{u"Cookie"_s, u"a=b"_s}});
    EXPECT_EQ(heard, (QList{DownloadItem::Field::peers, DownloadItem::Field::headers}));
    EXPECT_TRUE(item.encodedRecord().contains("a=b"));
}

TEST(DownloadItemTest, ARecordComesBackFromJsonAsItWas) {
    DownloadRecord full = record();
    full.mirrors = {QUrl(u"http://m.example/a%20b?c=%2F"_s)};
    full.destination = QUrl::fromLocalFile(u"/tmp/ä %41#.bin"_s);
    full.status = DownloadStatus::failed;
    full.totalBytes = std::numeric_limits<qint64>::max();
    full.receivedBytes = (qint64(1) << 53) + 1;
    full.averageBytesPerSecond = 0.1;
    full.errorMessage = u"Server returned HTTP 404"_s;
    full.completedAt = QDateTime::fromMSecsSinceEpoch(978'307'199'999, Qt::UTC);
    full.expectedSHA256 = QString(64, u'a');
    full.headers = {{u"Cookie"_s, u"\"quoted\" \\ \n"_s}};
    for (const DownloadRecord& each : {record(), full}) {
        DownloadItem item(each);
        const QJsonObject json = QJsonDocument::fromJson(item.encodedRecord()).object();
        EXPECT_TRUE(DownloadRecord::fromJson(json) == each) << item.encodedRecord().toStdString();
        using enum DownloadStatus;
        for (const DownloadStatus status : {downloading, queued, probing, paused, completed, failed}) {
            item.setStatus(status);
            EXPECT_EQ(item.encodedRecord(), DownloadItem(item.record()).encodedRecord());
        }
    }
    const QJsonObject json = full.toJson();
    EXPECT_EQ(json.value(u"completedAt"_s).toDouble(), -0.001);
    EXPECT_EQ(json.value(u"id"_s).toString(), full.id.toString(QUuid::WithoutBraces).toUpper());
}

TEST(DownloadItemTest, OddTextNeverMakesARecordUnreadable) {
    DownloadRecord odd = record();
    odd.filename = QString(QChar(0xD800)) + u"x"_s;
    DownloadItem item(odd);
    item.setAverageBytesPerSecond(std::numeric_limits<double>::infinity());
    EXPECT_TRUE(DownloadRecord::fromJson(QJsonDocument::fromJson(item.encodedRecord()).object()));
}

} // namespace
} // namespace fetra
