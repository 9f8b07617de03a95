// What must not take long: cancelling while a name look-up hangs, and many secure lanes at once.

#include "http/CurlClient.h"
#include "Recorder.h"
#include "support/FileScript.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <QFile>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <list>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <netdb.h>

namespace {

std::atomic<bool> lookUpsHang{false};
std::atomic<int> hangingLookUps{0};

} // namespace

/// Stands in front of the system's: names below ".hangs" are looked up for as long as `lookUpsHang` says.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto system = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (node && QByteArray(node).endsWith(".hangs")) {
        ++hangingLookUps;
        while (lookUpsHang)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        --hangingLookUps;
        return EAI_NONAME;
    }
    return system(node, service, hints, result);
}

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Clock = std::chrono::steady_clock;

TEST(HTTPLatency, CancelReturnsAtOnceWhileALookUpHangs) {
    lookUpsHang = true;
    {
        CurlClient client;
        const auto session = client.makeSession({.maxConnectionsPerHost = 64});
        std::list<Recorder> recorders(8);
        const auto tasks = startAll(*session, recorders, QUrl(u"http://server.hangs/f"_s));
        ASSERT_TRUE(eventually(20s, [] { return hangingLookUps > 0; }));
        std::vector<Clock::duration> durations;
        for (const auto& task : tasks) {
            const auto begun = Clock::now();
            task->cancel();
            durations.push_back(Clock::now() - begun);
        }
        for (Recorder& each : recorders) {
            ASSERT_TRUE(each.waitForEnd());
            EXPECT_EQ(each.errorCode(), TransportError::cancelled);
        }
        // The median: on a busy machine any call can lose its turn, but not most of them.
        std::ranges::nth_element(durations, durations.begin() + 4);
        EXPECT_LT(durations[4], 1ms);
    }
    lookUpsHang = false;
    EXPECT_TRUE(eventually(20s, [] { return hangingLookUps == 0; }));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // which cost more than what is measured

TEST(HTTPLatency, SixtyFourSecureLanesShareOneListOfAuthorities) {
    QFile system(u"/etc/ssl/certs/ca-certificates.crt"_s);
    if (!system.open(QIODevice::ReadOnly))
        GTEST_SKIP() << "no list of authorities on this machine";
    QFile own(TestCertificate::authorityFile());
    ASSERT_TRUE(own.open(QIODevice::ReadOnly));
    const TempFolder folder;
    const QString bundle = folder.write(u"bundle.pem"_s, system.readAll() + own.readAll());
    qputenv("SSL_CERT_FILE", bundle.toUtf8());

    constexpr int lanes = 64;
    ScriptedServer server(serve(ServerFile::ofSize(1'000)), {.certificate = TestCertificate()});
    CurlClient client;
    const std::clock_t before = std::clock();
    std::vector<std::unique_ptr<HTTPSession>> sessions;
    std::list<Recorder> recorders(lanes);
    for (Recorder& each : recorders) {
        sessions.push_back(client.makeSession({}));
        sessions.back()->dataTask({.url = server.url("/f")}, each)->resume();
    }
    for (Recorder& each : recorders) {
        ASSERT_TRUE(each.waitForEnd());
        ASSERT_EQ(each.errorCode(), 0) << each.errorText().toStdString();
    }
    // Reading the list for every lane takes well over two seconds; the handshakes of both sides a fraction of
    // one.
    EXPECT_LT(std::clock() - before, 1.2 * CLOCKS_PER_SEC) << "of processor time";
}

#endif

} // namespace
} // namespace fetra::test
