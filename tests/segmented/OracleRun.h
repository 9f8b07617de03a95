#pragma once

#include "OracleFile.h"
#include "SegmentedDownloadTest.h"

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace fetra::test {

/// Chance that is the same each time for the same seed.
class Dice {
public:
    explicit Dice(quint64 seed)
        : state_(seed) {}

    [[nodiscard]] quint64 next();
    /// 0 to `count` - 1.
    [[nodiscard]] qint64 below(qint64 count) {
        return static_cast<qint64>(next() % static_cast<quint64>(count));
    }
    [[nodiscard]] qint64 between(qint64 low, qint64 high) { return low + below(high - low + 1); }
    [[nodiscard]] bool oneIn(qint64 count) { return below(count) == 0; }

private:
    quint64 state_;
};

/// What the sequences are to reach.
enum class Event {
    splits,
    sheds,
    replacements,
    refusals,
    fullBodies,
    limitsRaised,
    failures,
    writeFaults,
    syncFaults,
    sidecarFaults,
    actsDuringWrites,
    slowSyncs,
    records,
    crashes,
    resumes,
    finishes,
    resumedFinishes,
    cancelled,
    ioErrors,
    exhausted,
    rangesNotHonored,
    sizeMismatches,
    count
};
[[nodiscard]] const char* nameOf(Event event);
using Coverage = std::array<qint64, static_cast<size_t>(Event::count)>;

/// One thread for the blocking calls of all runs, since a new one for each would cost more than the run.
class RunThread {
public:
    RunThread();
    ~RunThread();
    RunThread(const RunThread&) = delete;
    RunThread& operator=(const RunThread&) = delete;

    /// Returns when `work` has called `begun`, or is done.
    void start(std::function<void()> work);
    void begun() { news_.release(); }
    [[nodiscard]] bool isDone() const { return done_; }
    /// False when the work is not done in time.
    [[nodiscard]] bool waitUntilDone(std::chrono::seconds longest);

private:
    std::function<void()> work_;
    std::atomic<bool> done_ = true;
    bool stopping_ = false;
    std::counting_semaphore<> wake_{0};
    std::counting_semaphore<> news_{0};
    std::thread thread_;
};

/// Ticks as told, and says when the engine has registered.
class OracleTicks final : public TickSource {
public:
    explicit OracleTicks(RunThread& thread)
        : thread_(thread) {}

    [[nodiscard]] Token add(std::function<void()> tick) override {
        const Token token = ticks_.add(std::move(tick));
        thread_.begun();
        return token;
    }
    void remove(Token token) override { ticks_.remove(token); }
    void tick() { ticks_.tick(); }
    [[nodiscard]] size_t size() const { return ticks_.size(); }

private:
    RunThread& thread_;
    FakeTickSource ticks_;
};

/// What sequence after sequence uses again.
struct OracleWorld {
    explicit OracleWorld(const TempFolder& folder)
        : file(folder.path(QStringLiteral("file")))
        , sidecar(folder.path(QStringLiteral("sidecar"))) {}

    OracleFile file;
    const QString sidecar;
    RunThread thread;
    Coverage coverage{};
    /// The steps of the last sequence, when they are wanted.
    bool logs = false;
    std::vector<std::string> log;
};

/// One run of the engine on `config`, under random events and, where it is left to end well, an honest
/// server from some point on. Complaints go to the world's file.
class OracleRun {
public:
    OracleRun(OracleWorld& world, const SegmentedConfig& config, qint64 total, Dice dice);

    /// Whether a later run may go on from the record that this one leaves.
    [[nodiscard]] bool play();

private:
    enum class Ending { finish, cancel, crash };

    void start();
    void step();
    void drain();
    void conclude();
    [[noreturn]] void giveUp() const;

    void act(FakeTask& task);
    void answer(FakeTask& task);
    void answerDishonestly(FakeTask& task);
    void refuseRange(FakeTask& task);
    void refuseWhole(FakeTask& task);
    void respond(FakeTask& task, const HTTPResponse& response, bool mustRefuse);
    void receive(FakeTask& task);
    void send(FakeTask& task, qint64 bytes);
    void finish(FakeTask& task);
    void fail(FakeTask& task);
    void completed(FakeTask& task, bool failed);
    void pump();
    /// False when the engine has ended.
    [[nodiscard]] bool tick(double seconds);
    void release();
    void cancel();
    void schemeFault();
    void duringWrite();

    [[nodiscard]] HTTPResponse honestHead(const FakeTask& task) const;
    [[nodiscard]] qint64 left(const FakeTask& task) const;
    [[nodiscard]] std::shared_ptr<FakeTask> anyTask();
    /// Whether it must have, as far as can be told from outside.
    [[nodiscard]] bool hasEnded() const;
    [[nodiscard]] bool isWhole() const;
    [[nodiscard]] bool isOver() const { return world_.thread.isDone(); }
    void checkRequest(const FakeTask& task);
    void checkProgress(const DownloadProgress& progress);
    void checkError(const DownloadError& error);
    void checkOutcome(const SegmentedOutcome& outcome);
    void count(Event event, qint64 times = 1) { world_.coverage[static_cast<size_t>(event)] += times; }
    template <typename Text>
    void note(Text&& text) {
        if (world_.logs)
            world_.log.push_back(text());
    }

    struct Body {
        qint64 end = 0;
        /// Its end says how long the file is.
        bool open = false;
    };

    OracleWorld& world_;
    OracleFile& file_;
    const SegmentedConfig config_;
    const qint64 total_;
    Dice dice_;
    const OracleFile::Bytes heldBefore_;
    const Ending ending_;

    FakeClock clock_;
    FakeRandom random_;
    OracleTicks ticker_;
    FakeHTTP http_;
    std::unique_ptr<FileSink> sink_;
    std::unique_ptr<SegmentedDownload> engine_;

    std::unordered_map<quint64, Body> bodies_;
    /// Those in whose callbacks we are.
    std::vector<FakeTask*> busy_;
    bool draining_ = false;
    std::optional<std::optional<ResumeRecord>> crash_;

    // What may end the run badly.
    bool cancelled_ = false;
    bool cancelledInTime_ = false;
    bool saidFullBody_ = false;
    bool saidOtherVersion_ = false;
    bool saidOtherSize_ = false;
    qint64 failures_ = 0;

    std::mutex progressMutex_;
    std::optional<DownloadProgress> progress_;
    std::atomic<qint64> progressCount_ = 0;

    std::optional<SegmentedOutcome> outcome_;
    std::optional<DownloadError> error_;
};

/// Plays the sequence of that seed, up to three runs, each going on from what the one before left behind.
/// Answers with the first complaint, or nothing.
[[nodiscard]] std::string playSequence(OracleWorld& world, quint64 seed);

} // namespace fetra::test
