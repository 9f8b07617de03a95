// Stopping: at once, at any moment, and with nothing left behind.

#include "DownloadRun.h"
#include "support/Eventually.h"
#include "support/SystemFaults.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <list>
#include <random>

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

/// Files below the folder that this process has open.
int openFilesIn(const TempFolder& folder) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string path = std::filesystem::read_symlink(entry.path(), gone).string();
        count += path.starts_with(folder.path().toStdString() + '/') ? 1 : 0;
    }
    return count;
}

/// How many descriptors ("fd") or threads ("task") this process has.
std::ptrdiff_t countOf(const std::string& what) {
    return std::distance(std::filesystem::directory_iterator("/proc/self/" + what), {});
}

class DownloaderCancel : public DownloadTest {
protected:
    DownloaderCancel()
        : DownloadTest(2'000'000) {}
};

TEST_F(DownloaderCancel, DuringTheProbeWaitsForNoAnswer) {
    server.setHandler(serve(file, {.latency = 60s}, {.what = What::Probe}));
    RunningDownload running(world, request(), impatient(8));
    ASSERT_TRUE(eventually(20s, [&] { return server.requests() == 1; }));
    EXPECT_LT(timeToCancel(running), 5ms);
    EXPECT_TRUE(eventually(4s, [&] { return running.isOver(); })) << "before the idle time-out";
    EXPECT_FALSE(running.hasStarted());
    EXPECT_EQ(running.end().words, u"cancelled"_s);
    EXPECT_EQ(server.requests(), 1);
    EXPECT_FALSE(folder.contains(u"f.bin"_s));
}

TEST_F(DownloaderCancel, BeforeTheStartTakesEffectToo) {
    Downloader downloader(impatient(8), world.services());
    downloader.cancel();
    EXPECT_ANY_THROW(static_cast<void>(downloader.download(request())));
    EXPECT_FALSE(folder.contains(u"f.bin"_s));
    EXPECT_EQ(server.requests(), 0);
}

TEST_F(DownloaderCancel, EndsStalledTransfersAtOnce) {
    const Lies lies[] = {
        {.latency = 60s},                                             // no answer
        {.cut = Cut{.how = Cut::How::Stall, .at = 50'000}},           // silence in the body
        {.limit = SlotLimit::make({.slots = 0, .retryAfter = "60"})}, // nothing but waiting
        {.ignoreRange = true, .cut = Cut{.how = Cut::How::Stall, .at = 50'000}},
    };
    for (const Lies& each : lies) {
        SCOPED_TRACE(&each - lies);
        server.setHandler(serve(file, each, {.what = What::Data}));
        const qint64 before = server.requests();
        DownloadOptions options = impatient(8);
        options.requestTimeout = 60;
        RunningDownload running(world, request(), options);
        ASSERT_TRUE(eventually(10s, [&] { return server.requests() > before + 1; }));
        EXPECT_LT(timeToCancel(running), 5ms);
        EXPECT_TRUE(eventually(20s, [&] { return running.isOver(); })) << "must not wait for the server";
        EXPECT_EQ(running.end().words, u"cancelled"_s);
    }
}

TEST(DownloadersCancelled, AtAnyMomentLeaveNoDescriptorAndNoThread) {
    constexpr int rounds = 15;
    constexpr int atOnce = 20;
    const ServerFile file = ServerFile::ofSize(300'000);
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << std::endl;
    std::mt19937 random(seed);

    // A sanitizer starts a thread of its own with the first of the process; it is there before any is
    // counted.
    std::thread([] {}).join();
    const std::ptrdiff_t descriptors = countOf("fd");
    const std::ptrdiff_t threads = countOf("task");
    int cancelled = 0;
    {
        SystemFaults faults;
        faults.skipSyncs();
        RealWorld world;
        ScriptedServer server(serve(file, {.bytesPerSecond = 3e6}, {.what = What::Data}));
        for (int round = 0; round < rounds; ++round) {
            const TempFolder folder;
            std::list<RunningDownload> running;
            for (int number = 0; number < atOnce; ++number) {
                DownloadRequest request = toFolder(server.url("/f.bin"), folder.path());
                request.target = QUrl::fromLocalFile(folder.path(u"%1.bin"_s.arg(number)));
                running.emplace_back(world, request, impatient(4));
            }
            int number = 0;
            for (RunningDownload& each : running) {
                if (++number % 2 == 0)
                    continue;
                std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
                each.cancel();
            }
            number = 0;
            for (RunningDownload& each : running) {
                const Ending ending = each.end();
                if (++number % 2 == 0)
                    EXPECT_EQ(ending.words, u"complete"_s);
                else
                    EXPECT_TRUE(ending.isComplete() || ending.words == u"cancelled"_s);
                cancelled += ending.isComplete() ? 0 : 1;
            }
            expectNothingWrongIsFinished(folder, file.content);
            EXPECT_EQ(openFilesIn(folder), 0);
        }
    }
    EXPECT_GT(cancelled, rounds) << "too few were caught on their way";
    EXPECT_EQ(countOf("fd"), descriptors);
    EXPECT_EQ(countOf("task"), threads);
}

} // namespace
} // namespace fetra::test
