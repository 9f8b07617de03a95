// The servers that the other tests believe, judged here with libcurl alone and not with our own client.

#include "support/ScriptedServer.h"
#include "support/Eventually.h"
#include "support/FileScript.h"
#include "support/NginxServer.h"
#include "support/PlainClient.h"
#include "support/ProcessCounters.h"
#include "support/Routes.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace fetra::test {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

QByteArray range(qint64 first, qint64 last) {
    return QByteArray::number(first) + '-' + QByteArray::number(last);
}

} // namespace

TEST(ScriptedServer, AnswersHonestlyWithoutLies) {
    const ServerFile file = ServerFile::ofSize(1000);
    const ScriptedServer server(serve(file));
    struct Case {
        QByteArray range;
        std::vector<QByteArray> headers;
        long status;
        QByteArray contentRange;
        QByteArray body;
    };
    const QByteArray& content = file.content;
    for (const Case& each : std::vector<Case>{
             {"", {}, 200, "", content},
             {"0-0", {}, 206, "bytes 0-0/1000", content.first(1)},
             {"990-", {}, 206, "bytes 990-999/1000", content.last(10)},
             {"-10", {}, 206, "bytes 990-999/1000", content.last(10)},
             {"500-5000", {}, 206, "bytes 500-999/1000", content.sliced(500)},
             {"1000-", {}, 416, "bytes */1000", ""},
             {"5-9", {"If-Range: \"v1\""}, 206, "bytes 5-9/1000", content.sliced(5, 5)},
             {"5-9", {"If-Range: \"v2\""}, 200, "", content},
             {"5-9", {"If-Range: W/\"v1\""}, 200, "", content},
             {"5-9", {"If-Range: " + file.lastModified}, 206, "bytes 5-9/1000", content.sliced(5, 5)},
         }) {
        const Reply reply = ask(server.url("/f"), {.range = each.range, .headers = each.headers});
        SCOPED_TRACE(each.range.toStdString() +
                     (each.headers.empty() ? "" : ", " + each.headers[0].toStdString()));
        EXPECT_EQ(reply.code, CURLE_OK);
        EXPECT_EQ(reply.status, each.status);
        EXPECT_EQ(reply.body, each.body);
        const qsizetype label = reply.head.indexOf("Content-Range: ");
        const QByteArray value =
            label < 0 ? "" : reply.head.sliced(label + 15, reply.head.indexOf("\r\n", label) - label - 15);
        EXPECT_EQ(value, each.contentRange);
    }
    const Reply head = ask(server.url("/f"), {.head = true});
    EXPECT_EQ(head.status, 200);
    EXPECT_TRUE(head.head.contains("Content-Length: 1000\r\n"));
    EXPECT_EQ(server.bodyBytesSent(), 1000 * 3 + 1 + 10 + 10 + 500 + 5 + 5);
}

TEST(ScriptedServer, KeepsConnectionsAndNumbersWhatItSaw) {
    ScriptedServer server([](ServerExchange& exchange) { exchange.respond(200, {}, "hello"); });
    const CurlHandle curl = makeHandle();
    EXPECT_EQ(ask(curl.get(), server.url("/a?q=1"), {.range = "3-7", .headers = {"x-NAME: v"}}).body,
              "hello");
    EXPECT_EQ(ask(curl.get(), server.url("/b")).body, "hello");
    EXPECT_EQ(ask(server.url("/a", "x.a.localhost")).body, "hello");
    server.setHandler({});
    EXPECT_EQ(ask(server.url("/a", "localhost")).status, 404);

    EXPECT_EQ(server.connectionsAccepted(), 3);
    EXPECT_EQ(server.requests(), 4);
    const std::vector<ServerRequest> log = server.log("/a");
    ASSERT_EQ(log.size(), 3U);
    EXPECT_EQ(log[0].query, "q=1");
    EXPECT_EQ(log[0].range->first, 3);
    EXPECT_EQ(log[0].range->last, 7);
    EXPECT_EQ(log[0].header("X-Name"), "v");
    EXPECT_EQ(log[1].header("host"), "x.a.localhost:" + QByteArray::number(server.port()));
    EXPECT_EQ(log[1].connection, 2);
    EXPECT_EQ(log[1].serial, 3);
    EXPECT_EQ(log[1].pathSerial, 2);
}

TEST(ScriptedServer, EveryLieReachesTheClient) {
    const ServerFile file = ServerFile::ofSize(200'000);
    const QByteArray& all = file.content;
    const QByteArray asked = all.sliced(1000, 100'000);
    struct Case {
        const char* name;
        Lies lies;
        CURLcode code;
        long status;
        QByteArray body;
        QByteArray inHead = {};
    };
    using How = Cut::How;
    using Where = Cut::Where;
    const std::vector<Case> cases{
        {"drop", {.cut = Cut{How::Close, Where::Body, 70'000}}, CURLE_PARTIAL_FILE, 206, asked.first(70'000)},
        {"reset", {.cut = Cut{How::Reset, Where::Body, 70'001}}, CURLE_RECV_ERROR, 206, asked.first(70'001)},
        {"reset in the head", {.cut = Cut{How::Reset, Where::Head, 40}}, CURLE_RECV_ERROR, 206, ""},
        {"cut at a place of the file",
         {.cut = Cut{How::Close, Where::File, 5000}},
         CURLE_PARTIAL_FILE,
         206,
         asked.first(4000)},
        {"cut that the range does not meet",
         {.cut = Cut{How::Close, Where::File, 999}},
         CURLE_OK,
         206,
         asked},
        {"stall", {.cut = Cut{How::Stall, Where::Body, 9}}, CURLE_OPERATION_TIMEDOUT, 206, asked.first(9)},
        {"late", {.latency = 5s}, CURLE_OPERATION_TIMEDOUT, 0, ""},
        {"garbage", {.raw = "\x01\x02 not http\r\n\r\n"}, CURLE_UNSUPPORTED_PROTOCOL, 0, ""},
        {"failure", {.answer = statusAnswer(429, "7")}, CURLE_OK, 429, "no\n", "Retry-After: 7\r\n"},
        {"portal", {.answer = loginPage()}, CURLE_OK, 200, loginPage().body, "text/html"},
        {"no content", {.answer = FixedAnswer{.status = 204}}, CURLE_OK, 204, ""},
        {"1xx storm", {.informational = 50}, CURLE_OK, 206, asked, "103"},
        {"range ignored", {.ignoreRange = true}, CURLE_OK, 200, all},
        {"shifted", {.rangeShift = 10}, CURLE_OK, 206, all.sliced(1010, 100'000), "bytes 1010-101009/200000"},
        {"too long", {.rangeExtra = 9}, CURLE_OK, 206, all.sliced(1000, 100'009), "bytes 1000-101008/200000"},
        {"other total", {.contentRangeTotal = "*"}, CURLE_OK, 206, asked, "bytes 1000-100999/*"},
        {"another file",
         {.file = ServerFile::ofSize(2000, 9).withETag("W/\"2\"")},
         CURLE_OK,
         206,
         testContent(2000, 9).sliced(1000),
         "W/\"2\""},
        {"two lengths", {.contentLengths = {{"5", "100000"}}}, CURLE_OK, 206, asked, "Content-Length: 5\r\n"},
        {"declared too much", {.declaredExtra = 1}, CURLE_PARTIAL_FILE, 206, asked},
        {"declared too little", {.declaredExtra = -1}, CURLE_OK, 206, asked.chopped(1)},
        {"surplus", {.surplus = 500}, CURLE_OK, 206, asked},
        {"gzip", {.contentEncoding = "gzip"}, CURLE_OK, 206, gzipped(asked), "Content-Encoding: gzip"},
        {"huge head", {.extraHeaders = paddingHeaders(30, 3000)}, CURLE_OK, 206, asked, "X-Padding-29: "},
        {"until close", {.framing = Framing::UntilClose}, CURLE_OK, 206, asked, "Connection: close"},
        {"chunked", {.framing = Framing::Chunked}, CURLE_OK, 206, asked, "chunked"},
        {"chunked without end", {.framing = Framing::ChunkedWithoutEnd}, CURLE_PARTIAL_FILE, 206, asked},
        {"chunked and length",
         {.declaredExtra = -7, .framing = Framing::ChunkedAndLength},
         CURLE_OK,
         206,
         asked,
         "Content-Length: 99993"},
        {"chunk overflow",
         {.framing = Framing::ChunkSizeOverflow},
         CURLE_RECV_ERROR,
         206,
         asked.first(65536)},
        {"hanging end", {.declaredExtra = 5, .stallAfterBody = true}, CURLE_OPERATION_TIMEDOUT, 206, asked},
        {"refused",
         {.limit = SlotLimit::make({.slots = 0, .retryAfter = "3"})},
         CURLE_OK,
         503,
         "no\n",
         "Retry-After: 3"},
        {"refused hard", {.limit = SlotLimit::make({.slots = 0, .status = 0})}, CURLE_RECV_ERROR, 0, ""},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const ScriptedServer server(serve(file, each.lies));
        const bool hangs = each.code == CURLE_OPERATION_TIMEDOUT;
        const Reply reply =
            ask(server.url("/f"), {.range = range(1000, 100'999), .timeoutMs = hangs ? 500 : 20'000});
        EXPECT_EQ(reply.code, each.code) << curl_easy_strerror(reply.code);
        EXPECT_EQ(reply.status, each.status);
        EXPECT_TRUE(reply.body == each.body) << reply.body.size() << " bytes";
        EXPECT_TRUE(reply.head.contains(each.inHead)) << reply.head.toStdString();
    }
}

TEST(ScriptedServer, ToldLiesOnlyToTheRequestsMeant) {
    const auto status = [](int value) { return Lies{.answer = statusAnswer(value)}; };
    const ScriptedServer server(FileScript{
        .file = ServerFile::ofSize(100),
        .rules = {{{.what = When::What::Probe, .first = 2}, status(401)},
                  {{.what = When::What::Data, .first = 2, .last = 2}, status(402)},
                  {{.only = [](const ServerRequest& request) { return request.path == "/x"; }},
                   status(403)}}}.handler());
    std::vector<long> statuses;
    for (const auto& [path, asked] : std::vector<std::pair<QByteArray, QByteArray>>{
             {"/f", "0-0"}, {"/f", "0-9"}, {"/f", "0-0"}, {"/f", "0-9"}, {"/f", "0-9"}, {"/x", "0-9"}})
        statuses.push_back(ask(server.url(path), {.range = asked}).status);
    EXPECT_EQ(statuses, (std::vector<long>{206, 206, 401, 402, 206, 403}));
}

TEST(ScriptedServer, RoutesAndRedirects) {
    const ScriptedServer other(serve(ServerFile::ofSize(10)));
    const ScriptedServer server(
        routes({{"/exact", redirect("/hop/3", 301)},
                {"/hop/*", redirectHops("/hop/", other.url("/end", "localhost").toEncoded())},
                {"/circle/*", redirectHops("/circle/", "/circle/1")}}));
    EXPECT_EQ(ask(server.url("/exact"), {.follow = true}).body, testContent(10));
    EXPECT_EQ(server.requests(), 5);
    EXPECT_EQ(ask(server.url("/circle/1"), {.follow = true}).code, CURLE_TOO_MANY_REDIRECTS);
    EXPECT_EQ(ask(server.url("/exactly")).status, 404);
}

TEST(ScriptedServer, LimitNeverMeetsTheGhostOfAFinishedAnswer) {
    const auto limit = SlotLimit::make({.slots = 1});
    const ServerFile file = ServerFile::ofSize(1000);
    const ScriptedServer server(
        routes({{"/whole", serve(file, {.limit = limit})},
                {"/cut", serve(file, {.limit = limit, .cut = Cut{Cut::How::Close, {}, 500}})}}));
    for (int count = 0; count < 200; ++count) {
        ASSERT_EQ(ask(server.url("/whole")).status, 200) << count;
        ASSERT_EQ(ask(server.url("/cut")).status, 200) << count;
    }
    EXPECT_EQ(limit->refusals(), 0);
    EXPECT_EQ(limit->peak(), 1);
}

TEST(ScriptedServer, HoldsManyConnectionsAndEndsThemAllAtOnce) {
    constexpr int clients = 150;
    const CurlHandle initialised = makeHandle();
    const ProcessCounters before = ProcessCounters::now();
    {
        auto server = std::make_unique<ScriptedServer>(
            serve(ServerFile::ofSize(100'000), {.cut = Cut{Cut::How::Stall}}));
        std::atomic<int> cutOff = 0;
        std::vector<std::thread> threads;
        for (int client = 0; client < clients; ++client)
            threads.emplace_back(
                [&] { cutOff += ask(server->url("/f")).code != CURLE_OPERATION_TIMEDOUT ? 1 : 0; });
        EXPECT_TRUE(eventually(20s, [&] { return server->exchangesNow() == clients; }));
        EXPECT_EQ(server->maxSimultaneousExchanges(), clients);
        const auto start = std::chrono::steady_clock::now();
        server->stop();
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(cutOff, clients);
        EXPECT_EQ(ask(server->url("/f")).code, CURLE_COULDNT_CONNECT);
    }
    EXPECT_TRUE(eventually(5s, [&] { return ProcessCounters::now().threads == before.threads; }));
    EXPECT_EQ(ProcessCounters::now().descriptors, before.descriptors);
}

TEST(ScriptedServer, PacesPausesAndDropsConnections) {
    ScriptedServer server(serve(ServerFile::ofSize(100'000), {.bytesPerSecond = 200'000}));
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(server.url("/f")).body.size(), 100'000);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 480ms);

    server.setHandler(serve(ServerFile::ofSize(50'000), {.totalBytesPerSecond = 200'000}));
    start = std::chrono::steady_clock::now();
    std::thread second([&] { EXPECT_EQ(ask(server.url("/f")).body.size(), 50'000); });
    EXPECT_EQ(ask(server.url("/f")).body.size(), 50'000);
    second.join();
    EXPECT_GE(std::chrono::steady_clock::now() - start, 480ms);

    server.setPaused(true);
    EXPECT_EQ(ask(server.url("/f"), {.timeoutMs = 200}).code, CURLE_OPERATION_TIMEDOUT);
    Reply dropped;
    std::thread client([&] { dropped = ask(server.url("/f")); });
    EXPECT_TRUE(eventually(10s, [&] { return server.requests() == 5; }));
    server.dropConnections();
    client.join();
    EXPECT_EQ(dropped.code, CURLE_GOT_NOTHING);
    server.setPaused(false);
    server.setConnectionRule([](qint64) { return ConnectionFate::Reset; });
    EXPECT_NE(ask(server.url("/f")).code, CURLE_OK);
    server.setConnectionRule({});
    EXPECT_EQ(ask(server.url("/f")).code, CURLE_OK);
}

TEST(ScriptedServer, CertificatesFailForTheirOwnReason) {
    using Kind = TestCertificate::Kind;
    const QByteArray authority = TestCertificate::authorityFile().toUtf8();
    for (const Kind kind :
         {Kind::Valid, Kind::Expired, Kind::NotYetValid, Kind::OtherName, Kind::SelfSigned}) {
        const CURLcode code = kind == Kind::Valid ? CURLE_OK : CURLE_PEER_FAILED_VERIFICATION;
        const ScriptedServer server(serve(ServerFile::ofSize(300'000)),
                                    {.certificate = TestCertificate(kind)});
        for (const char* host : {"127.0.0.1", "localhost", "y.a.localhost"}) {
            const Reply reply = ask(server.url("/f", host), {.authority = authority});
            EXPECT_EQ(reply.code, code) << host << ' ' << static_cast<int>(kind);
            EXPECT_EQ(reply.body.size(), code == CURLE_OK ? 300'000 : 0);
        }
    }
}

TEST(ScriptedServer, TellsAnEndUnderTLSFromACutConnection) {
    const QByteArray authority = TestCertificate::authorityFile().toUtf8();
    for (const bool notified : {true, false}) {
        const Cut::How how = notified ? Cut::How::Close : Cut::How::CloseWithoutNotify;
        const Lies lies{.framing = Framing::UntilClose, .cut = Cut{how, Cut::Where::Body, 70'000}};
        const ScriptedServer server(serve(ServerFile::ofSize(100'000), lies),
                                    {.certificate = TestCertificate()});
        EXPECT_EQ(ask(server.url("/f"), {.authority = authority}).body, testContent(70'000));
        EXPECT_EQ(closeWasNotified(), notified);
    }
    const ScriptedServer server(
        [](ServerExchange& exchange) {
            exchange.sendHead(200, {{"Content-Length", "100"}});
            exchange.sendBody("half");
            exchange.sendBeneathTLS("not a record");
            exchange.stall();
        },
        {.certificate = TestCertificate()});
    EXPECT_EQ(ask(server.url("/f"), {.authority = authority}).code, CURLE_RECV_ERROR);
}

TEST(NginxServer, ServesAFolderPlainAndUnderTLSAndIsGoneAfterwards) {
    if (!NginxServer::available())
        GTEST_SKIP() << "nginx is not installed";
    const TempFolder folder;
    folder.write(u"sub/f.bin"_s, testContent(5000));
    for (const bool tls : {false, true}) {
        NginxServer server({.folder = folder.path(),
                            .certificate = tls ? std::optional(TestCertificate()) : std::nullopt,
                            .serverLines = "add_header X-Mark here;"});
        const Question question{.range = "10-19", .authority = TestCertificate::authorityFile().toUtf8()};
        const Reply reply = ask(server.url("/sub/f.bin"), question);
        EXPECT_EQ(reply.status, 206) << server.errorLog().toStdString();
        EXPECT_EQ(reply.body, testContent(5000).sliced(10, 10));
        EXPECT_TRUE(reply.head.contains("X-Mark: here"));
        EXPECT_TRUE(
            eventually(2s, [&] { return server.accessLog().contains("\"bytes=10-19\" GET /sub/f.bin"); }));
        server.stop();
        EXPECT_EQ(ask(server.url("/sub/f.bin"), question).code, CURLE_COULDNT_CONNECT);
    }
    EXPECT_THROW(NginxServer({.folder = folder.path(), .serverLines = "no_such_thing on;"}),
                 std::runtime_error);
}

} // namespace fetra::test
