// Servers that are wrong about ranges.

#include "misbehaviour/Misbehaviour.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

constexpr qint64 size = Misbehaviour::defaultSize;
const std::string wholeSize = std::to_string(size);
/// Ends the first answer in the middle, so that there is something to lose.
const LieRule firstIsCut = data({.cut = Cut{.at = 30'000}}, 1, 1);

/// All answers to data requests are refused, so that nothing is written.
Misbehaviour refused(std::string name, Lies lies, const std::string& status = "206") {
    return Row(std::move(name), {data(std::move(lies))}).givesUp("HTTP " + status);
}

Misbehaviour refusedLabel(const std::string& name, const QByteArray& label) {
    return refused("label_" + name, {.contentRange = label});
}

Lies severalParts() {
    return {.answer = FixedAnswer{.status = 206,
                                  .headers = {{"Content-Type", "multipart/byteranges; boundary=b"}},
                                  .body = "--b\r\nContent-Range: bytes 0-0/4194304\r\n\r\nx\r\n--b--\r\n"}};
}

/// The label is right, and the body would be parts with heads of their own.
Lies labelledParts() {
    ServerFile parts = Misbehaviour::defaultFile();
    parts.contentType = "multipart/byteranges; boundary=b";
    return {.file = parts};
}

Lies beyondTheEnd(const QByteArray& label) {
    return {.answer = FixedAnswer{.status = 416, .headers = {{"Content-Range", label}}}};
}

TEST(Ranges, EndRight) {
    runMisbehaviours({
        Row("honest"),
        Row("none", {every({.ignoreRange = true})}),
        Row("for_the_probe_only", {data({.ignoreRange = true})}),
        Row("for_some_time", {firstIsCut, data({.ignoreRange = true}, 2)}),
        Row("one_byte_as_the_whole_file", {probe({.partialStatus = 200})})
            .ends("Size mismatch: expected 1 bytes, got " + wholeSize, Left::Part),
        refused("data_as_203", {.partialStatus = 203}, "203"),
        Row("data_as_200", {data({.partialStatus = 200})}),
        Row("probe_of_several_parts", {probe(severalParts())}),
        refused("data_of_several_parts", severalParts()),
        refused("data_of_several_parts_with_a_label", labelledParts()),
        Row("probe_beyond_the_end_of_a_known_size", {probe(beyondTheEnd("bytes */4194304"))}),
        Row("probe_beyond_the_end_of_a_senseless_size", {probe(beyondTheEnd("bytes */-3"))})
            .ends("Server returned HTTP 416", Left::Nothing),
        refused("data_beyond_the_end", beyondTheEnd("bytes */4194304"), "416"),
        Row("login_page_for_data", {data({.answer = loginPage()})})
            .ends("Size mismatch: expected " + wholeSize, Left::Part),
        Row("login_page_half_way", {firstIsCut, data({.latency = 2s, .answer = loginPage()}, 2)})
            .ends("Server ignored range requests")
            .keeps(30'000),
    });
}

TEST(RangePlaces, EndRight) {
    runMisbehaviours({
        refused("later_than_asked", {.rangeShift = 1000}),
        // Nothing comes before the beginning of the file, where a single lane starts.
        refused("overlapping_the_lane_before", {.rangeShift = -1000}).over({8, 64}),
        Row("too_much", {data({.rangeExtra = 5000})}),
        Row("too_little_at_first", {data({.rangeExtra = -5000}, 1, 3)}),
        Row("too_little_always", {data({.rangeExtra = -(1 << 30)})})
            .givesUp("connection closed early")
            .keeps(1),
        Row("junk_after_the_body", {data({.surplus = 3000}, 1, 8)}),
    });
}

TEST(RangeLabels, EndRight) {
    runMisbehaviours({
        Row("none", {every({.omitContentRange = true})}),
        refused("none_for_data", {.omitContentRange = true}),
        Row("without_a_total", {every({.contentRange = "bytes FIRST-LAST/*"})}),
        Row("without_a_total_for_data", {data({.contentRange = "bytes FIRST-LAST/*"})}),
        Row("with_a_total_of_nothing_for_the_probe", {probe({.contentRange = "bytes 0-0/0"})}),
        Row("with_a_negative_total", {every({.contentRange = "bytes FIRST-LAST/-5"})}),
        Row("with_a_total_beyond_numbers", {every({.contentRange = "bytes FIRST-LAST/9223372036854775808"})}),
        Row("with_a_total_beyond_disks", {every({.contentRange = "bytes FIRST-LAST/9223372036854775807"})})
            .ends("Disk error: No space left on device", Left::Nothing),
        Row("ending_before_it_begins", {data({.contentRange = "bytes FIRST-0/TOTAL"})}),
        Row("in_capitals", {every({.contentRange = "BYTES FIRST-LAST/TOTAL"})}),
        Row("twice", {data({.extraHeaders = {{"Content-Range", "bytes 5-9/10"}}})}),
        refusedLabel("empty", ""),
        refusedLabel("with_a_larger_total", "bytes FIRST-LAST/12345678"),
        refusedLabel("with_a_smaller_total", "bytes FIRST-LAST/4194303"),
        refusedLabel("with_a_negative_total_for_data", "bytes FIRST-LAST/-1"),
        refusedLabel("of_another_unit", "items FIRST-LAST/TOTAL"),
        refusedLabel("without_a_place", "bytes */TOTAL"),
        refusedLabel("without_a_unit", "FIRST-LAST/TOTAL"),
        refusedLabel("like_the_question", "bytes=FIRST-LAST/TOTAL"),
        refusedLabel("with_a_negative_start", "bytes -1-LAST/TOTAL"),
        refusedLabel("with_a_start_beyond_numbers", "bytes 18446744073709551616-LAST/TOTAL"),
    });
}

} // namespace
} // namespace fetra::test
