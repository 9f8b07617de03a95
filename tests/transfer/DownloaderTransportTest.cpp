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
using Rows = std::vector<Misbehaviour>;

/// The first, second, ... data request is cut short in that way at those places.
std::vector<LieRule> cutsInTurn(How how, Where where, const std::vector<qint64>& places) {
    std::vector<LieRule> rules;
    for (const qint64 place : places) {
        const auto number = static_cast<qint64>(rules.size()) + 1;
        rules.push_back(data({.cut = Cut{.how = how, .where = where, .at = place}}, number, number));
    }
    return rules;
}

LieRule limited(SlotLimit::Terms terms) {
    // So slow that the connections overlap.
    return data({.limit = SlotLimit::make(std::move(terms)), .bytesPerSecond = 1.5e6});
}

/// What connections meet whose number lies between those two, both included.
std::function<ConnectionFate(qint64)> fate(ConnectionFate theirs, qint64 first, qint64 last) {
    return [=](qint64 number) { return number >= first && number <= last ? theirs : ConnectionFate::Serve; };
}

Handler closingWithoutAWord(const ScriptedServer&) {
    return [honest = serve(Misbehaviour::defaultFile())](ServerExchange& exchange) {
        honest(exchange);
        exchange.close();
    };
}

Rows pacesAndCuts() {
    using Row = Misbehaviour;
    const std::string early = "exhaustedRetries The server closed the connection early";
    const std::vector<qint64> bodyPlaces{0, 1, 65'535, 65'536, 100'000};
    return {
        Row("honest").over({1, 8, 64}).alsoTLS(),
        Row("throttled_as_a_whole", {data({.totalBytesPerSecond = 4e6})}).over({1, 8, 64}),
        Row("one_connection_crawls", {data({.bytesPerSecond = 40'000}, 3, 3)}).over({8}),
        Row("one_connection_stalls", cutsInTurn(How::Stall, Where::Body, {70'000})).over({8}).alsoTLS(),
        Row("every_connection_stalls", {data({.cut = Cut{.how = How::Stall, .at = 70'000}})})
            .ends("exhaustedRetries The request timed out", 0)
            .over({8}),
        Row("probe_never_answered", {probe({.latency = 60s})})
            .ends("transport -1001", 12, Left::Nothing)
            .over({1}),
        Row("one_connection_is_never_served").over({8}).meets(fate(ConnectionFate::Silence, 4, 4)).alsoTLS(),
        Row("some_connections_close_at_once").over({8}).meets(fate(ConnectionFate::Close, 2, 4)).alsoTLS(),
        Row("some_connections_reset_at_once").over({8}).meets(fate(ConnectionFate::Reset, 2, 4)),
        Row("all_connections_close_at_once")
            .ends("transport -1005", 12, Left::Nothing)
            .meets(fate(ConnectionFate::Close, 1, 1'000)),
        Row("dropped_in_the_body", cutsInTurn(How::Close, Where::Body, bodyPlaces)).over({8, 64}).alsoTLS(),
        Row("reset_in_the_body", cutsInTurn(How::Reset, Where::Body, bodyPlaces)).over({8, 64}).alsoTLS(),
        Row("the_only_connection_breaks", cutsInTurn(How::Reset, Where::Body, {100'000})).over({1}).alsoTLS(),
        Row("reset_in_the_head", cutsInTurn(How::Reset, Where::Head, {0, 7, 60})).over({8}),
        Row("dropped_in_the_head", cutsInTurn(How::Close, Where::Head, {0, 12, 60})).over({8}).alsoTLS(),
        Row("the_last_byte_is_withheld", {data({.cut = Cut{.where = Where::File, .at = 2097151}})})
            .ends(early, 1)
            .over({1, 8, 64}),
        Row("always_dropped_after_the_head", {data({.cut = Cut{.at = 0}})}).ends(early, 1).alsoTLS(),
        Row("always_reset_in_the_body", {data({.cut = Cut{.how = How::Reset, .at = 20'000}})})
            .ends("exhaustedRetries The connection to 127.0.0.1 was lost", 1)
            .alsoTLS(),
        Row("closes_after_each_answer_without_a_word").by(closingWithoutAWord).alsoTLS(),
        Row("speaks_the_version_before", {every({.version = "HTTP/1.0", .connectionClose = true})}),
    };
}

Rows limits() {
    using Row = Misbehaviour;
    return {
        Row("serves_three_and_503", {limited({.slots = 3})}).over({1, 8, 64}).alsoTLS(),
        Row("serves_two_and_429_with_seconds", {limited({.slots = 2, .status = 429, .retryAfter = "1"})})
            .over({8}),
        Row("serves_four_and_resets", {limited({.slots = 4, .status = 0})}).over({8}),
        Row("one_at_a_time", {limited({.slots = 1})}).over({8}),
        Row("overloaded_for_good", {data({.answer = statusAnswer(503, "0")})})
            .ends("exhaustedRetries HTTP 503", 2)
            .alsoTLS(),
        Row("overloaded_half_way", {data({.answer = statusAnswer(429)}, 3)})
            .ends("exhaustedRetries HTTP 429", 1)
            .over({8}),
    };
}

FETRA_MISBEHAVIOUR_TESTS(DownloaderPacesAndCuts, pacesAndCuts);
FETRA_MISBEHAVIOUR_TESTS(DownloaderLimits, limits);

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

} // namespace
} // namespace fetra::test
