#include "OracleRun.h"

#include "segmented/HostLimits.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 longestRun = 60;
constexpr qint64 longestDrain = 2'000;
constexpr auto endDeadline = std::chrono::seconds(30);
constexpr std::array pauses{0.25, 0.25, 0.25, 1.0, 1.6, 4.1, 16.0};
const QByteArray version = "\"1\"";

std::string named(const FakeTask& task) {
    return "request " + std::to_string(task.identifier()) + " (" + task.range().toStdString() + ")";
}

/// Stands for a request that the engine does not know.
class StrangerTask final : public HTTPTask {
public:
    [[nodiscard]] quint64 identifier() const override { return 0; }
    void resume() override {}
    void cancel() override {}
};

} // namespace

quint64 Dice::next() {
    state_ += 0x9E37'79B9'7F4A'7C15;
    quint64 mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58'476D'1CE4'E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D0'49BB'1331'11EB;
    return mixed ^ (mixed >> 31);
}

const char* nameOf(Event event) {
    static constexpr std::array<const char*, static_cast<size_t>(Event::count)> names{"splits",
                                                                                      "sheds",
                                                                                      "replacements",
                                                                                      "refusals",
                                                                                      "full bodies",
                                                                                      "limits raised",
                                                                                      "failures",
                                                                                      "write faults",
                                                                                      "sync faults",
                                                                                      "sidecar faults",
                                                                                      "acts during writes",
                                                                                      "slow syncs",
                                                                                      "records",
                                                                                      "crashes",
                                                                                      "resumes",
                                                                                      "finishes",
                                                                                      "resumed finishes",
                                                                                      "cancelled",
                                                                                      "I/O errors",
                                                                                      "exhausted",
                                                                                      "ranges not honoured",
                                                                                      "size mismatches"};
    return names[static_cast<size_t>(event)];
}

RunThread::RunThread()
    : thread_([this] {
        for (wake_.acquire(); !stopping_; wake_.acquire()) {
            work_();
            done_ = true;
            news_.release();
        }
    }) {}

RunThread::~RunThread() {
    stopping_ = true;
    wake_.release();
    thread_.join();
}

void RunThread::start(std::function<void()> work) {
    work_ = std::move(work);
    done_ = false;
    while (news_.try_acquire()) {
    }
    wake_.release();
    news_.acquire();
}

bool RunThread::waitUntilDone(std::chrono::seconds longest) {
    const auto deadline = std::chrono::steady_clock::now() + longest;
    while (!done_) {
        if (!news_.try_acquire_until(deadline))
            return false;
    }
    return true;
}

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
    , ticker_(world.thread) {
    random_.set(static_cast<double>(dice_.below(5)) / 4);
    http_.onStart = [this](FakeTask& task) { checkRequest(task); };
    file_.midWrite = [this] { duringWrite(); };
    sink_ = std::make_unique<FileSink>(file_.path(), config_.total, FileSink::Existing::required);
    engine_ = std::make_unique<SegmentedDownload>(
        config_, *sink_, [this](const DownloadProgress& progress) { checkProgress(progress); },
        EngineServices{.http = http_, .clock = clock_, .random = random_, .ticker = ticker_});
}

bool OracleRun::play() {
    if (dice_.oneIn(64))
        cancel();
    start();
    for (qint64 steps = dice_.below(longestRun); steps > 0 && !isOver(); --steps)
        step();
    if (ending_ == Ending::crash && config_.options.resume && !isOver()) {
        crash_ = ResumeStore::load(world_.sidecar);
        count(Event::crashes);
        note([] { return "crash"; });
    }
    if (ending_ != Ending::finish && !isOver())
        cancel();
    drain();
    conclude();
    const bool goesOn = error_ && config_.ranged && config_.total && config_.options.resume;
    if (goesOn && crash_) {
        ResumeStore::remove(world_.sidecar);
        if (*crash_)
            ResumeStore::save(**crash_, world_.sidecar);
    }
    return goesOn;
}

void OracleRun::start() {
    world_.thread.start([this] {
        try {
            outcome_ = engine_->run();
        } catch (const DownloadError& error) {
            error_ = error;
        }
    });
    // The registration is the last that happens before the engine gives its lock away for the first time.
    StrangerTask stranger;
    engine_->didComplete(stranger, nullptr);
}

void OracleRun::step() {
    const qint64 roll = dice_.below(100);
    if (roll < 62) {
        if (const std::shared_ptr<FakeTask> task = anyTask())
            act(*task);
        else
            static_cast<void>(tick(1.0));
    } else if (roll < 82) {
        static_cast<void>(tick(pauses[static_cast<size_t>(dice_.below(pauses.size()))]));
    } else if (roll < 92) {
        pump();
    } else if (roll < 95) {
        release();
    } else if (roll < 97) {
        file_.holdSync();
    } else if (roll < 99) {
        if (dice_.oneIn(4))
            schemeFault();
    } else if (dice_.oneIn(4)) {
        cancel();
    }
}

/// The server is honest from here on, so the run ends one way or the other.
void OracleRun::drain() {
    draining_ = true;
    note([] { return "from here on the server is honest, and a second passes whenever nothing is asked"; });
    for (qint64 turns = 0; !isOver();) {
        release();
        pump();
        const auto live = http_.live();
        for (const std::shared_ptr<FakeTask>& task : live) {
            if (task->isComplete() || task->isRefused())
                continue;
            if (!task->hasAnswered())
                respond(*task, honestHead(*task), false);
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
            if (!world_.thread.waitUntilDone(endDeadline))
                giveUp();
        } else if (++turns > longestDrain) {
            file_.complain("the run does not come to its end");
            cancel();
        }
    }
}

/// The engine's thread cannot be ended, so that is the end of the program.
void OracleRun::giveUp() const {
    for (const std::string& line : world_.log)
        std::cerr << line << '\n';
    std::cerr << "the run does not return\n";
    std::abort();
}

void OracleRun::act(FakeTask& task) {
    if (task.isRefused())
        return task.fail(TransportError::cancelled, u"cancelled"_s);
    if (task.hasAnswered())
        return receive(task);
    const qint64 roll = dice_.below(100);
    if (roll < 72)
        respond(task, honestHead(task), false);
    else if (roll < 84)
        answerDishonestly(task);
    else if (roll < 90)
        fail(task);
}

void OracleRun::answerDishonestly(FakeTask& task) {
    if (config_.ranged)
        refuseRange(task);
    else
        refuseWhole(task);
}

/// A range that is not the one that was asked for, or none at all.
void OracleRun::refuseRange(FakeTask& task) {
    HTTPResponse response = honestHead(task);
    const auto setRange = [&](qint64 first, qint64 total) {
        response.headers.set("Content-Range", "bytes " + QByteArray::number(first) + '-' +
                                                  QByteArray::number(total - 1) + '/' +
                                                  QByteArray::number(total));
    };
    bool mustRefuse = true;
    switch (dice_.below(9)) {
    case 0:
        setRange(task.first() + 1 + dice_.below(3), total_);
        break;
    case 1:
        setRange(task.first(), total_ + 1);
        mustRefuse = config_.total.has_value();
        break;
    case 2:
        response.headers.remove("Content-Range");
        break;
    case 3:
        response.headers.set("ETag", "\"2\"");
        mustRefuse = config_.validators.front().etag.has_value();
        saidOtherVersion_ = true;
        break;
    case 4:
        response = head(200, total_, {{"ETag", version}});
        saidFullBody_ = true;
        mustRefuse = false;
        break;
    case 5:
    case 6:
        response = head(dice_.oneIn(2) ? 503 : 429, 0);
        if (dice_.oneIn(2))
            response.headers.set("Retry-After", dice_.oneIn(2) ? "1" : dice_.oneIn(2) ? "30" : "soon");
        break;
    default:
        response = head(std::array{0, 404, 416, 500}[static_cast<size_t>(dice_.below(4))], 0);
    }
    respond(task, response, mustRefuse);
}

/// Anything but the whole file from the server that it was asked of.
void OracleRun::refuseWhole(FakeTask& task) {
    HTTPResponse response = head(503, 0);
    const bool isMirror = task.request().url.host().endsWith(u"0.test"_s) == false;
    switch (dice_.below(4)) {
    case 0:
        if (dice_.oneIn(2))
            response.headers.set("Retry-After", "1");
        break;
    case 1:
        response.status = std::array{0, 302, 404, 500}[static_cast<size_t>(dice_.below(4))];
        break;
    case 2:
        response = head(206, 1, {{"Content-Range", "bytes 1-1/" + QByteArray::number(total_)}});
        break;
    default:
        if (isMirror && config_.validators.front().etag) {
            response = head(200, total_, {{"ETag", "\"2\""}});
        } else if (config_.total) {
            response = head(200, total_ + 1, {{"ETag", version}});
            saidOtherSize_ = true;
        }
    }
    respond(task, response, true);
}

HTTPResponse OracleRun::honestHead(const FakeTask& task) const {
    if (!config_.ranged)
        return head(200, config_.total || total_ % 2 == 0 ? total_ : -1, {{"ETag", version}});
    const qint64 last = task.last().value_or(total_ - 1);
    if (task.first() > last)
        return head(416, 0);
    return head(206, last - task.first() + 1,
                {{"ETag", version},
                 {"Content-Range", "bytes " + QByteArray::number(task.first()) + '-' +
                                       QByteArray::number(last) + '/' + QByteArray::number(total_)}});
}

void OracleRun::respond(FakeTask& task, const HTTPResponse& response, bool mustRefuse) {
    note([&] { return named(task) + " answered with " + std::to_string(response.status); });
    const bool allowed = task.respond(response) == HTTPDisposition::allow;
    if (!allowed) {
        count(Event::refusals);
        ++failures_;
        return;
    }
    if (mustRefuse)
        file_.complain("an answer that should have been refused");
    const bool isWhole = response.status == 200;
    bodies_[task.identifier()] = {.end = isWhole ? total_ : task.last().value_or(total_ - 1) + 1,
                                  .open = !config_.total && (config_.ranged || response.expectedLength < 0)};
    if (isWhole && config_.ranged) {
        count(Event::fullBodies);
        file_.rewind();
    }
}

qint64 OracleRun::left(const FakeTask& task) const {
    return bodies_.at(task.identifier()).end - task.position();
}

void OracleRun::receive(FakeTask& task) {
    const bool open = bodies_.at(task.identifier()).open;
    const qint64 roll = dice_.below(100);
    if (left(task) > 0) {
        if (roll < 85)
            send(task, dice_.oneIn(3) ? left(task) : std::min(left(task), dice_.between(1, 40)));
        else if (roll < 91)
            fail(task);
        else if (roll < 95 && !open)
            finish(task);
        return;
    }
    if (roll < 10)
        fail(task);
    else if (roll > 90 && !open && total_ == bodies_.at(task.identifier()).end) {
        saidOtherSize_ = true;
        send(task, dice_.between(1, 20));
    } else
        finish(task);
}

void OracleRun::send(FakeTask& task, qint64 bytes) {
    note([&] {
        return named(task) + " gets " + std::to_string(bytes) + " bytes at " +
               std::to_string(task.position());
    });
    busy_.push_back(&task);
    task.send({file_.content().constData() + task.position(), static_cast<size_t>(bytes)});
    busy_.pop_back();
}

void OracleRun::finish(FakeTask& task) {
    note([&] { return named(task) + " ends"; });
    const bool early = left(task) > 0;
    task.finish();
    completed(task, early);
}

void OracleRun::fail(FakeTask& task) {
    note([&] { return named(task) + " fails"; });
    const bool early = !task.hasAnswered() || left(task) > 0 || bodies_.at(task.identifier()).open;
    task.fail(dice_.oneIn(2) ? TransportError::timedOut : TransportError::connectionLost, u"no luck"_s);
    completed(task, early);
}

/// Without ranges everything begins again.
void OracleRun::completed(FakeTask& task, bool failed) {
    bodies_.erase(task.identifier());
    if (!failed)
        return;
    count(Event::failures);
    ++failures_;
    if (!config_.ranged)
        file_.rewind();
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
    const int faults = file_.syncFaults();
    const qint64 before = progressCount_;
    clock_.advance(seconds);
    ticker_.tick();
    // What the tick saves is saved before anything else happens, unless its sync is slow.
    if (engine_->isSaving() && file_.isHeldUp())
        count(Event::slowSyncs);
    else
        engine_->awaitSave();
    if (progressCount_ == before)
        return false;
    // A failed sync cancels everything, which is another story.
    if (file_.syncFaults() == faults) {
        for (const std::shared_ptr<FakeTask>& task : going) {
            if (task->isCancelAsked())
                count(task->hasAnswered() ? Event::replacements : Event::sheds);
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

void OracleRun::schemeFault() {
    const int code = dice_.oneIn(2) ? EIO : ENOSPC;
    OracleFile::Faults faults;
    switch (dice_.below(4)) {
    case 0:
        faults.write = code;
        break;
    case 1:
        faults.sync = code;
        break;
    case 2:
        faults.sidecarWrite = code;
        break;
    default:
        faults.sidecarSync = code;
    }
    note([] { return "the disk is about to fail"; });
    file_.setFaults(faults);
}

/// The chunk is taken and not yet in the file: other threads may do anything else meanwhile.
void OracleRun::duringWrite() {
    if (draining_ || busy_.size() > 2 || !dice_.oneIn(6))
        return;
    count(Event::actsDuringWrites);
    note([] { return "while it is being written:"; });
    const qint64 roll = dice_.below(20);
    if (roll == 0)
        cancel();
    else if (roll < 12)
        static_cast<void>(tick(dice_.oneIn(2) ? 0.25 : 1.0));
    else if (const std::shared_ptr<FakeTask> task = anyTask())
        act(*task);
}

std::shared_ptr<FakeTask> OracleRun::anyTask() {
    auto live = http_.live();
    std::erase_if(live, [&](const auto& task) { return std::ranges::count(busy_, task.get()) > 0; });
    return live.empty() ? nullptr : live[static_cast<size_t>(dice_.below(std::ssize(live)))];
}

bool OracleRun::hasEnded() const {
    return isOver() || cancelled_ || file_.writeFaults() + file_.syncFaults() > 0 ||
           (config_.total && isWhole() && http_.live().empty());
}

bool OracleRun::isWhole() const {
    return file_.held().count() == static_cast<size_t>(total_);
}

/// Nothing is asked for that is held.
void OracleRun::checkRequest(const FakeTask& task) {
    note([&] { return named(task) + " leaves"; });
    if (task.range().isEmpty() == config_.ranged)
        file_.complain("a range where there are none, or none where there are");
    if (!config_.ranged)
        return;
    const OracleFile::Bytes held = file_.held();
    const qint64 last = task.last().value_or(total_ - 1);
    // Only who does not know the size can ask for what follows the file.
    if ((task.last() && task.first() > last) || last >= total_)
        file_.complain("a request outside the file");
    for (qint64 i = task.first(); i <= last && i < total_; ++i) {
        if (held[static_cast<size_t>(i)])
            return file_.complain("a request for byte " + std::to_string(i) + ", which is held");
    }
}

/// The segments tile the file, and what they have received is what has been taken.
void OracleRun::checkProgress(const DownloadProgress& progress) {
    const std::lock_guard lock(progressMutex_);
    ++progressCount_;
    const OracleFile::Bytes held = file_.held();
    std::vector<SegmentSnapshot> segments(progress.segments.begin(), progress.segments.end());
    std::ranges::sort(segments, {}, &SegmentSnapshot::start);
    qint64 next = 0;
    qint64 received = 0;
    qint64 active = 0;
    for (const SegmentSnapshot& segment : segments) {
        const bool open = segment.end == -1 && segment.current < total_ + 1 && !progress.totalBytes;
        const qint64 end = open ? total_ - 1 : segment.end;
        if (segment.start != next || segment.current < segment.start || segment.current > end + 1)
            return file_.complain("segments that do not tile the file");
        for (qint64 i = segment.start; i < segment.current; ++i) {
            if (!held[static_cast<size_t>(i)])
                return file_.complain("byte " + std::to_string(i) + " counted, but not received");
        }
        next = end + 1;
        received += segment.current - segment.start;
        active += segment.active ? 1 : 0;
    }
    if (next != total_ || progress.totalBytes.value_or(total_) != total_)
        file_.complain("segments that do not reach the end of the file");
    if (received != progress.receivedBytes || received != static_cast<qint64>(held.count()))
        file_.complain("received says " + std::to_string(progress.receivedBytes) + " bytes of " +
                       std::to_string(held.count()));
    if (active != progress.activeConnections || active > config_.options.connections)
        file_.complain("more connections than allowed");
    if (progress_) {
        count(Event::splits, progress.segments.size() - progress_->segments.size());
        count(Event::limitsRaised, progress.connectionLimit > progress_->connectionLimit ? 1 : 0);
    }
    progress_ = progress;
}

void OracleRun::conclude() {
    file_.end();
    file_.midWrite = nullptr;
    if (!http_.live().empty() || ticker_.size() != 0 || !sink_->isClosed())
        file_.complain("something goes on after the end");
    if (file_.writeFaults() + file_.syncFaults() > 0 && !error_)
        file_.complain("a finished run on a failed disk");
    if (cancelledInTime_ && !error_)
        file_.complain("a cancelled run that finished");
    if (error_)
        checkError(*error_);
    else
        checkOutcome(*outcome_);
    count(Event::records, file_.recordCount());
    count(Event::writeFaults, file_.writeFaults());
    count(Event::syncFaults, file_.syncFaults());
    count(Event::sidecarFaults, file_.sidecarFaults());
    engine_.reset();
    sink_.reset();
}

void OracleRun::checkOutcome(const SegmentedOutcome& outcome) {
    note([] { return "finished"; });
    count(Event::finishes);
    count(Event::resumedFinishes, heldBefore_.any() ? 1 : 0);
    file_.checkWhole();
    if (outcome.totalWritten != total_ || outcome.finalSize != total_ ||
        outcome.resumedBytes != static_cast<qint64>(heldBefore_.count()) ||
        outcome.peakConnections > config_.options.connections)
        file_.complain("an outcome with wrong figures");
    const std::optional<ResumeRecord> record = ResumeStore::load(world_.sidecar);
    if (record && file_.sidecarFaults() == 0 && !record->isComplete())
        file_.complain("a finished run left a record of an unfinished one");
}

/// No run ends without its cause, and none that can be gone on with forgets a byte.
void OracleRun::checkError(const DownloadError& error) {
    note([&] { return "ended: " + error.errorDescription().toStdString(); });
    const auto expect = [&](Event event, bool explained) {
        count(event);
        if (!explained)
            file_.complain("ended without a cause: " + error.errorDescription().toStdString());
    };
    if (error.is<DownloadError::Cancelled>())
        expect(Event::cancelled, cancelled_);
    else if (error.is<DownloadError::Io>())
        expect(Event::ioErrors, file_.writeFaults() + file_.syncFaults() > 0);
    else if (error.is<DownloadError::ExhaustedRetries>())
        expect(Event::exhausted, failures_ > config_.options.maxRetries);
    else if (error.is<DownloadError::RangeNotHonored>())
        expect(Event::rangesNotHonored, saidFullBody_ || saidOtherVersion_);
    else
        expect(Event::sizeMismatches, error.is<DownloadError::SizeMismatch>() && saidOtherSize_);

    const std::optional<ResumeRecord> record = ResumeStore::load(world_.sidecar);
    const bool recordable = config_.ranged && config_.options.resume && config_.total && total_ > 0;
    if (record && !recordable)
        file_.complain("a record of a run that cannot be resumed");
    const OracleFile::Bytes claimed = record ? file_.check(*record) : OracleFile::Bytes();
    const bool saved = file_.sidecarFaults() == 0 && file_.syncFaults() == 0;
    if (recordable && saved && claimed != file_.held())
        file_.complain("the last record does not claim what is held");
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
        for (Validators& each : config.validators)
            each.etag = QString::fromLatin1(version);
    }
    const QString host = config.sources.front().host();
    HostLimits::forget(host);
    if (dice.oneIn(8))
        HostLimits::set(host, dice.between(1, 8));
    const auto piece = static_cast<size_t>(dice.oneIn(4) ? dice.between(1, 20) : OracleFile::capacity);

    world.log.clear();
    ResumeStore::remove(world.sidecar);
    OracleFile::Bytes held;
    for (int run = 0; run < 3; ++run) {
        world.file.begin(total, held, piece);
        const bool goesOn = OracleRun(world, config, total, Dice(dice.next())).play();
        const std::optional<ResumeRecord> record = ResumeStore::load(world.sidecar);
        if (!goesOn || !record || !world.file.complaint().empty())
            break;
        held = world.file.check(*record);
        config.resumeSegments = record->segments;
        world.coverage[static_cast<size_t>(Event::resumes)] += held.any() ? 1 : 0;
    }
    HostLimits::forget(host);
    return world.file.takeComplaint();
}

} // namespace fetra::test
