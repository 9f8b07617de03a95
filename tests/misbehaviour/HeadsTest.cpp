// Heads that are too much or make no sense, and bodies in codings that nobody asked for.

#include "misbehaviour/Misbehaviour.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

/// In all answers, and in those to data requests.
void add(Rows& rows, const std::string& name, const Lies& lies, const std::string& probeEnd,
         const std::string& dataEnd) {
    rows.push_back(Row(name, {every(lies)}).ends(probeEnd, Left::Nothing));
    rows.push_back(Row("data_" + name, {data(lies)}).givesUp(dataEnd));
}

TEST(SenselessHeads, EndRight) {
    Rows rows;
    const auto addSenseless = [&](const std::string& name, const Lies& lies) {
        add(rows, name, lies, "Server did not return an HTTP response",
            "The server's answer is not valid HTTP");
    };
    const auto addRaw = [&](const std::string& name, const QByteArray& bytes) {
        addSenseless(name, {.raw = bytes});
    };
    addRaw("banner", "SSH-2.0-nonsense\r\n");
    addRaw("bytes", QByteArray("\xff\xfe\x00garbage", 10));
    addRaw("no_head_but_a_body", testContent(10'000, 3));
    addRaw("status_of_two_digits", "HTTP/1.1 42 What\r\nContent-Length: 0\r\n\r\n");
    addRaw("status_word", "HTTP/1.1 fine\r\nContent-Length: 0\r\n\r\n");
    // libcurl reads these to the end of a head.
    addRaw("status_behind_a_tab", "HTTP/1.1 \t503 Busy\r\n\r\n<html>Come back later.</html>");
    addRaw("switch_that_nobody_asked_for", "HTTP/1.1 101 Go\r\nUpgrade: x\r\n\r\n<html>Hello.</html>");
    addSenseless("nul", {.extraHeaders = {{"X-Nul", QByteArray("a\0b", 3)}}});
    addSenseless("version_from_the_future", {.version = "HTTP/9.9"});
    add(rows, "nothing", {.raw = ""}, "transport -1005",
        "The server closed the connection without an answer");
    rows.push_back(Row("bytes_at_first", {data({.raw = QByteArray("\xff\xfe\x00garbage", 10)}, 1, 2)}));
    runMisbehaviours(rows);
}

TEST(LargeHeads, EndRight) {
    Rows rows;
    const auto addLarge = [&](const std::string& name, const Lies& lies) {
        add(rows, name, lies, "transport -1011", "The head of the server's answer is too large");
    };
    addLarge("lines_300", {.extraHeaders = HeaderList(300, {"X-Padding", "a few bytes"})});
    addLarge("kilobytes_80", {.extraHeaders = HeaderList(20, {"X-Padding", QByteArray(4000, 'p')})});
    addLarge("kilobytes_90_in_a_line", {.extraHeaders = {{"X-Padding", QByteArray(90'000, 'p')}}});
    addLarge("interim_answers_3000", {.informational = 3000});
    add(rows, "kilobytes_200_in_a_line", {.extraHeaders = {{"X-Padding", QByteArray(200'000, 'p')}}},
        "transport -1011", "");
    rows.push_back(Row("interim_answers_20", {every({.informational = 20})}));
    runMisbehaviours(rows);
}

TEST(OddHeads, EndRight) {
    const auto odd = [](std::string name, const QByteArray& header, const QByteArray& value) {
        return Row(std::move(name), {every({.extraHeaders = {{header, value}}})});
    };
    runMisbehaviours({
        Row("bare_line_feeds", {every({.lineEnd = "\n"})}),
        Row("version_before", {every({.version = "HTTP/1.0"})}),
        Row("version_before_and_an_end", {every({.version = "HTTP/1.0", .connectionClose = true})}),
        odd("folded_line", "X-Folded", "a\r\n  b"),
        odd("bytes_in_a_value", "X-Bytes", "\xff\xfe\x80"),
        odd("blank_in_a_name", "X Blank", "a"),
        odd("no_name", "", "a"),
        odd("empty_value", "X-Empty", ""),
        odd("cookies", "Set-Cookie", QByteArray(8000, 'c')),
        odd("refresh", "Refresh", "0; url=file:///etc/passwd"),
        odd("upgrade", "Upgrade", "h2c"),
        odd("another_service", "Alt-Svc", "h3=\":1\"; ma=86400"),
    });
}

TEST(Codings, EndRight) {
    Rows rows;
    const auto addCoding = [&](const std::string& name, const Lies& lies, const std::string& words) {
        add(rows, name, lies, "transport -1011", "The server sent the file in the " + words);
    };
    for (const char* coding : {"gzip", "x-gzip", "deflate", "br", "unknown"})
        addCoding(std::string("coding_").append(coding[1] == '-' ? "x_gzip" : coding),
                  {.contentEncoding = coding}, "coding \"" + std::string(coding) + '"');
    addCoding("coding_twice", {.contentEncoding = "gzip, gzip"}, "coding \"gzip\"");
    addCoding("coding_after_identity", {.contentEncoding = "identity, gzip"}, "coding \"gzip\"");
    addCoding("transfer_gzip", {.framing = Framing::GzipChunked}, "transfer coding \"gzip\"");
    // Lines that hide the coding, or that libcurl does not read as such.
    const auto addHidden = [&](const std::string& name, const HeaderList& headers, const std::string& words) {
        add(rows, name, {.extraHeaders = headers}, "transport -1011", words);
    };
    const std::string coded = "The server sent the file in the coding \"gzip\"";
    const std::string unclear = "The server's answer does not say clearly how it is to be read";
    addHidden("coding_on_a_line_of_its_own", {{"Content-Encoding", "\r\n gzip"}}, unclear);
    addHidden("coding_behind_a_blank", {{"Content-Encoding ", "gzip"}}, unclear);
    addHidden("chunks_on_a_line_of_their_own", {{"Transfer-Encoding", "\r\n chunked"}}, unclear);
    addHidden("coding_after_a_line_of_blanks", {{"X-A", "a\r\n \r\nContent-Encoding: gzip"}}, coded);
    addHidden("coding_before_another_status", {{"Content-Encoding", "gzip"}, {"HTTP/1.1 200", ""}}, coded);
    rows.push_back(Row("coding_named_identity", {every({.contentEncoding = "identity"})}));
    rows.push_back(Row("coding_without_a_name", {every({.contentEncoding = ""})}));
    runMisbehaviours(rows);
}

} // namespace
} // namespace fetra::test
