// A random run from its start to its end, and sequences of runs.

#include "OracleRun.h"

#include "segmented/HostLimits.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <thread>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 longestRun = 60;
constexpr qint64 longestDrain = 2'000;
constexpr auto endDeadline = std::chrono::seconds(30);

} // namespace

OracleRun::OracleRun(OracleWorld& world, const SegmentedConfig& config, qint64 total, Dice dice)
    : world_(world)
    , file_(world.file)
    , config_(config)
    , total_(total)
    , dice_(dice)
    , heldBefore_(file_.held())
    , ending_([&] {
        const qint64 roll = dice_.below(10);
        return roll < 6 ? Ending::finish : roll < 8 ? Ending::cancel : Ending::crash;
    }())
    , sink_(file_.path(), config.total, FileSink::Existing::required) {
    random_.set(static_cast<double>(dice_.below(5)) / 4);
    http_.onStart = [this](FakeTask& task) { checkRequest(task); };
    file_.midWrite = [this] { duringWrite(); };
    engine_ = std::make_unique<SegmentedDownload>(
        config_, sink_, [this](const DownloadProgress& progress) { checkProgress(progress); },
        EngineServices{.http = http_, .clock = clock_, .random = random_, .ticker = ticker_});
}

bool OracleRun::play() {
    if (dice_.oneIn(64))
        cancel();
    start();
    for (qint64 steps = dice_.below(longestRun); steps > 0 && !isOver_; --steps)
        step();
    const bool crashes = ending_ == Ending::crash && config_.options.resume && !isOver_;
    const std::optional<ResumeRecord> left = crashes ? ResumeStore::load(world_.sidecar) : std::nullopt;
    count("crashes", crashes ? 1 : 0);
    if (ending_ != Ending::finish && !isOver_)
        cancel();
    drain();
    conclude();
    if (crashes) {
        ResumeStore::remove(world_.sidecar);
        if (left)
            ResumeStore::save(*left, world_.sidecar);
    }
    return error_ && isRecordable();
}

void OracleRun::start() {
    world_.runs.async([this] {
        try {
            outcome_ = engine_->run();
        } catch (const DownloadError& error) {
            error_ = error;
        }
        isOver_ = true;
        end_.set_value();
    });
    while (ticker_.additions() == 0 && !isOver_)
        std::this_thread::sleep_for(std::chrono::microseconds(10));
    passLock(*engine_);
}

void OracleRun::step() {
    const qint64 roll = dice_.below(100);
    if (roll < 62) {
        if (const std::shared_ptr<FakeTask> task = anyTask())
            act(*task);
        else
            static_cast<void>(tick(1.0));
    } else if (roll < 82) {
        static_cast<void>(tick(dice_.pick({0.25, 0.25, 0.25, 1.0, 1.6, 4.1, 16.0})));
    } else if (roll < 92) {
        pump();
    } else if (roll < 95) {
        release();
    } else if (roll < 97) {
        file_.holdSync();
    } else if (dice_.oneIn(4)) {
        if (roll == 99)
            return cancel();
        note([] { return "the disk is about to fail"; });
        using enum OracleFile::Fault;
        file_.failNext(dice_.pick({write, sync, sidecarWrite, sidecarSync}), dice_.pick({EIO, ENOSPC}));
    }
}

/// The server is honest from here on, so the run ends one way or the other.
void OracleRun::drain() {
    draining_ = true;
    note([] { return "from here on the server is honest, and a second passes whenever nothing is asked"; });
    for (qint64 turns = 0; !isOver_;) {
        release();
        pump();
        const auto live = http_.live();
        for (const std::shared_ptr<FakeTask>& task : live) {
            if (task->isComplete() || task->isRefused())
                continue;
            if (!task->hasAnswered())
                answerHonestly(*task);
            else if (left(*task) > 0)
                send(*task, left(*task));
            else
                finish(*task);
        }
        if (!live.empty())
            continue;
        // An engine that has ended tells its progress no more, but its thread has the disk to wait for.
        if (!tick(1.0)) {
            release();
            if (end_.get_future().wait_for(endDeadline) != std::future_status::ready)
                giveUp();
        } else if (++turns > longestDrain) {
            file_.complain("the run does not come to its end");
            cancel();
        }
    }
    world_.runs.sync([] {});
}

/// The engine's thread cannot be ended, so that is the end of the program.
void OracleRun::giveUp() const {
    for (const std::string& line : world_.log)
        std::cerr << line << '\n';
    std::cerr << "the run does not return\n";
    std::abort();
}

void OracleRun::pump() {
    if (!draining_)
        note([] { return "the asked cancellations happen"; });
    http_.pump();
}

bool OracleRun::tick(double seconds) {
    // While its thread ends the run, the engine's lock may be taken, and a tick would stand in its way.
    if (hasEnded())
        return false;
    if (!draining_)
        note([&] { return std::to_string(seconds) + " s pass"; });
    std::vector<std::shared_ptr<FakeTask>> going = http_.live();
    std::erase_if(going, [](const auto& task) { return task->isCancelAsked(); });
    const int faults = file_.faults(OracleFile::Fault::sync);
    const qint64 before = progressCount_;
    clock_.advance(seconds);
    ticker_.tick();
    // What the tick saves is saved before anything else happens, unless its sync is slow.
    if (engine_->isSaving() && file_.isHeldUp())
        count("slow syncs");
    else
        engine_->awaitSave();
    if (progressCount_ == before)
        return false;
    // A failed sync cancels everything, which is another story.
    if (file_.faults(OracleFile::Fault::sync) == faults) {
        for (const std::shared_ptr<FakeTask>& task : going) {
            if (task->isCancelAsked())
                count(task->hasAnswered() ? "replacements" : "sheds");
        }
    }
    return true;
}

void OracleRun::release() {
    file_.releaseSync();
    engine_->awaitSave();
}

void OracleRun::cancel() {
    note([] { return "cancelled"; });
    cancelled_ = true;
    cancelledInTime_ = cancelledInTime_ || !http_.live().empty() || !isWhole();
    engine_->cancel();
}

/// The chunk is taken and not yet in the file: other threads may do anything else meanwhile.
void OracleRun::duringWrite() {
    if (draining_ || busy_.size() > 2 || !dice_.oneIn(6))
        return;
    count("acts during writes");
    note([] { return "while it is being written:"; });
    const qint64 roll = dice_.below(20);
    if (roll == 0)
        cancel();
    else if (roll < 12)
        static_cast<void>(tick(dice_.pick({0.25, 1.0})));
    else if (const std::shared_ptr<FakeTask> task = anyTask())
        act(*task);
}

std::shared_ptr<FakeTask> OracleRun::anyTask() {
    auto live = http_.live();
    std::erase_if(live, [&](const auto& task) { return std::ranges::count(busy_, task.get()) > 0; });
    return live.empty() ? nullptr : live[static_cast<size_t>(dice_.below(std::ssize(live)))];
}

bool OracleRun::hasEnded() const {
    return isOver_ || cancelled_ || file_.dataFaults() > 0 ||
           (config_.total && isWhole() && http_.live().empty());
}

bool OracleRun::isWhole() const {
    return file_.held().count() == static_cast<size_t>(total_);
}

bool OracleRun::isRecordable() const {
    return config_.ranged && config_.options.resume && config_.total && total_ > 0;
}

std::string playSequence(OracleWorld& world, quint64 seed) {
    Dice dice(seed);
    const qint64 total = dice.oneIn(50) ? dice.below(3) : dice.between(1, dice.oneIn(2) ? 60 : 400);
    const bool known = total == 0 || !dice.oneIn(12);
    SegmentedConfig config = rangedConfig(known ? std::optional(total) : std::nullopt, dice.between(1, 8));
    setSources(config, static_cast<int>(dice.between(1, 3)));
    config.ranged = !dice.oneIn(8);
    config.sidecarPath = world.sidecar;
    config.options.minSegmentSize = dice.between(1, 20);
    config.options.maxRetries = dice.oneIn(4) ? dice.below(3) : 8;
    config.options.dynamicSplit = !dice.oneIn(8);
    config.options.resume = dice.oneIn(2);
    if (!dice.oneIn(4)) {
        for (qsizetype i = 0; i < config.sources.size(); ++i)
            config.validators[i].etag = OracleRun::versionAt(config.sources[i].host());
    }
    const QString host = config.sources.front().host();
    HostLimits::forget(host);
    if (dice.oneIn(8))
        HostLimits::set(host, dice.between(1, 8));

    world.log.clear();
    ResumeStore::remove(world.sidecar);
    OracleFile::Bytes held;
    for (int run = 0; run < 3; ++run) {
        world.file.begin(total, held);
        const bool goesOn = OracleRun(world, config, total, Dice(dice.seed())).play();
        const std::optional<ResumeRecord> record = ResumeStore::load(world.sidecar);
        if (!goesOn || !record || !world.file.complaint().empty())
            break;
        held = world.file.check(*record);
        config.resumeSegments = record->segments;
        world.coverage["resumes"] += held.any() ? 1 : 0;
    }
    HostLimits::forget(host);
    return world.file.takeComplaint();
}

} // namespace fetra::test
