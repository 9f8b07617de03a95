// The real program, killed at any moment and started again with the same command.

#include "cli/FetraRun.h"
#include "manager/ManagerState.h"
#include "support/Eventually.h"
#include "support/FileScript.h"
#include "support/HeldBytes.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFileInfo>
#include <QJsonDocument>

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

unsigned seedOfRun() {
    const QByteArray given = qgetenv("FETRA_TEST_SEED");
    const unsigned seed = given.isEmpty() ? std::random_device()() : given.toUInt();
    std::cout << "FETRA_TEST_SEED=" << seed << std::endl;
    return seed;
}

/// What a kill leaves does not hang on the disk, and the limit on what it costs should not either.
void keepFilesInMemory() {
    if (QFileInfo(u"/dev/shm"_s).isWritable())
        qputenv("TMPDIR", "/dev/shm");
}

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
    /// How long the next run may live; nothing once there were enough kills.
    std::optional<std::chrono::milliseconds> next() {
        const std::lock_guard lock(mutex_);
        if (kills >= wantedKills)
            return std::nullopt;
        return std::chrono::milliseconds(std::uniform_int_distribution(100, 2500)(random_));
    }

    std::atomic<int> kills = 0;

private:
    std::mutex mutex_;
    std::mt19937 random_{seedOfRun()};
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
        ++killer_.kills;
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
    keepFilesInMemory();
    Killer killer;
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
    EXPECT_TRUE(::testing::Test::HasFailure() || killer.kills >= wantedKills);
    std::cout << killer.kills << " kills, " << number << " downloads" << std::endl;
}

/// Ten downloads with a state file, of which a kill may take nothing but moments. FETRA_TEST_KILLS=500 makes
/// a long run of it.
class KilledList {
public:
    static constexpr int downloads = 10;
    static constexpr double pace = 1024 * 1024;

    KilledList() {
        for (int i = 0; i < downloads; ++i)
            files_.push_back(ServerFile::ofSize(eachSize_, quint64(i) + 1));
        serveAt(pace);
    }

    void run(std::mt19937& random) {
        QStringList links{u"-o"_s, u"./"_s};
        for (int i = 0; i < downloads; ++i)
            links += server_.url("/" + name(i).toUtf8()).toString();
        for (int kill = 0; kill < kills_ && !::testing::Test::HasFailure(); ++kill) {
            const qint64 sentBefore = server_.bodyBytesSent();
            hiccups_.worst();
            FetraRun program = start(kill == 0 ? links : QStringList());
            ASSERT_TRUE(program.runUntil([this] { return folder_.contains(u"list/s.json"_s); }));
            const auto due =
                Clock::now() + std::chrono::milliseconds(std::uniform_int_distribution(50, 2000)(random));
            EXPECT_TRUE(program.runUntil([&] { return Clock::now() >= due; }))
                << program.errors().constData();
            program.send(SIGKILL);
            EXPECT_EQ(program.exitStatus(), std::nullopt);
            EXPECT_TRUE(eventually(10s, [this] { return server_.connectionsOpen() == 0; }));
            judge(server_.bodyBytesSent() - sentBefore);
        }
        printLosses();
        serveAt(0);
        const qint64 before = server_.bodyBytesSent();
        FetraRun last = start({});
        EXPECT_EQ(last.exitStatus(), 0) << last.errors().constData();
        // Unpaced it sends far ahead into connections that are cut by splits.
        EXPECT_LT(server_.bodyBytesSent() - before, downloads * eachSize_) << "all of it once more";
        QStringList names{u"list"_s};
        for (int i = 0; i < downloads; ++i) {
            names.insert(i, name(i));
            EXPECT_TRUE(folder_.tryRead(name(i)) == files_[size_t(i)].content) << i;
        }
        EXPECT_EQ(folder_.names(), names);
    }

private:
    static QString name(int number) { return u"f%1.bin"_s.arg(number); }
    FetraRun start(const QStringList& links) const {
        return FetraRun(
            {.arguments = links + QStringList{u"-q"_s, u"-j10"_s, u"-x4"_s, u"--state"_s, u"list/s.json"_s},
             .folder = folder_.path()});
    }

    void serveAt(double total) {
        std::map<QByteArray, Handler> paths;
        for (int i = 0; i < downloads; ++i)
            paths["/" + name(i).toUtf8()] = serve(
                files_[size_t(i)], {.totalBytesPerSecond = total / downloads}, {.what = When::What::Data});
        server_.setHandler(routes(paths));
    }

    /// The file itself, not the generation kept beside it, holds the whole list in its order, and the records
    /// and finished files hold what was received before the last moments.
    void judge(qint64 sent) {
        const QJsonDocument json = QJsonDocument::fromJson(folder_.read(u"list/s.json"_s));
        const auto state = ManagerState::fromJson(json.object());
        ASSERT_TRUE(state);
        ASSERT_EQ(state->items.size(), downloads);
        for (int i = 0; i < downloads; ++i)
            EXPECT_TRUE(state->items[i].url.path() == u'/' + name(i)) << i;

        qint64 held = 0;
        for (int i = 0; i < downloads; ++i) {
            const QByteArray& content = files_[size_t(i)].content;
            const bool isFinished = folder_.contains(name(i));
            EXPECT_TRUE(!isFinished || folder_.tryRead(name(i)) == content) << i;
            held += isFinished ? content.size() : heldBytes(folder_, name(i), content);
        }
        const qint64 lost = held_ + sent - held;
        const double seconds = secondsAtRisk + hiccups_.worst();
        EXPECT_LE(lost, static_cast<qint64>(seconds * pace) + bytesInFlight)
            << "of " << sent << " bytes sent";
        losses_.push_back(lost);
        held_ = held;
    }

    /// How often so many bytes had to be fetched twice.
    void printLosses() const {
        constexpr qint64 step = 128 * 1024;
        std::map<qint64, int> steps;
        for (const qint64 lost : losses_)
            ++steps[std::max<qint64>(lost, 0) / step];
        for (const auto& [number, count] : steps)
            std::cout << "fetched twice, from " << number * step / 1024 << " KiB: " << count << " kills"
                      << std::endl;
    }

    const int kills_ = qEnvironmentVariableIntValue("FETRA_TEST_KILLS") > 0
                           ? qEnvironmentVariableIntValue("FETRA_TEST_KILLS")
                           : 20;
    /// More than can arrive between so many kills.
    const qint64 eachSize_ = qint64{kills_} * 100 * 1024 + 2 * 1024 * 1024;
    std::vector<ServerFile> files_;
    const TempFolder folder_;
    ScriptedServer server_;
    Hiccups hiccups_;
    qint64 held_ = 0;
    std::vector<qint64> losses_;
};

TEST(KillResumeTest, NoKillCostsTheListAnything) {
    keepFilesInMemory();
    std::mt19937 random(seedOfRun());
    KilledList().run(random);
}

} // namespace
} // namespace fetra::test
