// The real program, killed at any moment and started again with the same command.

#include "cli/FetraRun.h"
#include "support/Eventually.h"
#include "support/FileScript.h"
#include "support/HeldBytes.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFileInfo>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <iostream>
#include <random>
#include <thread>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Clock = std::chrono::steady_clock;

constexpr int wantedKills = 50;
constexpr int downloadsAtOnce = 3;
constexpr qint64 fileSize = 8 * 1024 * 1024;
/// Of each download, all its connections together. The server never lets more out in any stretch of time.
constexpr double bytesPerSecond = 2.0 * 1024 * 1024;
constexpr int connections = 8;

/// So much of what was received may be lost to a kill: a record a second, the tick that writes it, and the
/// writing.
constexpr double secondsAtRisk = 1.5;
/// What the server counts as sent though no write of ours can have returned: per connection a piece of its
/// pacing on the way through both sockets' buffers, and what a request that was split was sent too much.
constexpr qint64 bytesInFlight = connections * 64 * 1024;

/// Watches how late this machine wakes its threads.
class Hiccups {
public:
    Hiccups()
        : thread_([this](const std::stop_token& stop) { watch(stop); }) {}

    /// The longest delay in seconds since the last call; at most one, for a machine that stands still for
    /// longer proves nothing.
    double worst() { return std::min(worst_.exchange(0), 1.0); }

private:
    void watch(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const auto due = Clock::now() + 5ms;
            std::this_thread::sleep_until(due);
            const double late = std::chrono::duration<double>(Clock::now() - due).count();
            if (late > worst_)
                worst_ = late;
        }
    }

    std::atomic<double> worst_ = 0;
    std::jthread thread_;
};

/// Moments to kill at, over all downloads of a test.
class Killer {
public:
    explicit Killer(unsigned seed)
        : random_(seed) {}

    /// How long the next run may live; nothing once there were enough kills.
    std::optional<std::chrono::milliseconds> next() {
        const std::lock_guard lock(mutex_);
        if (kills_ >= wantedKills)
            return std::nullopt;
        return std::chrono::milliseconds(std::uniform_int_distribution(100, 2500)(random_));
    }
    void count() {
        const std::lock_guard lock(mutex_);
        ++kills_;
    }
    int kills() const { return kills_; }

private:
    std::mutex mutex_;
    std::mt19937 random_;
    int kills_ = 0;
};

class KilledDownload {
public:
    KilledDownload(quint64 contentSeed, Killer& killer)
        : file_(ServerFile::ofSize(fileSize, contentSeed))
        , killer_(killer)
        , server_(serve(file_, {.totalBytesPerSecond = bytesPerSecond}, {.what = When::What::Data}),
                  {.sendBufferBytes = 8192}) {}

    void run() {
        for (int runs = 1; !runOnce(); ++runs) {
            if (::testing::Test::HasFatalFailure() || runs > 2 * wantedKills)
                return ADD_FAILURE() << "gave up after " << runs << " runs";
        }
        EXPECT_EQ(folder_.names(), QStringList{u"f.bin"_s});
        EXPECT_TRUE(folder_.tryRead(u"f.bin"_s) == file_.content);
    }

private:
    /// One start of the program; answers whether it came to its end.
    bool runOnce() {
        const qint64 sentBefore = server_.bodyBytesSent();
        const std::optional<std::chrono::milliseconds> life = killer_.next();
        hiccups_.worst();

        FetraRun program({.arguments = {server_.url("/f.bin").toString(), u"-o"_s, folder_.path() + u'/',
                                        u"-q"_s, u"-x"_s, QString::number(connections)},
                          .folder = folder_.path()});
        const auto due = Clock::now() + life.value_or(0ms);
        if (life && program.runUntil([&] { return Clock::now() >= due; }))
            program.send(SIGKILL);
        const std::optional<int> status = program.exitStatus();
        if (status || !life) {
            EXPECT_EQ(status, 0) << program.errors().constData();
            return true;
        }
        killer_.count();
        EXPECT_TRUE(eventually(10s, [this] { return server_.connectionsOpen() == 0; }));
        judge(server_.bodyBytesSent() - sentBefore);
        return false;
    }

    void judge(qint64 sent) {
        EXPECT_FALSE(folder_.contains(u"f.bin"_s)) << "a part under the name of the whole";
        const qint64 held = heldBytes(folder_, u"f.bin"_s, file_.content);
        const qint64 lost = held_ + sent - held;
        const double seconds = secondsAtRisk + hiccups_.worst();
        const qint64 bearable = static_cast<qint64>(seconds * bytesPerSecond) + bytesInFlight;
        EXPECT_LE(lost, bearable) << "of " << sent << " bytes sent; held " << held_ << " before and " << held
                                  << " after";
        held_ = held;
    }

    const ServerFile file_;
    Killer& killer_;
    const TempFolder folder_;
    ScriptedServer server_;
    Hiccups hiccups_;
    qint64 held_ = 0;
};

TEST(KillResumeTest, NoKillCostsMoreThanTheLastMomentsBytes) {
    // What a kill leaves does not hang on the disk, and the limit on what it costs should not either.
    if (QFileInfo(u"/dev/shm"_s).isWritable())
        qputenv("TMPDIR", "/dev/shm");
    const QByteArray given = qgetenv("FETRA_TEST_SEED");
    const unsigned seed = given.isEmpty() ? std::random_device()() : given.toUInt();
    std::cout << "FETRA_TEST_SEED=" << seed << std::endl;

    Killer killer(seed);
    std::atomic<quint64> number = 0;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < downloadsAtOnce; ++i) {
            threads.emplace_back([&] {
                while (killer.next() && !::testing::Test::HasFailure())
                    KilledDownload(++number, killer).run();
            });
        }
    }
    EXPECT_TRUE(::testing::Test::HasFailure() || killer.kills() >= wantedKills);
    std::cout << killer.kills() << " kills, " << number << " downloads" << std::endl;
}

} // namespace
} // namespace fetra::test
