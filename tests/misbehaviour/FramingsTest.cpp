// Servers that are wrong about the length and the end of what they send.

#include "misbehaviour/Misbehaviour.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

constexpr qint64 size = Misbehaviour::defaultSize;
const QByteArray wholeSize = QByteArray::number(size);
const std::string closedEarly = "The server closed the connection early";
const std::string fellShort = "connection closed early";

/// Answers with the whole file as those lies have it.
Misbehaviour whole(std::string name, Lies lies) {
    lies.ignoreRange = true;
    return Row(std::move(name), {every(std::move(lies))});
}

Misbehaviour declaring(std::string name, const std::vector<QByteArray>& lengths) {
    return Row(std::move(name), {data({.contentLengths = lengths})});
}

/// Chunked ranges whose chunks begin with that line.
Misbehaviour chunks(std::string name, const QByteArray& line) {
    return Row(std::move(name), {data({.framing = Framing::Chunked, .chunkSize = line})});
}

TEST(Chunked, EndRight) {
    const Lies cut{.framing = Framing::Chunked, .cut = Cut{.at = 20'000}};
    runMisbehaviours({
        Row("ranges", {every({.framing = Framing::Chunked})}),
        whole("whole", {.framing = Framing::Chunked}),
        whole("and_a_length", {.framing = Framing::ChunkedAndLength}),
        Row("ranges_and_a_length", {every({.framing = Framing::ChunkedAndLength})}),
        Row("ranges_with_trailers", {data({.framing = Framing::Chunked,
                                           .trailers = "X-Late: 1\r\nContent-Range: bytes 7-9/10\r\n"})}),
        whole("whole_with_trailers", {.framing = Framing::Chunked, .trailers = "Content-Length: 7\r\n"}),
        whole("whole_with_trailers_beyond_sense",
              {.framing = Framing::Chunked, .trailers = QByteArray("X-T: a\r\n").repeated(20'000)})
            .givesUp("The head of the server's answer is too large", 1, Left::Part),
        chunks("with_an_extension", "SIZE;name=\"value\""),
        chunks("size_with_zeros", "000SIZE"),
        chunks("size_beyond_numbers", "FFFFFFFFFFFFFFFFF").givesUp(""),
        chunks("size_negative", "-SIZE").givesUp(""),
        chunks("size_no_number", "size").givesUp(""),
        chunks("size_below_the_truth", "1").givesUp("").keeps(1),
        whole("without_end", {.framing = Framing::ChunkedWithoutEnd}).givesUp(closedEarly, 1, Left::Part),
        // All that was asked for is there, whatever does not come after it.
        Row("ranges_without_end", {data({.framing = Framing::ChunkedWithoutEnd})}),
        Row("ranges_cut_short", {data(cut)}).givesUp(closedEarly).keeps(20'000),
        whole("silence_at_the_end", {.framing = Framing::ChunkedWithoutEndStall})
            .givesUp("The request timed out", 0, Left::Part),
    });
}

TEST(Lengths, EndRight) {
    Lies cutInTheClear{.framing = Framing::UntilClose, .cut = Cut{.at = 20'000}};
    Lies cutUnderTLS = cutInTheClear;
    cutUnderTLS.cut->how = How::CloseWithoutNotify;
    Lies cutAndNamedIdentity = cutUnderTLS;
    cutAndNamedIdentity.extraHeaders = {{"Transfer-Encoding", "identity"}};
    runMisbehaviours({
        whole("none", {.framing = Framing::UntilClose}),
        whole("none_but_reset",
              {.framing = Framing::UntilClose, .cut = Cut{.how = How::Reset, .at = 700'000}})
            .givesUp("", 1, Left::Part),
        // In the clear the end of the connection is the end of the file, and nothing tells.
        whole("none_and_not_announced", cutUnderTLS)
            .givesUp("The connection to", 1, Left::Part)
            .onlyOverTLS(),
        whole("none_and_not_announced_but_a_coding", cutAndNamedIdentity)
            .givesUp("The connection to", 1, Left::Part)
            .onlyOverTLS(),
        // libcurl leaves it out of account beside any transfer coding.
        whole("above_the_truth_beside_a_coding", {.declaredExtra = 10,
                                                  .extraHeaders = {{"Transfer-Encoding", "identity"}},
                                                  .connectionClose = true})
            .givesUp(fellShort, 1, Left::Part),
        Row("none_for_data", {data({.framing = Framing::UntilClose})}),
        Row("none_for_data_cut_short", {data(cutInTheClear)}).givesUp(fellShort).keeps(20'000),
        whole("above_the_truth", {.declaredExtra = 10, .connectionClose = true})
            .givesUp(closedEarly, 1, Left::Part),
        Row("above_the_truth_for_data", {data({.declaredExtra = 10, .connectionClose = true})}),
        Row("below_the_truth_for_data", {data({.declaredExtra = -10}, 1, 3)}),
        Row("of_nothing_for_data", {data({.contentLengths = {{"0"}}})}).givesUp(fellShort),
        whole("twice_the_same", {.contentLengths = {{wholeSize, wholeSize}}}),
        whole("twice_in_one_line", {.contentLengths = {{wholeSize + ", " + wholeSize}}}),
        declaring("two", {"1", "2"}).givesUp("The server declared two different lengths"),
        declaring("negative", {"-5"}).givesUp("The server's answer is not valid HTTP"),
        declaring("beyond_numbers", {"9223372036854775808"})
            .givesUp("The server declared a length that is no number"),
        declaring("beyond_all", {"99999999999999999999999"}).givesUp(""),
        declaring("word", {"all"}).givesUp(""),
        declaring("hexadecimal", {"0x10000"}).givesUp(""),
        declaring("with_a_sign", {"+5"}).givesUp(""),
        declaring("empty", {""}).givesUp("The server's answer is not valid HTTP"),
        Row("another_than_before",
            {probe({.ignoreRange = true, .contentLengths = {{"4194000"}}}), data({.ignoreRange = true})})
            .ends("Size mismatch: expected 4194000 bytes, got 4194304", Left::Part),
    });
}

TEST(Streams, EndRight) {
    const auto streamOf = [](qint64 bytes) {
        return Lies{.file = ServerFile::ofSize(bytes), .ignoreRange = true, .framing = Framing::Chunked};
    };
    const ServerFile empty = ServerFile::ofSize(0);
    const ServerFile shorter = ServerFile::ofSize(300'000, 5);
    const auto page = [](qint64 bytes) {
        return Lies{.answer = FixedAnswer{.status = 200, .body = QByteArray(bytes, '<')},
                    .framing = Framing::Chunked};
    };
    const LieRule firstIsCut = data({.cut = Cut{.at = 30'000}}, 1, 1);
    Lies slowPage = page(size + 1000);
    slowPage.latency = 700ms;
    Rows rows{
        Row("dropped_once",
            {data({.ignoreRange = true, .cut = Cut{.at = 700'000}}, 1, 1), every({.ignoreRange = true})}),
        Row("page_at_first", {data(page(1000), 1, 1)}),
        Row("page_half_way", {firstIsCut, data(slowPage, 2)})
            .ends("Server ignored range requests")
            .keeps(30'000),
        Row("shorter_than_an_attempt_before",
            {data({.ignoreRange = true, .framing = Framing::Chunked, .cut = Cut{.at = 800'000}}, 1, 1),
             data({.file = shorter, .ignoreRange = true, .framing = Framing::Chunked}, 2),
             probe({.ignoreRange = true, .framing = Framing::Chunked})})
            .gives(shorter.content),
        Row("of_nothing").of(empty),
        whole("of_nothing_without_ranges", {}).of(empty),
        whole("of_nothing_chunked", {.framing = Framing::Chunked}).of(empty),
        whole("of_nothing_without_length", {.framing = Framing::UntilClose}).of(empty),
    };
    // One lane takes what has no length for its range at first, and so has a record, which must not vouch for
    // it; several know at once that ranges are ignored.
    for (const auto& [lanes, left] : {std::pair{std::vector<qint64>{1}, Left::Record},
                                      std::pair{std::vector<qint64>{8, 64}, Left::Part}}) {
        const std::string over = left == Left::Record ? "_over_one_lane" : "";
        rows.push_back(Row("longer_than_promised" + over, {data(streamOf(size + 100'000))})
                           .over(lanes)
                           .ends("Size mismatch: expected 4194304 bytes", left));
        rows.push_back(Row("shorter_than_promised" + over, {data(streamOf(size - 100'000))})
                           .over(lanes)
                           .givesUp(fellShort, 1, left));
    }
    runMisbehaviours(rows);
}

} // namespace
} // namespace fetra::test
