// Stopping: at once, at any moment, and with nothing left behind.

#include "support/DownloadRun.h"
#include "support/Eventually.h"
#include "support/SystemFaults.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <limits>
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

/// Of the heap. Nothing where a sanitizer has its own, which then looks for leaks itself.
size_t bytesInUse() {
    return ::mallinfo2().uordblks;
}

/// What the state of connections may differ by from one moment to another, and what each download may leave.
constexpr double bearableGrowth = 512 * 1024;
constexpr double bearableEach = 64;

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
        {"nothing but waiting", What::Data, {.limit = SlotLimit::make({.slots = 0, .retryAfter = "60"})}},
        {"silence in a stream", What::Data, {.ignoreRange = true, .cut = silence}},
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
        EXPECT_EQ(running.end().words, u"cancelled"_s);
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
class RoundsOfCancels {
public:
    static constexpr int wholeEach = 4;
    static constexpr int cancelsEach = 40;

    explicit RoundsOfCancels(unsigned seed)
        : random_(seed) {
        faults_.skipSyncs();
    }

    /// Answers the least memory in use after any of them: connections that are still open come and go, and
    /// what is lost stays.
    size_t run(int rounds) {
        size_t least = std::numeric_limits<size_t>::max();
        for (int round = 0; round < rounds && !::testing::Test::HasFailure(); ++round) {
            runOne();
            least = std::min(least, bytesInUse());
        }
        return least;
    }
    [[nodiscard]] int caughtOnTheWay() const { return caught_; }

private:
    void runOne() {
        const TempFolder folder;
        std::list<RunningDownload> running;
        for (int number = 0; number < wholeEach + cancelsEach; ++number) {
            DownloadRequest request = toFolder(server_.url("/f.bin"), folder.path());
            request.target = QUrl::fromLocalFile(folder.path(u"%1.bin"_s.arg(number)));
            running.emplace_back(world_, request, impatient(4));
        }
        const auto firstWhole = std::next(running.begin(), cancelsEach);
        for (auto each = running.begin(); each != firstWhole; ++each) {
            std::this_thread::sleep_for(std::chrono::microseconds(random_() % 3000));
            each->cancel();
        }
        for (auto each = running.begin(); each != firstWhole; ++each) {
            const Ending ending = each->end();
            EXPECT_TRUE(ending.isComplete() || ending.words == u"cancelled"_s) << ending.words.toStdString();
            caught_ += ending.isComplete() ? 0 : 1;
        }
        for (auto each = firstWhole; each != running.end(); ++each)
            EXPECT_EQ(each->end().words, u"complete"_s);
        expectNothingWrongIsFinished(folder, file_.content);
        server_.forgetLog();
    }

    std::mt19937 random_;
    int caught_ = 0;
    const ServerFile file_ = ServerFile::ofSize(300'000);
    SystemFaults faults_;
    RealWorld world_;
    ScriptedServer server_{serve(file_, {.bytesPerSecond = 3e6}, {.what = What::Data})};
};

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
        RoundsOfCancels cancels(seed);
        // What is kept for good, such as connections and names of hosts, is there after the first few.
        constexpr int few = 5;
        cancels.run(few);
        const auto before = static_cast<double>(cancels.run(few));
        cancels.run(rounds - 2 * few);
        const double more = static_cast<double>(cancels.run(few)) - before;
        const double downloads = rounds * double{RoundsOfCancels::wholeEach + RoundsOfCancels::cancelsEach};
        std::cout << downloads << " downloads, " << cancels.caughtOnTheWay() << " caught on their way, "
                  << more / downloads << " more bytes in use for each" << std::endl;
        EXPECT_LT(more, bearableGrowth + downloads * bearableEach);
        EXPECT_GT(cancels.caughtOnTheWay(), rounds * RoundsOfCancels::cancelsEach / 4);
    }
    EXPECT_TRUE(comesDownTo(descriptors, "fd")) << countOf("fd") << " instead of " << descriptors;
    EXPECT_TRUE(comesDownTo(threads, "task")) << countOf("task") << " instead of " << threads;
}

} // namespace
} // namespace fetra::test
