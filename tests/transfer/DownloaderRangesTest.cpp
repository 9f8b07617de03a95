// Servers that are wrong about ranges, lengths and versions of the file.

#include "Misbehaviour.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using What = When::What;
using Left = Misbehaviour::Left;

LieRule always(What what, Lies lies) {
    return {.when = {.what = what}, .lies = std::move(lies)};
}

LieRule fromNumber(qint64 number, Lies lies) {
    return {.when = {.what = What::Data, .first = number}, .lies = std::move(lies)};
}

LieRule upToNumber(qint64 number, Lies lies) {
    return {.when = {.what = What::Data, .last = number}, .lies = std::move(lies)};
}

/// All answers to data requests are refused, so that nothing is written.
Misbehaviour refused(std::string name, Lies lies) {
    return {.name = std::move(name),
            .lies = {always(What::Data, std::move(lies))},
            .end = "exhaustedRetries HTTP 206",
            .maxRetries = 1};
}

std::vector<Misbehaviour> ranges() {
    const QByteArray total = QByteArray::number(Misbehaviour::defaultSize);
    return {
        {.name = "no_ranges",
         .lies = {always(What::Every, {.ignoreRange = true})},
         .lanes = {1, 8, 64},
         .alsoOverTLS = true},
        {.name = "ranges_for_the_probe_only",
         .lies = {always(What::Data, {.ignoreRange = true})},
         .lanes = {1, 8, 64},
         .alsoOverTLS = true},
        {.name = "ranges_for_some_time", .lies = {fromNumber(4, {.ignoreRange = true})}, .lanes = {8}},
        {.name = "no_ranges_under_conditions",
         .lies = {always(What::Every, {.ignoreRangeWithIfRange = true})}},
        {.name = "ranges_without_a_total", .lies = {always(What::Every, {.contentRangeTotal = "*"})}},
        {.name = "data_without_a_total", .lies = {always(What::Data, {.contentRangeTotal = "*"})}},
        {.name = "ranges_without_labels", .lies = {always(What::Every, {.omitContentRange = true})}},
        {.name = "ranges_in_parts", .lies = {always(What::Every, {.multipart = true})}},
        refused("data_without_labels", {.omitContentRange = true}),
        refused("data_in_parts", {.multipart = true}),
        refused("data_shifted", {.rangeShift = 1000}),
        refused("data_shifted_back", {.rangeShift = -1}),
        {.name = "data_labelled_as_the_beginning",
         .lies = {always(What::Data, {.contentRange = "bytes 0-99/" + total})},
         .end = "exhaustedRetries HTTP 206",
         .lanes = {8},
         .maxRetries = 1},
        refused("data_labelled_with_nonsense", {.contentRange = "bytes"}),
        refused("data_of_a_larger_file", {.contentRangeTotal = "12345678"}),
        refused("data_of_a_smaller_file", {.contentRangeTotal = "12345"}),
        refused("data_in_another_unit", {.contentRangeUnit = "pages"}),
        {.name = "data_as_203",
         .lies = {always(What::Data, {.partialStatus = 203})},
         .end = "exhaustedRetries HTTP 203",
         .maxRetries = 1},
        {.name = "data_as_200", .lies = {always(What::RangedData, {.partialStatus = 200})}, .lanes = {1, 8}},
        {.name = "one_byte_as_the_whole_file",
         .lies = {always(What::Probe, {.partialStatus = 200})},
         .end = "sizeMismatch 1 2097152",
         .left = Left::Part},
        {.name = "probe_answered_with_416_and_the_size",
         .lies = {always(
             What::Probe,
             {.answer = FixedAnswer{.status = 416, .headers = {{"Content-Range", "bytes */" + total}}}})}},
        {.name = "too_much", .lies = {always(What::Data, {.rangeExtra = 5000})}, .lanes = {1, 8, 64}},
        {.name = "too_little_at_first", .lies = {upToNumber(3, {.rangeExtra = -5000})}},
        {.name = "too_little_always",
         .lies = {always(What::Data, {.rangeExtra = -(1 << 30)})},
         .end = "exhaustedRetries connection closed early",
         .maxRetries = 1},
        {.name = "junk_after_the_body", .lies = {upToNumber(8, {.surplus = 3000})}, .alsoOverTLS = true},
        {.name = "login_page_for_data",
         .lies = {always(What::Data, {.answer = loginPage()})},
         .end = "sizeMismatch 2097152",
         .left = Left::Part,
         .lanes = {8}},
    };
}

std::vector<Misbehaviour> framings() {
    const QByteArray size = QByteArray::number(Misbehaviour::defaultSize);
    const auto whole = [](Lies lies) {
        lies.ignoreRange = true;
        return std::vector<LieRule>{always(What::Every, std::move(lies))};
    };
    const std::string early = "exhaustedRetries The server closed the connection early";
    return {
        {.name = "chunked_ranges", .lies = {always(What::Every, {.framing = Framing::Chunked})}},
        {.name = "chunked_whole",
         .lies = whole({.framing = Framing::Chunked}),
         .lanes = {8},
         .alsoOverTLS = true},
        {.name = "chunked_with_a_length", .lies = whole({.framing = Framing::ChunkedAndLength})},
        {.name = "chunked_ranges_with_a_length",
         .lies = {always(What::Every, {.framing = Framing::ChunkedAndLength})}},
        {.name = "chunked_without_end",
         .lies = whole({.framing = Framing::ChunkedWithoutEnd}),
         .end = "exhaustedRetries",
         .left = Left::Part,
         .lanes = {8},
         .maxRetries = 1,
         .alsoOverTLS = true},
        {.name = "chunked_silence_at_the_end",
         .lies = whole({.framing = Framing::ChunkedWithoutEndStall}),
         .end = "exhaustedRetries The request timed out",
         .left = Left::Part,
         .lanes = {8},
         .maxRetries = 0},
        {.name = "chunk_of_impossible_size",
         .lies = whole({.framing = Framing::ChunkSizeOverflow}),
         .end = "exhaustedRetries",
         .left = Left::Part,
         .lanes = {8},
         .maxRetries = 1},
        {.name = "no_length", .lies = whole({.framing = Framing::UntilClose}), .alsoOverTLS = true},
        {.name = "no_length_but_reset",
         .lies = whole({.framing = Framing::UntilClose, .cut = Cut{.how = Cut::How::Reset, .at = 700'000}}),
         .end = "exhaustedRetries",
         .left = Left::Part,
         .lanes = {8},
         .maxRetries = 1},
        {.name = "one_stream_dropped_once",
         .lies = {{.when = {.what = What::Data, .last = 1},
                   .lies = {.ignoreRange = true, .cut = Cut{.at = 700'000}}},
                  always(What::Every, {.ignoreRange = true})},
         .alsoOverTLS = true},
        {.name = "length_above_the_truth",
         .lies = whole({.declaredExtra = 10, .connectionClose = true}),
         .end = early,
         .left = Left::Part,
         .maxRetries = 1},
        {.name = "length_of_data_above_the_truth",
         .lies = {always(What::Data, {.declaredExtra = 10, .connectionClose = true})}},
        {.name = "length_of_data_below_the_truth", .lies = {upToNumber(3, {.declaredExtra = -10})}},
        {.name = "one_stream_longer_than_promised",
         .lies = {always(What::Data, {.file = ServerFile::ofSize(Misbehaviour::defaultSize + 100'000),
                                      .ignoreRange = true,
                                      .framing = Framing::Chunked})},
         .end = "sizeMismatch 2097152",
         .left = Left::Part,
         .lanes = {8}},
        {.name = "one_stream_shorter_than_promised",
         .lies = {always(What::Data, {.file = ServerFile::ofSize(Misbehaviour::defaultSize - 100'000),
                                      .ignoreRange = true,
                                      .framing = Framing::Chunked})},
         .end = "exhaustedRetries connection closed early",
         .left = Left::Part,
         .lanes = {8},
         .maxRetries = 1},
        {.name = "the_same_length_twice", .lies = whole({.contentLengths = {{size, size}}})},
        {.name = "another_length_than_before",
         .lies = {always(What::Probe, {.ignoreRange = true, .contentLengths = {{"2097000"}}}),
                  always(What::Data, {.ignoreRange = true})},
         .end = "sizeMismatch 2097000 2097152",
         .left = Left::Part},
    };
}

std::vector<Misbehaviour> versions() {
    const ServerFile first = Misbehaviour::defaultFile();
    ServerFile second = ServerFile::ofSize(Misbehaviour::defaultSize, 2).withETag("\"v2\"");
    second.lastModified = "Wed, 06 Mar 2024 10:00:00 GMT";
    ServerFile grown = ServerFile::ofSize(Misbehaviour::defaultSize + 1000);
    ServerFile dated = first.withETag({});
    ServerFile datedSecond = second.withETag({});
    ServerFile tagged = first;
    tagged.lastModified.clear();
    // The first version has sent some bytes when the second one answers.
    const Lies later{.latency = 700ms, .file = second};
    return {
        {.name = "changed_after_the_probe",
         .lies = {always(What::Data, {.file = second})},
         .alsoOverTLS = true,
         .finished = second.content},
        {.name = "changed_after_the_probe_date_only",
         .lies = {always(What::Data, {.file = datedSecond})},
         .file = dated,
         .finished = second.content},
        {.name = "changed_half_way",
         .lies = {upToNumber(1, {.cut = Cut{.at = 100'000}}), fromNumber(2, later)},
         .end = "exhaustedRetries HTTP 206",
         .maxRetries = 1,
         .alsoOverTLS = true},
        {.name = "changed_half_way_date_only",
         .lies = {upToNumber(1, {.cut = Cut{.at = 100'000}}),
                  fromNumber(2, {.latency = 700ms, .file = datedSecond})},
         .end = "exhaustedRetries HTTP 206",
         .maxRetries = 1,
         .file = dated},
        {.name = "grown_half_way",
         .lies = {upToNumber(1, {.cut = Cut{.at = 100'000}}), fromNumber(2, {.file = grown})},
         .end = "exhaustedRetries HTTP 206",
         .maxRetries = 1},
        {.name = "another_tag_for_each_answer",
         .lies = {always(What::Every, {.freshETag = true})},
         .lanes = {1, 8, 64}},
        {.name = "another_tag_for_each_answer_and_no_date",
         .lies = {always(What::Every, {.freshETag = true})},
         .lanes = {1, 8, 64},
         .file = tagged},
        {.name = "weak_tags", .file = first.withETag("W/\"v1\"")},
        {.name = "no_tag_on_data", .lies = {always(What::Data, {.file = first.withETag({})})}},
        {.name = "no_date_on_data", .lies = {always(What::Data, {.file = tagged})}},
        {.name = "tag_of_another_machine", .lies = {fromNumber(3, {.file = first.withETag("\"m2\"")})}},
    };
}

FETRA_MISBEHAVIOUR_TESTS(DownloaderRanges, ranges);
FETRA_MISBEHAVIOUR_TESTS(DownloaderFramings, framings);
FETRA_MISBEHAVIOUR_TESTS(DownloaderVersions, versions);

} // namespace
} // namespace fetra::test
