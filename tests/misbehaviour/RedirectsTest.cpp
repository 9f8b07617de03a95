// Addresses that lead elsewhere, nowhere or round in a circle.

#include "misbehaviour/Misbehaviour.h"
#include "support/Routes.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using What = When::What;

const ServerFile& file() {
    return Misbehaviour::defaultFile();
}

/// "/f.bin" leads where the row says; "/real/f.bin" is the file, and "/hop2" leads there in three hops.
Handler map(Handler first) {
    std::map<QByteArray, Handler> paths{{"/f.bin", std::move(first)},
                                        {"/round", redirect("/f.bin")},
                                        {"/hop0", redirect("/real/f.bin")},
                                        {"/real/f.bin", serve(file())}};
    for (int number = 1; number < 50; ++number)
        paths["/hop" + QByteArray::number(number)] = redirect("/hop" + QByteArray::number(number - 1));
    return routes(std::move(paths));
}

Misbehaviour to(std::string name, const QByteArray& location, int status = 302) {
    return Row(std::move(name)).by([=](const ScriptedServer&) { return map(redirect(location, status)); });
}

Misbehaviour refused(std::string name, const QByteArray& location, const std::string& end) {
    return to(std::move(name), location).ends(end, Left::Nothing);
}

/// Honest to the probe, and its data requests are sent on.
Misbehaviour ofData(std::string name, const QByteArray& location) {
    const FixedAnswer answer{.status = 307, .headers = {{"Location", location}}, .body = "moved\n"};
    return Row(std::move(name)).by([=](const ScriptedServer&) {
        return map(serve(file(), {.answer = answer}, {.what = What::Data}));
    });
}

/// Addresses that are good for the probe and two data requests, and then forbidden.
Handler expiringAddresses(const ScriptedServer& server) {
    std::map<QByteArray, Handler> paths;
    std::vector<QByteArray> origins;
    for (int number = 0; number < 100; ++number) {
        const QByteArray prefix = "/signed" + QByteArray::number(number);
        origins.push_back(server.url(prefix).toEncoded());
        paths[prefix + "/f.bin"] =
            serve(file(), {.answer = statusAnswer(403)}, {.what = What::Data, .first = 3});
    }
    paths["/f.bin"] = redirectInTurn(origins, "/f.bin");
    return routes(paths);
}

Handler toAnotherHostEachTime(const ScriptedServer& server) {
    const std::vector<QByteArray> origins{server.url({}, "a.localhost").toEncoded(),
                                          server.url({}, "b.localhost").toEncoded()};
    return routes({{"/f.bin", redirectInTurn(origins, "/real/f.bin")}, {"/real/f.bin", serve(file())}});
}

/// To a second server, which has a port and, in the clear, a scheme of its own.
std::function<Handler(const ScriptedServer&)> toAnotherServer(bool secure) {
    return [secure](const ScriptedServer&) -> Handler {
        const auto other = std::make_shared<ScriptedServer>(
            serve(file()),
            ServerOptions{.certificate = secure ? std::optional(TestCertificate()) : std::nullopt});
        return [other, first = redirect(other->url("/f.bin").toEncoded())](ServerExchange& exchange) {
            first(exchange);
        };
    };
}

Handler withPassword(const ScriptedServer& server) {
    QUrl target = server.url("/real/f.bin");
    target.setUserInfo(QStringLiteral("me:secret"));
    return map(redirect(target.toEncoded()));
}

/// Redirects whose bodies would take hours.
Handler drippingBodies(const ScriptedServer&) {
    return map([](ServerExchange& exchange) {
        (void)exchange.sendHead(302, {{"Location", "/real/f.bin"}, {"Content-Length", "60000"}});
        while (exchange.wait(300ms) && exchange.sendBody("x")) {
        }
    });
}

TEST(Redirects, EndRight) {
    const std::string badAddress = "transport -1000";
    const std::string tooMany = "transport -1007";
    runMisbehaviours({
        to("relative", "real/f.bin", 301),
        to("with_dots", "/x/../real/./f.bin", 303),
        to("with_fragment", "real/f.bin#top", 308),
        to("with_a_long_query", "/real/f.bin?token=" + QByteArray(8000, 'x')),
        to("with_bytes_that_are_no_text", "/real/f.bin?name=\xff\xfe\xc3("),
        to("with_blanks", "/real/f.bin?name=a b"),
        to("over_20_hops", "/hop18"),
        refused("over_21_hops", "/hop19", tooMany),
        refused("over_50_hops", "/hop49", tooMany),
        refused("to_itself", "/f.bin", tooMany),
        refused("in_a_circle", "/round", tooMany),
        refused("to_a_file", "file:///etc/passwd", badAddress),
        refused("to_ftp", "ftp://127.0.0.1/f.bin", badAddress),
        refused("to_data", "data:text/plain,hello", badAddress),
        refused("to_no_host", "http:///f.bin", badAddress),
        refused("to_a_closed_port", "http://127.0.0.1:1/f.bin",
                "transport -1004 Could not connect to 127.0.0.1: Connection refused"),
        refused("to_a_missing_page", "/none", "Server returned HTTP 404"),
        Row("to_another_port").by(toAnotherServer(true)),
        Row("out_of_tls").by(toAnotherServer(false)),
        Row("with_a_body_that_drips").by(drippingBodies).takes(8s),
        Row("with_a_password").by(withPassword),
        Row("to_another_host_each_time").by(toAnotherHostEachTime),
        Row("to_addresses_that_expire").by(expiringAddresses).takes(20s),
        ofData("of_data", "/real/f.bin"),
        ofData("of_data_in_a_circle", "/f.bin").givesUp("The server redirects in a circle"),
        ofData("of_data_to_a_file", "file:///etc/passwd")
            .givesUp("The server redirected to an address that is not http or https"),
        ofData("of_data_to_a_missing_page", "/none").givesUp("HTTP 404"),
    });
}

} // namespace
} // namespace fetra::test
