// The real program with a list of ten downloads, killed at any moment and started again.

#include "cli/FetraRun.h"
#include "manager/ManagerState.h"
#include "support/Eventually.h"
#include "support/FileScript.h"
#include "support/HeldBytes.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
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

constexpr int downloads = 10;
/// Of all of them together.
constexpr double bytesPerSecond = 1024 * 1024;
/// So much of what was received may be lost to a kill: a record a second, the tick that writes it, and the
/// writing.
constexpr double secondsAtRisk = 1.5;
/// What the server counts as sent though no write of ours can have returned: pieces of its pacing on the way
/// through both sockets' buffers, and what a request that was split was sent too much.
constexpr qint64 bytesInFlight = 512 * 1024;

unsigned seedOfRun() {
    const QByteArray given = qgetenv("FETRA_TEST_SEED");
    const unsigned seed = given.isEmpty() ? std::random_device()() : given.toUInt();
    std::cout << "FETRA_TEST_SEED=" << seed << std::endl;
    return seed;
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
            worst_ = std::max(worst_.load(), std::chrono::duration<double>(Clock::now() - due).count());
        }
    }

    std::atomic<double> worst_ = 0;
    std::jthread thread_;
};

/// FETRA_TEST_KILLS=500 makes a long run of it.
class KillResumeTest : public ::testing::Test {
protected:
    KillResumeTest() {
        for (int i = 0; i < downloads; ++i)
            files_.push_back(ServerFile::ofSize(eachSize_, quint64(i) + 1));
        serveAt(bytesPerSecond);
    }

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
        qint64 held = 0;
        for (int i = 0; i < downloads; ++i) {
            EXPECT_TRUE(state->items[i].url.path() == u'/' + name(i)) << i;
            const QByteArray& content = files_[size_t(i)].content;
            const bool isFinished = folder_.contains(name(i));
            EXPECT_TRUE(!isFinished || folder_.tryRead(name(i)) == content) << i;
            held += isFinished ? content.size() : heldBytes(folder_, name(i), content);
        }
        const double seconds = secondsAtRisk + hiccups_.worst();
        EXPECT_LE(held_ + sent - held, static_cast<qint64>(seconds * bytesPerSecond) + bytesInFlight)
            << "of " << sent << " bytes sent; held " << held_ << " before and " << held << " after";
        held_ = held;
    }

    const int kills_ = std::max(50, qEnvironmentVariableIntValue("FETRA_TEST_KILLS"));
    /// More than can arrive between so many kills.
    const qint64 eachSize_ = qint64{kills_} * 160 * 1024 + 2 * 1024 * 1024;
    std::vector<ServerFile> files_;
    /// What a kill leaves does not hang on the disk, and the limit on what it costs should not either.
    const QuickFolder folder_;
    ScriptedServer server_;
    Hiccups hiccups_;
    qint64 held_ = 0;
};

TEST_F(KillResumeTest, NoKillCostsMoreThanTheLastMomentsBytes) {
    std::mt19937 random(seedOfRun());
    QStringList links{u"-o"_s, u"./"_s};
    for (int i = 0; i < downloads; ++i)
        links += server_.url("/" + name(i).toUtf8()).toString();
    for (int kill = 0; kill < kills_ && !HasFailure(); ++kill) {
        const qint64 sentBefore = server_.bodyBytesSent();
        hiccups_.worst();
        FetraRun program = start(kill == 0 ? links : QStringList());
        ASSERT_TRUE(program.runUntil([this] { return folder_.contains(u"list/s.json"_s); }));
        const auto due =
            Clock::now() + std::chrono::milliseconds(std::uniform_int_distribution(50, 3000)(random));
        EXPECT_TRUE(program.runUntil([&] { return Clock::now() >= due; })) << program.errors().constData();
        program.send(SIGKILL);
        EXPECT_EQ(program.exitStatus(), std::nullopt);
        EXPECT_TRUE(eventually(10s, [this] { return server_.connectionsOpen() == 0; }));
        judge(server_.bodyBytesSent() - sentBefore);
    }
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

} // namespace
} // namespace fetra::test
