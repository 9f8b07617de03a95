#include "transfer/HTTPProbe.h"

#include "http/CurlClient.h"
#include "support/FileScript.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using namespace test;

constexpr qint64 sample = 16'384;
constexpr qint64 largest = std::numeric_limits<qint64>::max();

TEST(HTTPProbeTest, ReadsContentRanges) {
    const std::tuple<QString, std::optional<qint64>, std::optional<qint64>> cases[] = {
        {u"bytes 0-0/1234"_s, 0, 1234},
        {u" bytes 5-9/10\t\u00a0"_s, 5, 10},
        {u"bytes +5-9/ +10 "_s, 5, 10},
        {u"bytes 7"_s, 7, std::nullopt},
        {u"bytes 1 -9/1 0"_s, std::nullopt, std::nullopt},
        {u"bytes */0"_s, std::nullopt, 0},
        {u"bytes 0-0/*"_s, 0, std::nullopt},
        {u"bytes  0-0/1"_s, std::nullopt, 1},
        {u"bytes -5-9/10"_s, std::nullopt, 10},
        {u"bytes 0x1-9/1e3"_s, std::nullopt, std::nullopt},
        {u"bytes +-3-9/+-3"_s, std::nullopt, std::nullopt},
        {u"bytes 9223372036854775807-9/9223372036854775807"_s, largest, largest},
        {u"bytes 9223372036854775808-9/9223372036854775808"_s, std::nullopt, std::nullopt},
        {u""_s, std::nullopt, std::nullopt},
    };
    for (const auto& [value, start, total] : cases) {
        SCOPED_TRACE(value.toStdString());
        EXPECT_EQ(HTTPProbe::contentRangeStart(value), start);
        EXPECT_EQ(HTTPProbe::contentRangeTotal(value), total);
    }
}

TEST(HTTPProbeTest, SamplesStartMiddleAndEnd) {
    const std::pair<qint64, QList<HTTPProbe::ByteRange>> cases[] = {
        {-1, {}},
        {0, {}},
        {3 * sample, {{0, 3 * sample - 1}}},
        {3 * sample + 1, {{0, sample - 1}, {24'576, 24'576 + sample - 1}, {2 * sample + 1, 3 * sample}}},
        {largest,
         {{0, sample - 1}, {largest / 2, largest / 2 + sample - 1}, {largest - sample, largest - 1}}},
    };
    for (const auto& [total, ranges] : cases)
        EXPECT_EQ(HTTPProbe::sampleRanges(total), ranges) << total;
}

TEST(HTTPProbeTest, TheBaseRequestLetsNobodyChangeAgentOrCoding) {
    const HTTPRequest request = HTTPProbe::request(
        QUrl(u"https://h/f"_s), {.headers = {{u"user-AGENT"_s, u"mine"_s}, {u"accept-encoding"_s, u"gzip"_s}},
                                 .userAgent = u"agent"_s});
    EXPECT_EQ(request.headers.values("User-Agent"), std::vector<QByteArray>{"agent"});
    EXPECT_EQ(request.headers.values("Accept-Encoding"), std::vector<QByteArray>{"identity"});
}

/// Asks a scripted server over the real client.
class HTTPProbeServerTest : public ::testing::Test {
protected:
    RemoteInfo probe(const QByteArray& path = "/file.bin") {
        return HTTPProbe::probe(server.url(path), *session, DownloadOptions());
    }

    ScriptedServer server;
    CurlClient client;
    std::unique_ptr<HTTPSession> session = client.makeSession({});
};

TEST_F(HTTPProbeServerTest, NamesTheFileByTheFirstSourceThatKnows) {
    const std::tuple<QByteArray, QByteArray, QByteArray, QString> cases[] = {
        {"attachment; filename=\"../x.zip\"", "/a.zip", "/b.zip", u"_x.zip"_s},
        {"attachment; filename=\"x.zip", "/a.zip", "/b.zip", u"b.zip"_s},
        {"attachment; filename=na\xefve.txt", "/a.zip", "/b.zip", u"naïve.txt"_s},
        {"", "/a.zip", "/", u"a.zip"_s},
        {"", "/", "/?x", u"download.pdf"_s},
    };
    for (const auto& [disposition, path, target, name] : cases) {
        SCOPED_TRACE(name.toStdString());
        ServerFile file = ServerFile::ofSize(10);
        file.contentDisposition = disposition;
        file.contentType = "Application/PDF; charset=binary";
        server.setHandler([&, first = path, next = target](ServerExchange& exchange) {
            const bool isFirst = exchange.request().target == first;
            (isFirst ? redirect(next) : serve(file))(exchange);
        });
        EXPECT_EQ(probe(path).suggestedFilename, name);
    }
}

TEST_F(HTTPProbeServerTest, AProbeDoesNotReadTheBody) {
    constexpr qint64 size = 64 * 1024 * 1024;
    server.setHandler(serve(ServerFile::ofSize(size), {.ignoreRange = true}));
    EXPECT_EQ(probe().totalSize, size);
    EXPECT_LT(server.bodyBytesSent(), size / 4);
}

} // namespace
} // namespace fetra
