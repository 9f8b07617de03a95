// Networks and servers that are slow, silent or gone half-way.

#include "misbehaviour/Misbehaviour.h"

#include <gtest/gtest.h>

#include <numeric>

namespace fetra::test {
namespace {

using Kind = TestCertificate::Kind;

constexpr qint64 size = Misbehaviour::defaultSize;
const std::string timedOut = "The request timed out";
const std::string closedEarly = "The server closed the connection early";

/// The first, second, ... data request is cut short in that way at those places.
Misbehaviour cutsInTurn(std::string name, How how, Where where, const std::vector<qint64>& places) {
    std::vector<LieRule> rules;
    for (const qint64 place : places) {
        const auto number = static_cast<qint64>(rules.size()) + 1;
        rules.push_back(data({.cut = Cut{.how = how, .where = where, .at = place}}, number, number));
    }
    return Row(std::move(name), std::move(rules));
}

/// What connections meet whose number lies between those two, both included. The first one is the probe's.
std::function<ConnectionFate(qint64)> fate(ConnectionFate theirs, qint64 first, qint64 last) {
    return [=](qint64 number) { return number >= first && number <= last ? theirs : ConnectionFate::Serve; };
}

Handler closingWithoutAWord(const ScriptedServer&) {
    return [honest = serve(Misbehaviour::defaultFile())](ServerExchange& exchange) {
        honest(exchange);
        exchange.close();
    };
}

/// One lane gets all the cuts itself, and gives up no sooner than a lane among many.
TEST(Cuts, EndRight) {
    const std::vector<qint64> places{0, 1, 65'000, 40'000};
    const std::vector<qint64> headPlaces{0, 7, 12, 60};
    std::vector<qint64> wholeHead(128);
    std::iota(wholeHead.begin(), wholeHead.end(), 0);
    Rows rows{
        cutsInTurn("dropped_in_the_body", How::Close, Where::Body, places).takes(12s),
        cutsInTurn("dropped_in_the_body_unannounced", How::CloseWithoutNotify, Where::Body, places)
            .takes(12s),
        cutsInTurn("reset_in_the_body", How::Reset, Where::Body, places).takes(12s),
        cutsInTurn("dropped_in_the_head", How::Close, Where::Head, headPlaces).takes(12s),
        cutsInTurn("reset_in_the_head", How::Reset, Where::Head, headPlaces).takes(12s),
        // Fewer lanes would take minutes over so many cuts.
        cutsInTurn("dropped_at_every_byte_of_the_head", How::Close, Where::Head, wholeHead)
            .over({64})
            .takes(20s),
        cutsInTurn("reset_at_every_byte_of_the_head", How::Reset, Where::Head, wholeHead)
            .over({64})
            .takes(20s),
        // A connection in the clear has nothing beneath it.
        cutsInTurn("spoilt_beneath_the_body", How::Spoil, Where::Body, places).onlyOverTLS().takes(12s),
        Row("always_dropped_after_the_head", {data({.cut = Cut{.at = 0}})}).givesUp(closedEarly),
        Row("always_reset_in_the_body", {data({.cut = Cut{.how = How::Reset, .at = 20'000}})})
            .givesUp("The connection to")
            .keeps(20'000),
        Row("the_last_byte_is_withheld", {data({.cut = Cut{.where = Where::File, .at = size - 1}})})
            .givesUp(closedEarly)
            .keeps(60'000),
        Row("closes_after_each_answer_without_a_word").by(closingWithoutAWord),
    };
    // Nothing but the end tells the size of a stream, and a head without its end tells nothing.
    const Lies stream{.ignoreRange = true, .framing = Framing::Chunked};
    for (const qint64 place : wholeHead) {
        Lies cut = stream;
        cut.cut = Cut{.where = Where::Head, .at = place};
        rows.push_back(Row("stream_dropped_at_byte_" + std::to_string(place) + "_of_the_head",
                           {data(cut), every(stream)})
                           .givesUp("", 0, Left::Part)
                           .over({1}));
    }
    runMisbehaviours(rows);
}

TEST(Paces, EndRight) {
    const Cut late{.how = How::Stall, .where = Where::File, .at = size - 4000};
    runMisbehaviours({
        Row("throttled_as_a_whole", {data({.totalBytesPerSecond = 4e6})}),
        Row("one_connection_crawls", {data({.bytesPerSecond = 40'000}, 2, 2)}),
        Row("slow_heads", {every({.headBytesPerSecond = 200})}),
        Row("heads_slower_than_patience", {every({.headBytesPerSecond = 4})})
            .ends("transport -1001", Left::Nothing),
        Row("data_heads_slower_than_patience", {data({.headBytesPerSecond = 4})}).givesUp(timedOut, 0),
        Row("one_connection_stalls", {data({.cut = Cut{.how = How::Stall, .at = 40'000}}, 1, 1)}).takes(8s),
        Row("every_connection_stalls", {data({.cut = Cut{.how = How::Stall, .at = 40'000}})})
            .givesUp(timedOut, 0)
            .keeps(40'000),
        Row("stalls_at_the_end", {data({.cut = late})}).givesUp(timedOut, 0).keeps(size - 4000),
        Row("probe_never_answered", {probe({.latency = 60s})}).ends("transport -1001", Left::Nothing),
        Row("data_never_answered", {data({.latency = 60s})}).givesUp(timedOut, 0),
    });
}

TEST(Connections, EndRight) {
    const std::string insecure = "transport -1200";
    const auto meeting = [](std::string name, ConnectionFate what, qint64 first, qint64 last) {
        return Row(std::move(name)).meets(fate(what, first, last));
    };
    const auto showing = [&](std::string name, Kind kind, const std::string& reason) {
        // There are no certificates in the clear.
        return Row(std::move(name))
            .shows(kind)
            .ends(insecure + " The certificate of HOST cannot be trusted: " + reason, Left::Nothing)
            .onlyOverTLS();
    };
    runMisbehaviours({
        meeting("one_is_never_served", ConnectionFate::Silence, 2, 2).takes(12s),
        meeting("all_are_never_served", ConnectionFate::Silence, 1, 1'000)
            .ends("transport -1001", Left::Nothing),
        meeting("some_close_at_once", ConnectionFate::Close, 2, 4),
        meeting("some_reset_at_once", ConnectionFate::Reset, 2, 4),
        meeting("all_close_at_once", ConnectionFate::Close, 1, 1'000).ends("transport -1", Left::Nothing),
        meeting("all_reset_at_once", ConnectionFate::Reset, 1, 1'000).ends("transport -1", Left::Nothing),
        meeting("data_close_at_once", ConnectionFate::Close, 2, 1'000).givesUp(""),
        meeting("some_babble", ConnectionFate::Babble, 2, 4),
        meeting("all_babble", ConnectionFate::Babble, 1, 1'000)
            .ends("Server did not return an HTTP response", Left::Nothing)
            .plainOnly(),
        meeting("all_babble_under_tls", ConnectionFate::Babble, 1, 1'000)
            .ends(insecure, Left::Nothing)
            .onlyOverTLS(),
        showing("certificate_expired", Kind::Expired, "certificate has expired"),
        showing("certificate_of_another_name", Kind::OtherName, "no alternative certificate subject name"),
        showing("certificate_signed_by_itself", Kind::SelfSigned, "self"),
    });
}

} // namespace
} // namespace fetra::test
