// Stopping: at once, at any moment, and with nothing left behind.

#include "support/DownloadRun.h"
#include "support/Eventually.h"
#include "support/SystemFaults.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <list>
#include <random>

#include <malloc.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Clock = std::chrono::steady_clock;
using What = When::What;

/// How long a call of `cancel` takes, as the median of several: a busy machine may interrupt some of them.
std::chrono::duration<double> timeToCancel(RunningDownload& running) {
    std::vector<Clock::duration> times;
    for (int call = 0; call < 15; ++call) {
        const auto begun = Clock::now();
        running.cancel();
        times.push_back(Clock::now() - begun);
    }
    std::ranges::nth_element(times, times.begin() + 7);
    return times[7];
}

/// How many descriptors ("fd") or threads ("task") this process has.
std::ptrdiff_t countOf(const std::string& what) {
    return std::distance(std::filesystem::directory_iterator("/proc/self/" + what), {});
}

/// The system lists a thread for a moment longer than it takes to join it.
bool comesDownTo(std::ptrdiff_t count, const std::string& what) {
    return eventually(5s, [&] { return countOf(what) <= count; });
}

constexpr int cancelsEach = 40;
/// What memory in use may differ by from one moment to another, and what each round may leave.
constexpr double bearableGrowth = 512 * 1024;
constexpr double bearableEach = 44 * 64;

class DownloaderCancel : public DownloadTest {
protected:
    DownloaderCancel()
        : DownloadTest(2'000'000) {}
};

TEST_F(DownloaderCancel, EndsStalledTransfersAtOnce) {
    const Cut silence{.how = Cut::How::Stall, .at = 50'000};
    const std::tuple<const char*, What, Lies> cases[] = {
        {"no answer to the probe", What::Probe, {.latency = 60s}},
        {"no answer", What::Data, {.latency = 60s}},
        {"silence in the body", What::Data, {.cut = silence}},
        {"nothing but waiting", What::Data, {.answer = statusAnswer(503, "60")}},
        {"silence in a stream", What::Data, {.ignoreRange = true, .cut = silence}},
        {"a byte a second", What::Data, {.bytesPerSecond = 1}},
        {"a head without end",
         What::Data,
         {.extraHeaders = HeaderList(200, {"X-Padding", "a few bytes"}), .headBytesPerSecond = 50}},
    };
    for (const auto& [name, what, lies] : cases) {
        SCOPED_TRACE(name);
        server.setHandler(serve(file, lies, {.what = what}));
        const qint64 enough = server.requests() + (what == What::Probe ? 1 : 2);
        DownloadOptions options = impatient(8);
        options.requestTimeout = 60;
        RunningDownload running(world, request(), options);
        ASSERT_TRUE(eventually(10s, [&] { return server.requests() >= enough; }));
        EXPECT_LT(timeToCancel(running), 5ms);
        EXPECT_TRUE(eventually(20s, [&] { return running.isOver(); })) << "must not wait for the server";
        EXPECT_EQ(running.end().words, pausedWords);
        EXPECT_FALSE(folder.contains(u"f.bin"_s));
    }
}

TEST_F(DownloaderCancel, BeforeTheStartTakesEffectToo) {
    Downloader downloader(impatient(8), world.services());
    downloader.cancel();
    EXPECT_ANY_THROW(static_cast<void>(downloader.download(request())));
    EXPECT_EQ(server.requests(), 0);
}

/// Downloads side by side, a few of which come to their end while the others are cancelled at random moments.
/// Answers how many of those were caught on the way.
int cancelAtRandomMoments(RealWorld& world, int rounds, unsigned seed) {
    constexpr int wholeEach = 4;
    std::mt19937 random(seed);
    const ServerFile file = ServerFile::ofSize(300'000);
    SystemFaults faults;
    faults.skipSyncs();
    ScriptedServer server{serve(file, {.bytesPerSecond = 3e6}, {.what = What::Data})};
    int caught = 0;
    for (int round = 0; round < rounds && !::testing::Test::HasFailure(); ++round) {
        const TempFolder folder;
        std::list<RunningDownload> running;
        for (int number = 0; number < wholeEach + cancelsEach; ++number) {
            DownloadRequest request = toFolder(server.url("/f.bin"), folder.path());
            request.target = QUrl::fromLocalFile(folder.path(u"%1.bin"_s.arg(number)));
            running.emplace_back(world, request, impatient(4));
        }
        const auto firstWhole = std::next(running.begin(), cancelsEach);
        for (auto each = running.begin(); each != firstWhole; ++each) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
            each->cancel();
        }
        for (auto each = running.begin(); each != running.end(); ++each) {
            const Ending ending = each->end();
            const bool isCaught = std::distance(running.begin(), each) < cancelsEach && !ending.isComplete();
            EXPECT_EQ(ending.words, isCaught ? pausedWords : u"complete"_s);
            caught += isCaught ? 1 : 0;
        }
        expectNothingWrongIsFinished(folder.path(), file.content);
    }
    return caught;
}

/// FETRA_TEST_ROUNDS=250 makes it 1,000 downloads and 10,000 cancels.
TEST(DownloadersCancelled, AtAnyMomentLeaveNoDescriptorNoThreadAndNoMemory) {
    const int wanted = qEnvironmentVariableIntValue("FETRA_TEST_ROUNDS");
    const int rounds = wanted > 0 ? wanted : 25;
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << std::endl;

    // A sanitizer starts a thread of its own with the first of the process; it is there before any is
    // counted, and the one that brought it is gone.
    std::thread([] {}).join();
    std::this_thread::sleep_for(100ms);
    const std::ptrdiff_t descriptors = countOf("fd");
    const std::ptrdiff_t threads = countOf("task");
    {
        RealWorld world;
        // What is kept for good, such as names of hosts, is there after the first few.
        cancelAtRandomMoments(world, 5, seed);
        const auto before = static_cast<double>(::mallinfo2().uordblks);
        EXPECT_GT(cancelAtRandomMoments(world, rounds, seed), rounds * cancelsEach / 4);
        const double more = static_cast<double>(::mallinfo2().uordblks) - before;
        std::cout << more / rounds << " more bytes in use for each round" << std::endl;
        EXPECT_LT(more, bearableGrowth + rounds * bearableEach);
    }
    EXPECT_TRUE(comesDownTo(descriptors, "fd")) << countOf("fd") << " instead of " << descriptors;
    EXPECT_TRUE(comesDownTo(threads, "task")) << countOf("task") << " instead of " << threads;
}

} // namespace
} // namespace fetra::test
