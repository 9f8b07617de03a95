// What everything above relies on: the promises of the HTTP layer, each against a server that tries them.

#include "http/CurlClient.h"
#include "http/HTTPFetch.h"
#include "Recorder.h"
#include "support/FileScript.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"

#include <list>

#include <fcntl.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class HTTPContract : public ::testing::Test {
protected:
    HTTPContract() { TestCertificate::trustAuthority(); }

    CurlClient& client() {
        if (!client_)
            client_ = std::make_unique<CurlClient>();
        return *client_;
    }
    std::unique_ptr<HTTPSession> makeSession(int perHost = 64) {
        return client().makeSession({.maxConnectionsPerHost = perHost});
    }
    /// Runs one request to its end.
    Recorder& fetch(const HTTPRequest& request) { return fetch(request, recorders_.emplace_back()); }
    Recorder& fetch(const HTTPRequest& request, Recorder& recorder) {
        const auto session = makeSession();
        session->dataTask(request, recorder)->resume();
        EXPECT_TRUE(recorder.waitForEnd());
        return recorder;
    }
    static void startAll(HTTPSession& session, std::list<Recorder>& recorders, const QUrl& url) {
        for (Recorder& each : recorders)
            session.dataTask({.url = url}, each)->resume();
    }

private:
    std::list<Recorder> recorders_; // they outlive the client
    std::unique_ptr<CurlClient> client_;
};

TEST_F(HTTPContract, DeliversHeadThenBodyThenOneEndOverPlainAndTLS) {
    const ServerFile file = ServerFile::ofSize(3'000'000);
    for (const bool tls : {false, true}) {
        SCOPED_TRACE(tls ? "https" : "http");
        ScriptedServer server(serve(file),
                              {.certificate = tls ? std::optional(TestCertificate()) : std::nullopt});
        const Recorder& local = fetch({.url = server.url("/f.bin?x=1#part")});
        EXPECT_EQ(local.errorCode(), 0) << local.errorText().toStdString();
        EXPECT_TRUE(local.body() == file.content);
        EXPECT_EQ(local.response()->status, 200);
        EXPECT_EQ(local.response()->expectedLength, 3'000'000);
        EXPECT_EQ(local.response()->mimeType, u"application/octet-stream"_s);
        EXPECT_EQ(local.response()->headers.value("eTAG"), u"\"v1\""_s);
        EXPECT_EQ(server.log().at(0).target, "/f.bin?x=1");
    }
}

TEST_F(HTTPContract, CancellingAtTheHeadReadsNoBody) {
    ScriptedServer server(serve(ServerFile::ofSize(5'000'000)));
    Recorder recorder;
    recorder.disposition = HTTPDisposition::cancel;
    fetch({.url = server.url("/f")}, recorder);
    EXPECT_EQ(recorder.response()->status, 200);
    EXPECT_EQ(recorder.errorCode(), TransportError::cancelled);
}

TEST_F(HTTPContract, FollowsOnlyRealRedirectsWithinReason) {
    ScriptedServer server;
    const QByteArray root = server.url("/").toEncoded();
    const std::tuple<const char*, Handler, int, int> rows[] = {
        {"301", redirect("/end", 301), 0, 200},
        {"302, relative", redirect("end", 302), 0, 200},
        {"303", redirect("/end", 303), 0, 200},
        {"307, absolute", redirect(root + "end#fragment", 307), 0, 200},
        {"308, without scheme", redirect("//127.0.0.1:" + QByteArray::number(server.port()) + "/end", 308), 0,
         200},
        {"300 is no redirect", redirect("/end", 300), 0, 300},
        {"304 is no redirect", redirect("/end", 304), 0, 304},
        {"twenty hops", redirect("/hop18", 302), 0, 200},
        {"twenty-one hops", redirect("/hop19", 302), TransportError::tooManyRedirects, 0},
        {"to itself", redirect("/start", 302), TransportError::tooManyRedirects, 0},
        {"in a circle", redirect("/back", 302), TransportError::tooManyRedirects, 0},
        {"to a file", redirect("file:///etc/passwd", 302), TransportError::badURL, 0},
        {"to ftp", redirect("ftp://127.0.0.1/x", 302), TransportError::badURL, 0},
        {"to data", redirect("data:text/plain,hello", 302), TransportError::badURL, 0},
        {"nowhere", redirect("http://", 302), TransportError::badURL, 0},
    };
    for (const auto& [name, start, error, status] : rows) {
        SCOPED_TRACE(name);
        server.setHandler(routes({{"/start", start},
                                  {"/back", redirect("/start")},
                                  {"/hop*", redirectHops("/hop", "/end")},
                                  {"/end", serve(ServerFile::ofSize(10))}}));
        const Recorder& local = fetch({.url = server.url("/start")});
        EXPECT_EQ(local.errorCode(), error) << local.errorText().toStdString();
        ASSERT_EQ(local.response().has_value(), status != 0);
        if (status == 0)
            continue;
        EXPECT_EQ(local.response()->status, status);
        EXPECT_EQ(local.response()->url.path(), status == 200 ? u"/end"_s : u"/start"_s);
    }
}

TEST_F(HTTPContract, RefusesHeadersThatCouldSmuggleInOthers) {
    ScriptedServer server(serve(ServerFile::ofSize(10)));
    const std::pair<QByteArray, QByteArray> bad[] = {
        {"X-A", "b\r\nInjected: yes"},
        {"X-A", "b\nc"},
        {"X-A", "b\rc"},
        {"X A", "b"},
        {"X:A", "b"},
        {"", "b"},
        {"X-A", QByteArray("b\0c", 3)},
    };
    for (const auto& [name, value] : bad) {
        HTTPRequest request{.url = server.url("/f")};
        request.headers.add(name, value);
        const Recorder& local = fetch(request);
        EXPECT_EQ(local.errorCode(), TransportError::badHeader);
    }
    EXPECT_EQ(server.requests(), 0);

    HTTPRequest empty{.url = server.url("/f")};
    empty.headers.set("X-Empty", "");
    fetch(empty);
    EXPECT_EQ(server.log().at(0).header("X-Empty"), QByteArray(""));
}

TEST_F(HTTPContract, TimesOutWhenNothingComesAndOnlyThen) {
    constexpr double timeout = 0.5;
    const std::tuple<const char*, Lies, int> rows[] = {
        {"silent before the head", {.latency = 1min}, TransportError::timedOut},
        {"silent in the body", {.cut = Cut{.how = Cut::How::Stall, .at = 500}}, TransportError::timedOut},
        {"slow but steady, far longer than the time-out", {.bytesPerSecond = 500}, 0},
    };
    for (const auto& [name, lies, error] : rows) {
        SCOPED_TRACE(name);
        ScriptedServer server(serve(ServerFile::ofSize(1'000), lies));
        const Recorder& local = fetch({.url = server.url("/f"), .timeout = timeout});
        EXPECT_EQ(local.errorCode(), error);
    }
}

TEST_F(HTTPContract, TrustsOnlyCertificatesThatAreVouchedFor) {
    using Kind = TestCertificate::Kind;
    const std::pair<Kind, QLatin1StringView> rows[] = {
        {Kind::Expired, "expired"_L1}, {Kind::OtherName, "127.0.0.1"_L1}, {Kind::SelfSigned, "self"_L1}};
    for (const auto& [kind, reason] : rows) {
        SCOPED_TRACE(reason.data());
        ScriptedServer server(serve(ServerFile::ofSize(10)), {.certificate = TestCertificate(kind)});
        const Recorder& local = fetch({.url = server.url("/f")});
        EXPECT_EQ(local.errorCode(), TransportError::secureConnectionFailed);
        EXPECT_TRUE(local.errorText().contains("127.0.0.1"_L1)) << local.errorText().toStdString();
        EXPECT_TRUE(local.errorText().contains(reason)) << local.errorText().toStdString();
        EXPECT_EQ(server.requests(), 0);
    }
}

TEST_F(HTTPContract, TellsAClosedTLSConnectionFromACutOne) {
    const ServerFile file = ServerFile::ofSize(1'000);
    for (const bool cut : {false, true}) {
        SCOPED_TRACE(cut);
        Lies lies{.framing = Framing::UntilClose};
        if (cut)
            lies.cut = Cut{.how = Cut::How::CloseWithoutNotify, .at = 500};
        ScriptedServer server(serve(file, lies), {.certificate = TestCertificate()});
        const Recorder& local = fetch({.url = server.url("/f")});
        EXPECT_EQ(local.errorCode(), cut ? TransportError::connectionLost : 0);
        EXPECT_EQ(local.body().size(), cut ? 500 : 1'000);
    }
}

TEST_F(HTTPContract, SaysWhatServerCouldNotBeReached) {
    quint16 closed = 0;
    {
        ScriptedServer server;
        closed = server.port();
    }
    const Recorder& recorder = fetch({.url = QUrl(u"http://127.0.0.1:%1/f"_s.arg(closed))});
    EXPECT_EQ(recorder.errorCode(), TransportError::cannotConnect);
    EXPECT_EQ(recorder.errorText(), u"Could not connect to 127.0.0.1: Connection refused"_s);
}

TEST_F(HTTPContract, HoldsToTheConnectionsPerHostAndServesWhoWaited) {
    ScriptedServer server(serve(ServerFile::ofSize(20'000), {.latency = 20ms}));
    const auto session = makeSession(2);
    std::list<Recorder> recorders(9);
    std::vector<std::shared_ptr<HTTPTask>> tasks;
    for (Recorder& each : recorders) {
        tasks.push_back(session->dataTask({.url = server.url("/f")}, each));
        tasks.back()->resume();
    }
    tasks[8]->cancel(); // while it waits
    for (Recorder& each : recorders)
        ASSERT_TRUE(each.waitForEnd());
    EXPECT_EQ(server.maxSimultaneousExchanges(), 2);
    EXPECT_EQ(server.requests(), 8);
    EXPECT_EQ(recorders.back().errorCode(), TransportError::cancelled);
}

TEST_F(HTTPContract, EndsGracefullyOrAtOnce) {
    ScriptedServer server(serve(ServerFile::ofSize(100'000), {.bytesPerSecond = 200'000}));
    for (const bool gracefully : {true, false}) {
        SCOPED_TRACE(gracefully);
        const auto session = makeSession(1);
        std::list<Recorder> admitted(2); // one runs, one waits
        startAll(*session, admitted, server.url("/f"));
        ASSERT_TRUE(admitted.front().waitForBody(1));
        if (gracefully)
            session->finishTasksAndInvalidate();
        else
            session->invalidateAndCancel();
        Recorder late;
        session->dataTask({.url = server.url("/f")}, late)->resume();
        ASSERT_TRUE(late.waitForEnd());
        EXPECT_EQ(late.errorCode(), TransportError::cancelled);
        for (Recorder& each : admitted) {
            ASSERT_TRUE(each.waitForEnd());
            EXPECT_EQ(each.errorCode(), gracefully ? 0 : TransportError::cancelled);
        }
    }
}

TEST_F(HTTPContract, CancellingFromTheDataCallbackStopsTheData) {
    ScriptedServer server(serve(ServerFile::ofSize(20'000'000)));
    Recorder recorder;
    recorder.onData = [](HTTPTask& task) { task.cancel(); };
    fetch({.url = server.url("/f")}, recorder);
    EXPECT_EQ(recorder.errorCode(), TransportError::cancelled);
    EXPECT_LT(recorder.body().size(), 1'000'000);
}

TEST_F(HTTPContract, KeepsAConnectionThroughWholeAnswersAndShortRedirects) {
    ScriptedServer server(
        routes({{"/start", redirect("/end")}, {"/end", serve(ServerFile::ofSize(50'000))}}));
    const auto session = makeSession();
    for (int i = 0; i < 5; ++i) {
        Recorder local;
        session->dataTask({.url = server.url("/start")}, local)->resume();
        ASSERT_TRUE(local.waitForEnd());
        ASSERT_EQ(local.body().size(), 50'000);
    }
    EXPECT_EQ(server.connectionsAccepted(), 1);
}

TEST_F(HTTPContract, OpensNoDescriptorThatAChildWouldInherit) {
    ScriptedServer server(serve(ServerFile::ofSize(10'000'000), {.bytesPerSecond = 100'000}),
                          {.certificate = TestCertificate()});
    const auto inheritable = [] {
        int count = 0;
        for (int descriptor = 3; descriptor < 1'024; ++descriptor) {
            const int flags = ::fcntl(descriptor, F_GETFD);
            count += flags >= 0 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
        }
        return count;
    };
    const int before = inheritable();
    const auto session = makeSession();
    std::list<Recorder> recorders(6);
    startAll(*session, recorders, server.url("/f"));
    for (Recorder& each : recorders)
        ASSERT_TRUE(each.waitForBody(1));
    EXPECT_EQ(inheritable(), before);
    session->invalidateAndCancel();
    for (Recorder& each : recorders)
        ASSERT_TRUE(each.waitForEnd());
}

TEST_F(HTTPContract, FetchReadsNoMoreThanItsBound) {
    ScriptedServer server(serve(ServerFile::ofSize(5'000'000)));
    const auto session = makeSession();
    EXPECT_EQ(HTTPFetch::head(*session, {.url = server.url("/f")}).expectedLength, 5'000'000);
    EXPECT_EQ(HTTPFetch::body(*session, {.url = server.url("/f")}, 1'000).body.size(), 1'001);
    EXPECT_EQ(HTTPFetch::body(*session, {.url = server.url("/f")}, 5'000'000).body.size(), 5'000'000);
    EXPECT_THROW(HTTPFetch::head(*session, {.url = QUrl(u"gopher://x/"_s)}), TransportError);
}

} // namespace
} // namespace fetra::test
