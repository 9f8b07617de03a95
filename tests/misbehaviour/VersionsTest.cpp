// Files that change on the server while they are fetched, and names of versions that mean nothing.

#include "misbehaviour/Misbehaviour.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

TEST(Versions, EndRight) {
    constexpr qint64 size = Misbehaviour::defaultSize;
    const ServerFile first = Misbehaviour::defaultFile();
    ServerFile second = ServerFile::ofSize(size, 2).withETag("\"v2\"");
    second.lastModified = "Wed, 06 Mar 2024 10:00:00 GMT";
    const ServerFile dated = first.withETag({});
    const ServerFile datedSecond = second.withETag({});
    const ServerFile tagged = first.withoutDate();
    // The first version has sent some bytes when the second one answers.
    const LieRule some = data({.cut = Cut{.at = 30'000}}, 1, 1);
    const std::string refused = "HTTP 206";
    const auto changes = [&](std::string name, const ServerFile& before, const ServerFile& after) {
        return Row(std::move(name), {some, data({.latency = 1500ms, .file = after}, 2)})
            .of(before)
            .givesUp(refused)
            .keeps(30'000);
    };
    runMisbehaviours({
        Row("changed_after_the_probe", {data({.file = second})}).gives(second.content),
        Row("changed_after_the_probe_date_only", {data({.file = datedSecond})})
            .of(dated)
            .gives(second.content),
        changes("changed_half_way", first, second),
        changes("changed_half_way_date_only", dated, datedSecond),
        changes("changed_half_way_weak_tag_only", tagged.withETag("W/\"v1\""),
                ServerFile{.content = second.content, .etag = "W/\"v2\"", .lastModified = {}}),
        changes("grown_half_way", first, ServerFile::ofSize(size + 1000)),
        changes("shrunk_half_way", first, ServerFile::ofSize(size - 1)),
        // One lane, since otherwise chance decides which version is heard of first.
        Row("changed_under_a_name_that_the_probe_did_not_give",
            {data({.file = tagged, .cut = Cut{.at = 30'000}}, 1, 1),
             data({.file = second.withoutDate()}, 2, 2), data({.file = tagged})})
            .of(dated)
            .over({1}),
        Row("another_tag_for_each_answer", {every({.freshETag = true})}),
        Row("another_tag_for_each_answer_and_no_date", {every({.freshETag = true})}).of(tagged),
        Row("weak_tags").of(first.withETag("W/\"v1\"")),
        Row("no_tag_and_no_date").of(first.withoutValidators()),
        Row("no_tag_on_data", {data({.file = first.withETag({})})}),
        Row("no_date_on_data", {data({.file = tagged})}),
        Row("tag_of_another_machine", {data({.file = first.withETag("\"m2\"")}, 3)}),
    });
}

} // namespace
} // namespace fetra::test
