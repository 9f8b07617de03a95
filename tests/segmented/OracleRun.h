#pragma once

#include "OracleFile.h"
#include "SegmentedDownloadTest.h"
#include "system/SerialQueue.h"

#include <atomic>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace fetra::test {

/// Chance that is the same each time for the same seed.
class Dice {
public:
    explicit Dice(quint64 seed)
        : engine_(seed) {}

    [[nodiscard]] quint64 seed() { return engine_(); }
    /// 0 to `count` - 1.
    [[nodiscard]] qint64 below(qint64 count) {
        return static_cast<qint64>(engine_() % static_cast<quint64>(count));
    }
    [[nodiscard]] qint64 between(qint64 low, qint64 high) { return low + below(high - low + 1); }
    [[nodiscard]] bool oneIn(qint64 count) { return below(count) == 0; }
    template <typename Value>
    [[nodiscard]] Value pick(std::initializer_list<Value> values) {
        return values.begin()[below(std::ssize(values))];
    }

private:
    std::mt19937_64 engine_;
};

[[nodiscard]] inline std::string nameOf(const FakeTask& task) {
    return "request " + std::to_string(task.identifier()) + " (" + task.range().toStdString() + ")";
}

/// What sequence after sequence uses again.
struct OracleWorld {
    explicit OracleWorld(const TempFolder& folder)
        : file(folder.path(QStringLiteral("file")))
        , sidecar(folder.path(QStringLiteral("sidecar"))) {}

    OracleFile file;
    const QString sidecar;
    /// For the blocking calls, since a thread of its own for each would cost more than the run.
    SerialQueue runs{"runs"};
    /// How often what the sequences are to reach was reached.
    std::map<std::string_view, qint64> coverage;
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

    /// What the server of that name calls the version that it has.
    [[nodiscard]] static QString versionAt(const QString& host) { return u'"' + host.mid(1, 1) + u'"'; }

private:
    enum class Ending { finish, cancel, crash };
    enum class Due { taken, refused, either };
    struct Body {
        qint64 end = 0;
        /// Its end says how long the file is.
        bool open = false;
    };

    // What happens.
    void start();
    void step();
    void drain();
    [[noreturn]] void giveUp() const;
    void pump();
    /// False when the engine has ended.
    [[nodiscard]] bool tick(double seconds);
    void release();
    void cancel();
    void duringWrite();
    [[nodiscard]] std::shared_ptr<FakeTask> anyTask();
    /// Whether it must have, as far as can be told from outside.
    [[nodiscard]] bool hasEnded() const;
    [[nodiscard]] bool isWhole() const;
    [[nodiscard]] bool isRecordable() const;

    // The server.
    void act(FakeTask& task);
    void refuseRange(FakeTask& task);
    void refuseWhole(FakeTask& task);
    [[nodiscard]] HTTPResponse honestHead(const FakeTask& task) const;
    void answerHonestly(FakeTask& task);
    void respond(FakeTask& task, const HTTPResponse& response, Due due);
    [[nodiscard]] qint64 left(const FakeTask& task) const;
    void receive(FakeTask& task);
    void send(FakeTask& task, qint64 bytes);
    void finish(FakeTask& task);
    void fail(FakeTask& task);
    void completed(FakeTask& task, bool failed);

    // What must hold.
    void checkRequest(const FakeTask& task);
    void checkProgress(const DownloadProgress& progress);
    void conclude();
    void checkOutcome(const SegmentedOutcome& outcome);
    void checkError(const DownloadError& error);

    void count(std::string_view event, qint64 times = 1) { world_.coverage[event] += times; }
    template <typename Text>
    void note(Text&& text) {
        if (world_.logs)
            world_.log.push_back(text());
    }

    OracleWorld& world_;
    OracleFile& file_;
    const SegmentedConfig config_;
    const qint64 total_;
    Dice dice_;
    const OracleFile::Bytes heldBefore_;
    const Ending ending_;

    FakeClock clock_;
    FakeRandom random_;
    FakeTickSource ticker_;
    FakeHTTP http_;
    FileSink sink_;
    std::unique_ptr<SegmentedDownload> engine_;
    std::promise<void> end_;
    std::atomic<bool> isOver_ = false;

    std::unordered_map<quint64, Body> bodies_;
    /// Those in whose callbacks we are.
    std::vector<FakeTask*> busy_;
    bool draining_ = false;

    // What may end the run badly.
    bool cancelled_ = false;
    bool cancelledInTime_ = false;
    bool saidFullBody_ = false;
    bool saidOtherVersion_ = false;
    bool primarySaidOtherVersion_ = false;
    bool saidOtherSize_ = false;
    qint64 failures_ = 0;

    std::mutex progressMutex_;
    std::optional<DownloadProgress> progress_;
    std::atomic<qint64> progressCount_ = 0;
    qint64 splits_ = 0;
    qint64 raises_ = 0;

    std::optional<SegmentedOutcome> outcome_;
    std::optional<DownloadError> error_;
};

/// Plays the sequence of that seed, up to three runs, each going on from what the one before left behind.
/// Answers with the first complaint, or nothing.
[[nodiscard]] std::string playSequence(OracleWorld& world, quint64 seed);

} // namespace fetra::test
