// Servers that are wrong about ranges, lengths and versions of the file.

#include "Misbehaviour.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using Left = Misbehaviour::Left;
using Rows = std::vector<Misbehaviour>;

constexpr qint64 size = Misbehaviour::defaultSize;

/// All answers to data requests are refused, so that nothing is written.
Misbehaviour refused(std::string name, Lies lies, const std::string& status = "206") {
    return Misbehaviour(std::move(name), {data(std::move(lies))}).ends("exhaustedRetries HTTP " + status, 1);
}

/// Answers with the whole file as those lies have it.
Misbehaviour whole(std::string name, Lies lies) {
    lies.ignoreRange = true;
    return Misbehaviour(std::move(name), {every(std::move(lies))});
}

Lies streamOf(qint64 bytes) {
    return {.file = ServerFile::ofSize(bytes), .ignoreRange = true, .framing = Framing::Chunked};
}

Rows ranges() {
    using Row = Misbehaviour;
    const Lies known{
        .answer = FixedAnswer{.status = 416, .headers = {{"Content-Range", "bytes */2097152"}}, .body = {}}};
    return {
        Row("no_ranges", {every({.ignoreRange = true})}).over({1, 8, 64}).alsoTLS(),
        Row("ranges_for_the_probe_only", {data({.ignoreRange = true})}).over({1, 8, 64}).alsoTLS(),
        Row("ranges_for_some_time", {data({.ignoreRange = true}, 4)}).over({8}),
        Row("no_ranges_under_conditions", {every({.ignoreRangeWithIfRange = true})}),
        Row("ranges_without_a_total", {every({.contentRangeTotal = "*"})}),
        Row("data_without_a_total", {data({.contentRangeTotal = "*"})}),
        Row("ranges_without_labels", {every({.omitContentRange = true})}),
        refused("data_shifted", {.rangeShift = 1000}),
        refused("data_of_a_larger_file", {.contentRangeTotal = "12345678"}),
        refused("data_as_203", {.partialStatus = 203}, "203"),
        Row("data_as_200", {data({.partialStatus = 200})}),
        Row("one_byte_as_the_whole_file", {probe({.partialStatus = 200})})
            .ends("sizeMismatch 1 2097152", 12, Left::Part),
        Row("probe_answered_with_416_and_the_size", {probe(known)}),
        Row("too_much", {data({.rangeExtra = 5000})}).over({1, 8, 64}),
        Row("too_little_at_first", {data({.rangeExtra = -5000}, 1, 3)}),
        Row("too_little_always", {data({.rangeExtra = -(1 << 30)})})
            .ends("exhaustedRetries connection closed early", 1),
        Row("junk_after_the_body", {data({.surplus = 3000}, 1, 8)}).alsoTLS(),
        Row("login_page_for_data", {data({.answer = loginPage()})})
            .ends("sizeMismatch 2097152", 12, Left::Part)
            .over({8}),
    };
}

Rows framings() {
    using Row = Misbehaviour;
    return {
        Row("chunked_ranges", {every({.framing = Framing::Chunked})}),
        whole("chunked_whole", {.framing = Framing::Chunked}).over({8}).alsoTLS(),
        whole("chunked_with_a_length", {.framing = Framing::ChunkedAndLength}),
        Row("chunked_ranges_with_a_length", {every({.framing = Framing::ChunkedAndLength})}),
        whole("chunked_without_end", {.framing = Framing::ChunkedWithoutEnd})
            .ends("exhaustedRetries", 1, Left::Part)
            .over({8})
            .alsoTLS(),
        whole("chunked_silence_at_the_end", {.framing = Framing::ChunkedWithoutEndStall})
            .ends("exhaustedRetries The request timed out", 0, Left::Part)
            .over({8}),
        whole("no_length", {.framing = Framing::UntilClose}).alsoTLS(),
        whole("no_length_but_reset",
              {.framing = Framing::UntilClose, .cut = Cut{.how = Cut::How::Reset, .at = 700'000}})
            .ends("exhaustedRetries", 1, Left::Part)
            .over({8})
            .alsoTLS(),
        Row("one_stream_dropped_once",
            {data({.ignoreRange = true, .cut = Cut{.at = 700'000}}, 1, 1), every({.ignoreRange = true})})
            .alsoTLS(),
        whole("length_above_the_truth", {.declaredExtra = 10, .connectionClose = true})
            .ends("exhaustedRetries The server closed the connection early", 1, Left::Part),
        Row("length_of_data_above_the_truth", {data({.declaredExtra = 10, .connectionClose = true})}),
        Row("length_of_data_below_the_truth", {data({.declaredExtra = -10}, 1, 3)}),
        Row("one_stream_longer_than_promised", {data(streamOf(size + 100'000))})
            .ends("sizeMismatch 2097152", 12, Left::Part)
            .over({8}),
        Row("one_stream_shorter_than_promised", {data(streamOf(size - 100'000))})
            .ends("exhaustedRetries connection closed early", 1, Left::Part)
            .over({8}),
        whole("the_same_length_twice", {.contentLengths = {{"2097152", "2097152"}}}),
        Row("another_length_than_before",
            {probe({.ignoreRange = true, .contentLengths = {{"2097000"}}}), data({.ignoreRange = true})})
            .ends("sizeMismatch 2097000 2097152", 12, Left::Part),
    };
}

Rows versions() {
    using Row = Misbehaviour;
    const ServerFile first = Misbehaviour::defaultFile();
    ServerFile second = ServerFile::ofSize(size, 2).withETag("\"v2\"");
    second.lastModified = "Wed, 06 Mar 2024 10:00:00 GMT";
    const ServerFile dated = first.withETag({});
    const ServerFile datedSecond = second.withETag({});
    ServerFile tagged = first;
    tagged.lastModified.clear();
    // The first version has sent some bytes when the second one answers.
    const LieRule some = data({.cut = Cut{.at = 100'000}}, 1, 1);
    const std::string other = "exhaustedRetries HTTP 206";
    return {
        Row("changed_after_the_probe", {data({.file = second})}).gives(second.content).alsoTLS(),
        Row("changed_after_the_probe_date_only", {data({.file = datedSecond})})
            .of(dated)
            .gives(second.content),
        Row("changed_half_way", {some, data({.latency = 700ms, .file = second}, 2)}).ends(other, 1).alsoTLS(),
        Row("changed_half_way_date_only", {some, data({.latency = 700ms, .file = datedSecond}, 2)})
            .ends(other, 1)
            .of(dated),
        Row("grown_half_way", {some, data({.file = ServerFile::ofSize(size + 1000)}, 2)}).ends(other, 1),
        Row("another_tag_for_each_answer", {every({.freshETag = true})}).over({1, 8, 64}),
        Row("another_tag_for_each_answer_and_no_date", {every({.freshETag = true})}).of(tagged),
        Row("weak_tags").of(first.withETag("W/\"v1\"")),
        Row("no_tag_on_data", {data({.file = first.withETag({})})}),
        Row("no_date_on_data", {data({.file = tagged})}),
        Row("tag_of_another_machine", {data({.file = first.withETag("\"m2\"")}, 3)}),
    };
}

FETRA_MISBEHAVIOUR_TESTS(DownloaderRanges, ranges);
FETRA_MISBEHAVIOUR_TESTS(DownloaderFramings, framings);
FETRA_MISBEHAVIOUR_TESTS(DownloaderVersions, versions);

} // namespace
} // namespace fetra::test
