// Answers that say that there is no file, for now or for good.

#include "misbehaviour/Misbehaviour.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

TEST(Statuses, EndRight) {
    Rows rows;
    for (const int status : {300, 302, 304, 401, 403, 404, 407, 408, 410, 412, 416,
                             421, 425, 429, 451, 500, 502, 503, 504, 507, 999}) {
        const std::string number = std::to_string(status);
        const Lies lies{.answer = statusAnswer(status)};
        rows.push_back(
            Row("always_" + number, {every(lies)}).ends("Server returned HTTP " + number, Left::Nothing));
        rows.push_back(Row("data_" + number, {data(lies)}).givesUp("HTTP " + number));
    }
    for (const int status : {201, 204, 205}) {
        const std::string number = std::to_string(status);
        rows.push_back(Row("data_" + number, {data({.answer = FixedAnswer{.status = status}})})
                           .givesUp("HTTP " + number));
    }
    for (const int status : {403, 408, 425, 500})
        rows.push_back(
            Row("at_first_" + std::to_string(status), {data({.answer = statusAnswer(status)}, 1, 2)}));
    // Without a promise of a size an empty success is an empty file, with one it is too little.
    rows.push_back(Row("always_204", {every({.answer = FixedAnswer{.status = 204}})}).gives(""));
    rows.push_back(
        Row("stream_of_204", {probe({.ignoreRange = true}), data({.answer = FixedAnswer{.status = 204}})})
            .givesUp("connection closed early", 1, Left::Part));
    const FixedAnswer elsewhere{.status = 300, .headers = {{"Location", "/real/f.bin"}}};
    rows.push_back(Row("always_300_with_a_place", {every({.answer = elsewhere})})
                       .ends("Server returned HTTP 300", Left::Nothing));
    const FixedAnswer coded{.status = 404, .headers = {{"Content-Encoding", "gzip"}}, .body = "x"};
    rows.push_back(Row("always_404_in_a_coding", {every({.answer = coded})})
                       .ends("Server returned HTTP 404", Left::Nothing));
    runMisbehaviours(rows);
}

/// The first two data requests are told to come back at that time.
Misbehaviour told(const std::string& name, const QByteArray& time, int status = 503) {
    return Row("told_" + name, {data({.answer = statusAnswer(status, time)}, 1, 2)});
}

/// A server of its own for each download, so slow that connections overlap.
Misbehaviour above(int slots, const std::string& name, const FixedAnswer& refusal) {
    return Row("above_" + name)
        .by([=](const ScriptedServer&) {
            return serve(Misbehaviour::defaultFile(),
                         {.limit = std::make_shared<SlotLimit>(slots, refusal), .bytesPerSecond = 3e6},
                         {.what = When::What::Data});
        })
        .takes(20s);
}

TEST(Overload, EndRight) {
    runMisbehaviours({
        told("nothing", ""),
        told("nothing_429", "", 429),
        told("one_second", "1"),
        told("one_second_429", "1", 429),
        told("a_date", "Wed, 21 Oct 2065 07:28:00 GMT"),
        told("a_date_gone_by", "Wed, 21 Oct 2015 07:28:00 GMT", 429),
        told("a_fraction", " 0.5 "),
        told("a_negative_time", "-120"),
        told("no_number", "soon"),
        told("not_a_number", "nan"),
        // So long that nobody wants to see it end; that the last attempt fails at once is what can be seen.
        Row("told_an_age", {data({.answer = statusAnswer(503, "99999999999999999999")})})
            .givesUp("HTTP 503", 0),
        Row("for_good", {data({.answer = statusAnswer(503, "0")})}).givesUp("HTTP 503", 2),
        Row("half_way", {data({.cut = Cut{.at = 30'000}}, 1, 1),
                         data({.latency = 700ms, .answer = statusAnswer(429)}, 2)})
            .givesUp("HTTP 429")
            .keeps(30'000),
        above(3, "three_503", statusAnswer(503)),
        above(2, "two_429_and_a_second", statusAnswer(429, "1")),
        above(4, "four_reset", {.status = 0}),
        above(1, "one_503", statusAnswer(503)),
    });
}

} // namespace
} // namespace fetra::test
