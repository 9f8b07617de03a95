// Answers that are no file: failures, broken heads, redirects.

#include "Misbehaviour.h"
#include "support/Routes.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using Left = Misbehaviour::Left;
using Rows = std::vector<Misbehaviour>;

Rows statuses() {
    using Row = Misbehaviour;
    Rows rows;
    for (const int status : {304, 404, 416, 503})
        rows.push_back(Row("always_" + std::to_string(status), {every({.answer = statusAnswer(status)})})
                           .ends("badStatus " + std::to_string(status), 12, Left::Nothing));
    for (const int status : {204, 304, 403, 416, 500})
        rows.push_back(Row("data_" + std::to_string(status), {data({.answer = statusAnswer(status)})})
                           .ends("exhaustedRetries HTTP " + std::to_string(status), 1)
                           .alsoTLS());
    rows.push_back(Row("data_at_first_403", {data({.answer = statusAnswer(403)}, 1, 2)}));
    const FixedAnswer coded{.status = 404, .headers = {{"Content-Encoding", "gzip"}}, .body = "x"};
    rows.push_back(Row("coded_404", {every({.answer = coded})}).ends("badStatus 404", 12, Left::Nothing));
    return rows;
}

/// A head that is too much or makes no sense, in all answers and in those to data requests.
void addHeads(Rows& rows, const std::string& name, const Lies& lies, const std::string& probeEnd,
              const std::string& dataEnd) {
    rows.push_back(Misbehaviour(name, {every(lies)}).ends(probeEnd, 12, Left::Nothing).over({8}));
    rows.push_back(Misbehaviour("data_" + name, {data(lies)}).ends("exhaustedRetries " + dataEnd, 1));
}

Rows heads() {
    Rows rows;
    const std::string garbage = "The server's answer is not valid HTTP";
    const std::string large = "The head of the server's answer is too large";
    const std::string encoded = "The server sent the file in the ";
    addHeads(rows, "garbage", {.raw = QByteArray("SSH-2.0-nonsense\r\n")}, "notHTTP", garbage);
    addHeads(rows, "nul_in_head", {.extraHeaders = {{"X-Nul", QByteArray("a\0b", 3)}}}, "notHTTP", garbage);
    addHeads(rows, "head_of_300_lines", {.extraHeaders = paddingHeaders(300, 40)}, "transport -1011", large);
    addHeads(rows, "head_of_80_kilobytes", {.extraHeaders = paddingHeaders(20, 4000)}, "transport -1011",
             large);
    addHeads(rows, "storm_of_interim_answers", {.informational = 3000}, "transport -1011", large);
    addHeads(rows, "gzip", {.contentEncoding = "gzip"}, "transport -1011", encoded + "coding \"gzip\"");
    addHeads(rows, "transfer_gzip", {.framing = Framing::GzipChunked}, "transport -1011",
             encoded + "transfer coding \"gzip\"");
    addHeads(rows, "two_lengths", {.contentLengths = {{"1", "2"}}}, "transport -1011",
             "The server declared two different lengths");
    addHeads(rows, "negative_length", {.contentLengths = {{"-5"}}}, "notHTTP", garbage);
    addHeads(rows, "length_of_2_to_the_63", {.contentLengths = {{"9223372036854775808"}}}, "transport -1011",
             "The server declared a length that is no number");
    rows.push_back(Misbehaviour("some_interim_answers", {every({.informational = 20})}).alsoTLS());
    rows.push_back(Misbehaviour("coding_named_identity", {every({.contentEncoding = "identity"})}));
    rows.push_back(
        Misbehaviour("garbage_at_first", {data({.raw = QByteArray("\xff\xfe\x00garbage", 10)}, 1, 2)}));
    return rows;
}

/// "/f.bin" leads where the row says; "/real/f.bin" is the file.
Misbehaviour redirected(std::string name, Handler first, std::string end = "complete") {
    const auto handler = [first = std::move(first)](const ScriptedServer&) {
        return routes({{"/f.bin", first}, {"/real/f.bin", serve(Misbehaviour::defaultFile())}});
    };
    return Misbehaviour(std::move(name)).ends(std::move(end), 12, Left::Nothing).by(handler);
}

/// Addresses that are good for the probe and two data requests, and then forbidden.
Handler expiringAddresses(const ScriptedServer& server) {
    std::map<QByteArray, Handler> paths;
    std::vector<QByteArray> origins;
    for (int number = 0; number < 20; ++number) {
        const QByteArray prefix = "/signed" + QByteArray::number(number);
        origins.push_back(server.url(prefix).toEncoded());
        paths[prefix + "/f.bin"] = serve(Misbehaviour::defaultFile(), {.answer = statusAnswer(403)},
                                         {.what = When::What::Data, .first = 3});
    }
    paths["/f.bin"] = redirectInTurn(origins, "/f.bin");
    return routes(paths);
}

Handler toAnotherHostEachTime(const ScriptedServer& server) {
    const std::vector<QByteArray> origins{server.url({}, "a.localhost").toEncoded(),
                                          server.url({}, "b.localhost").toEncoded()};
    return routes({{"/f.bin", redirectInTurn(origins, "/real/f.bin")},
                   {"/real/f.bin", serve(Misbehaviour::defaultFile())}});
}

Rows redirects() {
    return {
        redirected("redirected_with_fragment", redirect("real/f.bin#top", 308)),
        redirected("redirected_to_a_long_address", redirect("/real/f.bin?token=" + QByteArray(8000, 'x'))),
        redirected("redirected_to_a_missing_page", redirect("/none"), "badStatus 404"),
        Misbehaviour("redirected_to_another_host_each_time").by(toAnotherHostEachTime).alsoTLS(),
        Misbehaviour("address_expires_half_way").over({8}).by(expiringAddresses),
    };
}

FETRA_MISBEHAVIOUR_TESTS(DownloaderStatuses, statuses);
FETRA_MISBEHAVIOUR_TESTS(DownloaderHeads, heads);
FETRA_MISBEHAVIOUR_TESTS(DownloaderRedirects, redirects);

} // namespace
} // namespace fetra::test
