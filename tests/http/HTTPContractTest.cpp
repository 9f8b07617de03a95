// Promises of the HTTP layer that whole downloads do not show.

#include "http/CurlClient.h"
#include "http/CurlExchange.h"
#include "http/HTTPFetch.h"
#include "http/TLSClosure.h"
#include "Recorder.h"
#include "support/FileScript.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"
#include "support/ThrownBy.h"

#include <list>
#include <optional>

#include <fcntl.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class HTTPContract : public ::testing::Test {
protected:
    HTTPContract() {
        TestCertificate::trustAuthority();
        client_.emplace();
    }

    std::unique_ptr<HTTPSession> makeSession(int perHost = 64) {
        return client_->makeSession({.maxConnectionsPerHost = perHost});
    }
    static qsizetype sizeOf(HTTPSession& session, const HTTPRequest& request, qint64 maxBytes = 10'000'000) {
        return HTTPFetch::body(session, request, maxBytes).body.size();
    }

private:
    std::optional<CurlClient> client_;
};

TEST_F(HTTPContract, RefusesHeadersThatCouldSmuggleInOthers) {
    ScriptedServer server(serve(ServerFile::ofSize(10)));
    const auto session = makeSession();
    const std::pair<QByteArray, QByteArray> bad[] = {
        {"X-A", "b\r\nInjected: yes"},  {"X-A", "b\nc"}, {"X A", "b"}, {"X:A", "b"}, {"", "b"},
        {"X-A", QByteArray("b\0c", 3)},
    };
    for (const auto& [name, value] : bad) {
        HTTPRequest request{.url = server.url("/f")};
        request.headers.add(name, value);
        const auto error = thrownBy<TransportError>([&] { (void)sizeOf(*session, request); });
        EXPECT_EQ(error ? error->code() : 0, TransportError::badHeader);
    }
    EXPECT_EQ(server.requests(), 0);

    HTTPRequest empty{.url = server.url("/f")};
    empty.headers.set("X-Empty", "");
    EXPECT_EQ(sizeOf(*session, empty), 10);
    EXPECT_EQ(server.log().at(0).header("X-Empty"), QByteArray(""));
}

TEST_F(HTTPContract, ASteadyAnswerMayTakeFarLongerThanTheTimeOut) {
    ScriptedServer server(serve(ServerFile::ofSize(1'000), {.bytesPerSecond = 500}));
    EXPECT_EQ(sizeOf(*makeSession(), {.url = server.url("/f"), .timeout = 0.5}), 1'000);
}

TEST_F(HTTPContract, HoldsToTheConnectionsPerHostAndServesWhoWaited) {
    ScriptedServer server(serve(ServerFile::ofSize(20'000), {.latency = 20ms}));
    const auto session = makeSession(2);
    std::list<Recorder> recorders(9);
    startAll(*session, recorders, server.url("/f")).back()->cancel(); // while it waits
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
    // The end of the first is there already when its data are.
    for (const qint64 size : {1'000, 20'000'000}) {
        ScriptedServer server(serve(ServerFile::ofSize(size)));
        std::list<Recorder> recorders(1);
        recorders.front().cancelsAtTheFirstData = true;
        const auto session = makeSession();
        startAll(*session, recorders, server.url("/f"));
        ASSERT_TRUE(recorders.front().waitForEnd());
        EXPECT_EQ(recorders.front().errorCode(), TransportError::cancelled);
        EXPECT_LT(recorders.front().received(), 1'000'000);
    }
}

TEST_F(HTTPContract, KeepsAConnectionThroughWholeAnswersAndShortRedirects) {
    ScriptedServer server(
        routes({{"/start", redirect("/end")}, {"/end", serve(ServerFile::ofSize(50'000))}}));
    const auto session = makeSession();
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(sizeOf(*session, {.url = server.url("/start?x=1#part")}), 50'000);
    EXPECT_EQ(server.connectionsAccepted(), 1);
    EXPECT_EQ(server.log().at(0).target, "/start?x=1");
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

/// Whether a body that ends with its connection came whole, in the eyes of an exchange by itself.
bool isWhole(const QUrl& url) {
    struct : CurlExchange::Listener {
        bool exchangeHead(const ResponseHead&) override { return true; }
        bool exchangeBody(std::span<const char>) override { return true; }
        bool exchangeMayContinue() const override { return true; }
    } listener;
    CurlExchange exchange({.url = url, .headerLines = {}}, CurlSettings::fromEnvironment(), nullptr,
                          listener);
    return exchange.verdict(curl_easy_perform(exchange.handle())) == CURLE_OK;
}

TEST_F(HTTPContract, ACutConnectionIsNotTakenForAnAnnouncedOneThatHadItsAddress) {
    const auto closing = [](Cut::How how) {
        return serve(ServerFile::ofSize(100),
                     {.framing = Framing::UntilClose, .cut = Cut{.how = how, .at = 10}});
    };
    ScriptedServer server(
        routes({{"/closed", closing(Cut::How::Close)}, {"/cut", closing(Cut::How::CloseWithoutNotify)}}),
        {.certificate = TestCertificate()});
    // All within one pass of a worker, as far as the notes know; the allocator soon gives addresses again.
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(isWhole(server.url("/closed")));
        EXPECT_FALSE(isWhole(server.url("/cut")));
    }
    TLSClosure::forget();
}

TEST_F(HTTPContract, FetchReadsNoMoreThanItsBound) {
    ScriptedServer server(serve(ServerFile::ofSize(5'000'000)));
    const auto session = makeSession();
    const auto head = HTTPFetch::head(*session, {.url = server.url("/f")});
    EXPECT_EQ(head.expectedLength, 5'000'000);
    EXPECT_EQ(head.headers.value("eTAG"), u"\"v1\""_s);
    EXPECT_EQ(sizeOf(*session, {.url = server.url("/f")}, 1'000), 1'001);
    EXPECT_EQ(sizeOf(*session, {.url = server.url("/f")}, 5'000'000), 5'000'000);
}

} // namespace
} // namespace fetra::test
