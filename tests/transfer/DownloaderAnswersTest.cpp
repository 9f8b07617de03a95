// Answers that are no file: failures, broken heads, redirects.

#include "Misbehaviour.h"
#include "support/Routes.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using What = When::What;
using Left = Misbehaviour::Left;

LieRule always(What what, Lies lies) {
    return {.when = {.what = what}, .lies = std::move(lies)};
}

std::vector<Misbehaviour> statuses() {
    std::vector<Misbehaviour> rows;
    for (const int status : {300, 304, 400, 401, 403, 404, 407, 410, 416, 429, 500, 503}) {
        rows.push_back({.name = "always_" + std::to_string(status),
                        .lies = {always(What::Every, {.answer = statusAnswer(status)})},
                        .end = "badStatus " + std::to_string(status),
                        .left = Left::Nothing,
                        .alsoOverTLS = status == 404});
    }
    for (const int status : {204, 205, 304, 403, 404, 408, 416, 421, 425, 500, 502, 504, 507}) {
        rows.push_back({.name = "data_" + std::to_string(status),
                        .lies = {always(What::Data, {.answer = statusAnswer(status)})},
                        .end = "exhaustedRetries HTTP " + std::to_string(status),
                        .maxRetries = 1,
                        .alsoOverTLS = status == 500});
    }
    for (const int status : {403, 408, 500, 504}) {
        rows.push_back(
            {.name = "data_at_first_" + std::to_string(status),
             .lies = {{.when = {.what = What::Data, .last = 2}, .lies = {.answer = statusAnswer(status)}}}});
    }
    return rows;
}

/// A head that is too much or makes no sense, in all answers and in those to data requests.
void addHeads(std::vector<Misbehaviour>& rows, const std::string& name, const Lies& lies,
              const std::string& probeEnd, const std::string& dataEnd) {
    rows.push_back({.name = name,
                    .lies = {always(What::Every, lies)},
                    .end = probeEnd,
                    .left = Left::Nothing,
                    .lanes = {8}});
    rows.push_back({.name = "data_" + name,
                    .lies = {always(What::Data, lies)},
                    .end = "exhaustedRetries " + dataEnd,
                    .maxRetries = 1});
}

std::vector<Misbehaviour> heads() {
    std::vector<Misbehaviour> rows;
    const std::string garbage = "The server's answer is not valid HTTP";
    const std::string large = "The head of the server's answer is too large";
    const std::string encoded = "The server sent the file in the ";
    addHeads(rows, "garbage", {.raw = QByteArray("SSH-2.0-nonsense\r\n")}, "notHTTP", garbage);
    addHeads(rows, "bare_body", {.raw = QByteArray("hello, this is the file\n")}, "notHTTP", garbage);
    addHeads(rows, "nul_in_head", {.extraHeaders = {{"X-Nul", QByteArray("a\0b", 3)}}}, "notHTTP", garbage);
    addHeads(rows, "head_of_300_lines", {.extraHeaders = paddingHeaders(300, 40)}, "transport -1011", large);
    addHeads(rows, "head_of_80_kilobytes", {.extraHeaders = paddingHeaders(20, 4000)}, "transport -1011",
             large);
    addHeads(rows, "head_line_of_90_kilobytes", {.extraHeaders = paddingHeaders(1, 90'000)},
             "transport -1011", large);
    addHeads(rows, "storm_of_interim_answers", {.informational = 3000}, "transport -1011", large);
    addHeads(rows, "gzip", {.contentEncoding = "gzip"}, "transport -1011", encoded + "coding \"gzip\"");
    addHeads(rows, "unknown_coding", {.contentEncoding = "zz"}, "transport -1011", encoded + "coding \"zz\"");
    addHeads(rows, "transfer_gzip", {.framing = Framing::GzipChunked}, "transport -1011",
             encoded + "transfer coding \"gzip\"");
    addHeads(rows, "two_lengths", {.contentLengths = {{"1", "2"}}}, "transport -1011",
             "The server declared two different lengths");
    addHeads(rows, "negative_length", {.contentLengths = {{"-5"}}}, "notHTTP", garbage);
    addHeads(rows, "length_in_words", {.contentLengths = {{"many"}}}, "notHTTP", garbage);
    addHeads(rows, "length_of_2_to_the_63", {.contentLengths = {{"9223372036854775808"}}}, "transport -1011",
             "The server declared a length that is no number");
    rows.push_back({.name = "some_interim_answers",
                    .lies = {always(What::Every, {.informational = 20})},
                    .alsoOverTLS = true});
    rows.push_back(
        {.name = "coding_named_identity", .lies = {always(What::Every, {.contentEncoding = "identity"})}});
    rows.push_back({.name = "garbage_at_first",
                    .lies = {{.when = {.what = What::Data, .last = 2},
                              .lies = {.raw = QByteArray("\xff\xfe\x00garbage", 10)}}}});
    return rows;
}

/// "/f.bin" leads where the row says; "/real/f.bin" is the file.
Misbehaviour redirected(std::string name, Handler first, std::string end = "complete") {
    const auto handler = [first = std::move(first)](const ScriptedServer&) {
        return routes({{"/f.bin", first},
                       {"/real/f.bin", serve(Misbehaviour::defaultFile())},
                       {"/back", redirect("/f.bin")},
                       {"/hop*", redirectHops("/hop", "/real/f.bin")}});
    };
    return {.name = std::move(name), .end = std::move(end), .left = Left::Nothing, .handler = handler};
}

/// Addresses that are good for the probe and two data requests, and then forbidden.
Handler expiringAddresses(const ScriptedServer& server) {
    std::map<QByteArray, Handler> paths;
    std::vector<QByteArray> origins;
    for (int number = 0; number < 20; ++number) {
        const QByteArray prefix = "/signed" + QByteArray::number(number);
        origins.push_back(server.url(prefix).toEncoded());
        paths[prefix + "/f.bin"] = serve(Misbehaviour::defaultFile(), {.answer = statusAnswer(403)},
                                         {.what = What::Data, .first = 3});
    }
    paths["/f.bin"] = redirectInTurn(origins, "/f.bin");
    return routes(paths);
}

Handler toAnotherHost(const ScriptedServer& server) {
    return routes({{"/f.bin", redirect(server.url("/real/f.bin", "a.localhost"))},
                   {"/real/f.bin", serve(Misbehaviour::defaultFile())}});
}

Handler toAnotherHostEachTime(const ScriptedServer& server) {
    const std::vector<QByteArray> origins{server.url({}, "a.localhost").toEncoded(),
                                          server.url({}, "b.localhost").toEncoded()};
    return routes({{"/f.bin", redirectInTurn(origins, "/real/f.bin")},
                   {"/real/f.bin", serve(Misbehaviour::defaultFile())}});
}

std::vector<Misbehaviour> redirects() {
    return {
        redirected("redirected_301", redirect("/real/f.bin", 301)),
        redirected("redirected_307_relative", redirect("real/f.bin", 307)),
        redirected("redirected_with_fragment", redirect("/real/f.bin#top", 308)),
        redirected("redirected_to_a_long_address", redirect("/real/f.bin?token=" + QByteArray(8000, 'x'))),
        redirected("nineteen_hops", redirect("/hop17")),
        redirected("fifty_hops", redirect("/hop49"), "transport -1007"),
        redirected("redirected_in_a_circle", redirect("/back"), "transport -1007"),
        redirected("redirected_to_a_file", redirect("file:///etc/passwd"), "transport -1000"),
        redirected("redirected_to_ftp", redirect("ftp://127.0.0.1/f.bin"), "transport -1000"),
        redirected("redirected_to_data", redirect("data:text/plain,wrong"), "transport -1000"),
        redirected("redirected_nowhere", redirect("http://"), "transport -1000"),
        redirected("redirected_to_a_missing_page", redirect("/none"), "badStatus 404"),
        {.name = "redirected_to_another_host", .alsoOverTLS = true, .handler = toAnotherHost},
        {.name = "redirected_to_another_host_each_time", .handler = toAnotherHostEachTime},
        {.name = "address_expires_half_way", .handler = expiringAddresses},
    };
}

FETRA_MISBEHAVIOUR_TESTS(DownloaderStatuses, statuses);
FETRA_MISBEHAVIOUR_TESTS(DownloaderHeads, heads);
FETRA_MISBEHAVIOUR_TESTS(DownloaderRedirects, redirects);

} // namespace
} // namespace fetra::test
