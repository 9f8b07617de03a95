// Networks and servers that are slow, silent, overloaded or gone half-way.

#include "DownloadRun.h"
#include "Misbehaviour.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using What = When::What;
using How = Cut::How;
using Where = Cut::Where;
using Left = Misbehaviour::Left;

/// The first, second, ... data request is cut short in that way.
std::vector<LieRule> cutsInTurn(const std::vector<Cut>& cuts) {
    std::vector<LieRule> rules;
    for (const Cut& cut : cuts) {
        const auto number = static_cast<qint64>(rules.size()) + 1;
        rules.push_back(
            {.when = {.what = What::Data, .first = number, .last = number}, .lies = {.cut = cut}});
    }
    return rules;
}

LieRule always(What what, Lies lies) {
    return {.when = {.what = what}, .lies = std::move(lies)};
}

LieRule onlyNumber(qint64 number, Lies lies) {
    return {.when = {.what = What::Data, .first = number, .last = number}, .lies = std::move(lies)};
}

LieRule limited(SlotLimit::Terms terms) {
    // So slow that the connections overlap.
    return always(What::Data, {.limit = SlotLimit::make(std::move(terms)), .bytesPerSecond = 1.5e6});
}

Handler closingWithoutAWord() {
    return [honest = serve(Misbehaviour::defaultFile())](ServerExchange& exchange) {
        honest(exchange);
        exchange.close();
    };
}

std::vector<Misbehaviour> pacesAndCuts() {
    return {
        {.name = "honest", .lanes = {1, 8, 64}, .alsoOverTLS = true},
        {.name = "throttled_as_a_whole",
         .lies = {always(What::Data, {.totalBytesPerSecond = 4e6})},
         .lanes = {1, 8, 64}},
        {.name = "one_connection_crawls", .lies = {onlyNumber(3, {.bytesPerSecond = 40'000})}, .lanes = {8}},
        {.name = "one_connection_stalls",
         .lies = cutsInTurn({{.how = How::Stall, .at = 70'000}}),
         .lanes = {8},
         .alsoOverTLS = true},
        {.name = "every_connection_stalls",
         .lies = {always(What::Data, {.cut = Cut{.how = How::Stall, .at = 70'000}})},
         .end = "exhaustedRetries The request timed out",
         .lanes = {8},
         .maxRetries = 0},
        {.name = "first_answer_never_comes", .lies = {onlyNumber(1, {.latency = 60s})}, .alsoOverTLS = true},
        {.name = "probe_never_answered",
         .lies = {always(What::Probe, {.latency = 60s})},
         .end = "transport -1001",
         .left = Left::Nothing,
         .lanes = {1}},
        {.name = "probe_head_drips_too_slowly",
         .lies = {always(What::Probe, {.headBytesPerSecond = 3})},
         .end = "transport -1001",
         .left = Left::Nothing,
         .lanes = {1}},
        {.name = "heads_drip", .lies = {always(What::Every, {.headBytesPerSecond = 500})}, .lanes = {8}},
        {.name = "one_connection_is_never_served",
         .lanes = {8},
         .alsoOverTLS = true,
         .connections =
             [](qint64 number) { return number == 4 ? ConnectionFate::Silence : ConnectionFate::Serve; }},
        {.name = "some_connections_close_at_once",
         .alsoOverTLS = true,
         .connections =
             [](qint64 number) {
                 return number > 1 && number < 5 ? ConnectionFate::Close : ConnectionFate::Serve;
             }},
        {.name = "some_connections_reset_at_once",
         .alsoOverTLS = true,
         .connections =
             [](qint64 number) {
                 return number > 1 && number < 5 ? ConnectionFate::Reset : ConnectionFate::Serve;
             }},
        {.name = "all_connections_close_at_once",
         .end = "transport -1005",
         .left = Left::Nothing,
         .connections = [](qint64) { return ConnectionFate::Close; }},
        {.name = "dropped_in_the_body",
         .lies = cutsInTurn({{.at = 0}, {.at = 1}, {.at = 65'535}, {.at = 65'536}, {.at = 100'000}}),
         .lanes = {8, 64},
         .alsoOverTLS = true},
        {.name = "reset_in_the_body",
         .lies = cutsInTurn({{.how = How::Reset, .at = 0},
                             {.how = How::Reset, .at = 1},
                             {.how = How::Reset, .at = 65'535},
                             {.how = How::Reset, .at = 65'536},
                             {.how = How::Reset, .at = 100'000}}),
         .lanes = {8, 64},
         .alsoOverTLS = true},
        {.name = "the_only_connection_breaks",
         .lies = cutsInTurn({{.at = 100'000}, {.how = How::Reset, .at = 100'000}}),
         .lanes = {1},
         .alsoOverTLS = true},
        {.name = "reset_in_the_head",
         .lies = cutsInTurn({{.how = How::Reset, .where = Where::Head, .at = 0},
                             {.how = How::Reset, .where = Where::Head, .at = 7},
                             {.how = How::Reset, .where = Where::Head, .at = 60}}),
         .alsoOverTLS = true},
        {.name = "dropped_in_the_head",
         .lies = cutsInTurn({{.how = How::Close, .where = Where::Head, .at = 0},
                             {.how = How::Close, .where = Where::Head, .at = 12},
                             {.how = How::Close, .where = Where::Head, .at = 60}}),
         .alsoOverTLS = true},
        {.name = "probe_reset_in_the_head",
         .lies = {always(What::Probe, {.cut = Cut{.how = How::Reset, .where = Where::Head, .at = 30}})},
         .end = "transport -1005",
         .left = Left::Nothing},
        {.name = "the_last_byte_is_withheld",
         .lies = {always(What::Data,
                         {.cut = Cut{.where = Where::File, .at = Misbehaviour::defaultSize - 1}})},
         .end = "exhaustedRetries The server closed the connection early",
         .lanes = {1, 8, 64},
         .maxRetries = 1},
        {.name = "always_dropped_after_the_head",
         .lies = {always(What::Data, {.cut = Cut{.at = 0}})},
         .end = "exhaustedRetries The server closed the connection early",
         .maxRetries = 1,
         .alsoOverTLS = true},
        {.name = "always_reset_in_the_body",
         .lies = {always(What::Data, {.cut = Cut{.how = How::Reset, .at = 20'000}})},
         .end = "exhaustedRetries The connection to 127.0.0.1 was lost",
         .maxRetries = 1,
         .alsoOverTLS = true},
        {.name = "a_connection_ends_after_so_many_bytes",
         .lies = {always(What::Every, {.cut = Cut{.where = Where::Connection, .at = 700'000}})},
         .alsoOverTLS = true},
        {.name = "closes_after_each_answer_without_a_word",
         .alsoOverTLS = true,
         .handler = [](const ScriptedServer&) { return closingWithoutAWord(); }},
        {.name = "closes_after_each_answer_and_says_so",
         .lies = {always(What::Every, {.connectionClose = true})},
         .alsoOverTLS = true},
        {.name = "speaks_the_version_before",
         .lies = {always(What::Every, {.version = "HTTP/1.0", .connectionClose = true})}},
    };
}

std::vector<Misbehaviour> limits() {
    return {
        {.name = "serves_three_and_503",
         .lies = {limited({.slots = 3})},
         .lanes = {1, 8, 64},
         .alsoOverTLS = true},
        {.name = "serves_two_and_429_with_seconds",
         .lies = {limited({.slots = 2, .status = 429, .retryAfter = "1"})},
         .lanes = {8}},
        {.name = "serves_three_and_503_with_a_date",
         .lies = {limited({.slots = 3, .retryAfter = "Tue, 05 Mar 2024 10:00:00 GMT"})},
         .lanes = {8}},
        {.name = "serves_three_and_503_with_nonsense",
         .lies = {limited({.slots = 3, .retryAfter = "-99999999999999999999e9"})},
         .lanes = {8}},
        {.name = "serves_four_and_resets", .lies = {limited({.slots = 4, .status = 0})}, .lanes = {8}},
        {.name = "one_at_a_time", .lies = {limited({.slots = 1})}, .lanes = {8}},
        {.name = "refuses_what_comes_too_soon", .lies = {limited({.minimumGap = 40ms})}, .lanes = {8}},
        {.name = "overloaded_at_first",
         .lies = {{.when = {.what = What::Data, .last = 2}, .lies = {.answer = statusAnswer(503)}}},
         .lanes = {1, 8, 64}},
        {.name = "overloaded_for_good",
         .lies = {always(What::Data, {.answer = statusAnswer(503, "0")})},
         .end = "exhaustedRetries HTTP 503",
         .maxRetries = 2,
         .alsoOverTLS = true},
        {.name = "overloaded_half_way",
         .lies = {{.when = {.what = What::Data, .first = 3}, .lies = {.answer = statusAnswer(429)}}},
         .end = "exhaustedRetries HTTP 429",
         .lanes = {8},
         .maxRetries = 1},
    };
}

FETRA_MISBEHAVIOUR_TESTS(DownloaderPacesAndCuts, pacesAndCuts);
FETRA_MISBEHAVIOUR_TESTS(DownloaderLimits, limits);

TEST(DownloaderTransport, SurvivesANetworkThatIsGoneForAWhile) {
    RealWorld world;
    const TempFolder folder;
    const ServerFile file = ServerFile::ofSize(4 * 1024 * 1024);
    ScriptedServer server(serve(file, {.totalBytesPerSecond = 4e6}, {.what = What::Data}));
    RunningDownload running(world, toFolder(server.url("/f.bin"), folder.path()), impatient(8));
    ASSERT_TRUE(eventually(10s, [&] { return running.receivedBytes() > 0; }));
    server.setPaused(true);
    std::this_thread::sleep_for(1500ms);
    server.setPaused(false);
    server.dropConnections();
    EXPECT_EQ(running.end().words, u"complete"_s);
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
}

TEST(DownloaderTransport, ContinuesAfterTheServerWasAwayForLongerThanItsPatience) {
    RealWorld world;
    const TempFolder folder;
    const ServerFile file = ServerFile::ofSize(4 * 1024 * 1024);
    auto server =
        std::make_unique<ScriptedServer>(serve(file, {.totalBytesPerSecond = 4e6}, {.what = What::Data}));
    const quint16 port = server->port();
    const DownloadRequest request = toFolder(server->url("/f.bin"), folder.path());
    RunningDownload running(world, request, impatient(8, 1));
    ASSERT_TRUE(eventually(10s, [&] { return running.receivedBytes() > 1'000'000; }));
    server->stop();
    EXPECT_EQ(running.end().words, u"exhaustedRetries Could not connect to 127.0.0.1: Connection refused"_s);
    const qint64 held = heldBytes(folder, u"f.bin"_s, file.content);
    EXPECT_GT(held, 1'000'000);

    server = std::make_unique<ScriptedServer>(serve(file), ServerOptions{.port = port});
    DownloadOptions options = impatient(8);
    options.dynamicSplit = false;
    const Ending ending = download(world, request, options);
    ASSERT_EQ(ending.words, u"complete"_s);
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
    EXPECT_EQ(ending.result->resumedFrom, held);
    EXPECT_EQ(server->bodyBytesSent(), file.content.size() - held + 1)
        << "all but the probe's byte was missing";
}

TEST(DownloaderTransport, NeverTakesAConnectionThatBrokeForTheEndOfAFile) {
    RealWorld world;
    struct Row {
        const char* name;
        Lies lies;
        const char* end;
    };
    // Without a length the end of the connection is all that tells the end of the file, and under TLS an end
    // that the server did not announce may be anybody's doing.
    const Row rows[] = {
        {"announced", {.ignoreRange = true, .framing = Framing::UntilClose}, "complete"},
        {"cut off half-way",
         {.ignoreRange = true,
          .framing = Framing::UntilClose,
          .cut = Cut{.how = How::CloseWithoutNotify, .at = 200'000}},
         "exhaustedRetries"},
        {"reset half-way",
         {.ignoreRange = true, .framing = Framing::UntilClose, .cut = Cut{.how = How::Reset, .at = 200'000}},
         "exhaustedRetries"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const TempFolder folder;
        const ServerFile file = ServerFile::ofSize(500'000);
        ScriptedServer server(serve(file, row.lies), {.certificate = TestCertificate()});
        const Ending ending = download(world, toFolder(server.url("/f.bin"), folder.path()), impatient(8, 1));
        EXPECT_TRUE(ending.words.startsWith(QString::fromLatin1(row.end))) << ending.words.toStdString();
        expectNothingWrongIsFinished(folder, file.content);
    }
}

TEST(DownloaderTransport, RefusesServersThatCannotProveWhoTheyAre) {
    RealWorld world;
    using Kind = TestCertificate::Kind;
    struct Row {
        Kind kind;
        const char* reason;
    };
    const Row rows[] = {{Kind::Expired, "expired"},
                        {Kind::NotYetValid, "not yet valid"},
                        {Kind::OtherName, "127.0.0.1"},
                        {Kind::SelfSigned, "self"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.reason);
        const TempFolder folder;
        ScriptedServer server(serve(Misbehaviour::defaultFile()), {.certificate = TestCertificate(row.kind)});
        const Ending ending = download(world, toFolder(server.url("/f.bin"), folder.path()), impatient(8));
        EXPECT_TRUE(ending.words.startsWith(u"transport -1200"_s)) << ending.words.toStdString();
        EXPECT_TRUE(ending.words.contains(QString::fromLatin1(row.reason))) << ending.words.toStdString();
        EXPECT_EQ(folder.names(), QStringList{});
        EXPECT_EQ(server.requests(), 0);
    }
}

} // namespace
} // namespace fetra::test
