#include "helpers/torrent/Transfer.h"

#include "helpers/torrent/ContentRules.h"
#include "helpers/torrent/Failure.h"
#include "helpers/torrent/SessionSettings.h"
#include "helpers/torrent/StatusReport.h"
#include "helpers/torrent/TorrentSource.h"
#include "system/PosixError.h"

#include <libtorrent/alert_types.hpp>
#include <libtorrent/torrent_status.hpp>

#include <filesystem>
#include <thread>

#include <unistd.h>

namespace fetra::torrent {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace {

constexpr auto turnLength = 100ms;
constexpr auto reportEvery = 500ms;
constexpr auto saveEvery = 30s;
constexpr auto farewell = 5s;

QString wordsOf(const lt::error_code& error) {
    return QString::fromStdString(error.message());
}

Failure diskFailure(const lt::error_code& error, const char* file) {
    if (error == boost::system::errc::no_space_on_device)
        return {u"The disk is full."_s};
    return {u"\"%1\" cannot be written: %2."_s.arg(QString::fromUtf8(file), wordsOf(error))};
}

} // namespace

Transfer::Transfer(const Arguments& arguments, StopRequest& stop)
    : arguments_(arguments)
    // Without a slash at its end.
    , folder_((std::filesystem::absolute(arguments.folder.toStdString()) / "").parent_path().string())
    , stop_(stop) {}

void Transfer::run() {
    lt::add_torrent_params params = readSource(arguments_);
    prepareFolder();
    record_.emplace(params.info_hashes, folder_);
    // A predecessor whose parent has just died needs a moment to notice and to save its state.
    for (const auto until = steady_clock::now() + 6s; !record_->claim();) {
        if (stop_.arrived())
            return;
        if (steady_clock::now() > until)
            throw Failure{u"This torrent is already being downloaded into this folder."_s};
        report({});
        std::this_thread::sleep_for(turnLength);
    }
    marks_ = record_->load(params);
    session_ = makeSession(arguments_, Reach::fromEnvironment());
    if (params.ti)
        examine(std::move(params));
    else
        describe(std::move(params));
    while (phase_ != Phase::done && !stop_.arrived())
        turn();
    if (phase_ == Phase::done)
        record_->remove();
    if (phase_ == Phase::done || phase_ == Phase::seeding)
        StatusReport::done(Figures::of(torrent_.status(), true));
}

void Transfer::prepareFolder() const {
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    if (!error && ::access(folder_.c_str(), W_OK | X_OK) != 0)
        error = std::error_code(errno, std::generic_category());
    if (error)
        throw Failure{u"The folder \"%1\" cannot be written: %2."_s.arg(
            QString::fromStdString(folder_), PosixError(error.value()).description())};
}

void Transfer::add(lt::add_torrent_params params) {
    params.save_path = folder_;
    params.flags |= lt::torrent_flags::apply_ip_filter | lt::torrent_flags::need_save_resume;
    params.file_priorities.clear();
    params.piece_priorities.clear();
    lt::error_code error;
    torrent_ = session_->add_torrent(std::move(params), error);
    if (error)
        throw Failure{u"The torrent cannot be started: %1."_s.arg(wordsOf(error))};
}

void Transfer::describe(lt::add_torrent_params params) {
    params.flags = lt::torrent_flags::default_dont_download;
    add(std::move(params));
}

void Transfer::examine(lt::add_torrent_params params) {
    if (const auto objection = ContentRules::objection(*params.ti, folder_))
        throw Failure{*objection};
    phase_ = Phase::examining;
    info_ = params.ti;
    files_ = ContentFiles::of(*info_, folder_);
    // Nothing is to be written before the content has been looked at.
    params.flags = lt::torrent_flags::stop_when_ready;
    add(std::move(params));
}

void Transfer::turn() {
    session_->wait_for_alert(turnLength);
    std::vector<lt::alert*> alerts;
    session_->pop_alerts(&alerts);
    for (lt::alert* const alert : alerts)
        take(alert);
    const lt::torrent_status status = torrent_.status();
    advance(status);
    report(status);
}

void Transfer::take(lt::alert* alert) {
    if (const auto* const failed = lt::alert_cast<lt::torrent_error_alert>(alert))
        throw Failure{u"The torrent cannot go on: %1."_s.arg(wordsOf(failed->error))};
    if (const auto* const failed = lt::alert_cast<lt::file_error_alert>(alert))
        throw diskFailure(failed->error, failed->filename());
    if (const auto* const failed = lt::alert_cast<lt::save_resume_data_failed_alert>(alert);
        failed && (phase_ == Phase::describing || phase_ == Phase::claiming))
        throw Failure{u"The state of the torrent cannot be told: %1."_s.arg(wordsOf(failed->error))};
    if (const auto* const saved = lt::alert_cast<lt::save_resume_data_alert>(alert))
        keep(saved->params);
    else if (lt::alert_cast<lt::metadata_received_alert>(alert) && phase_ == Phase::describing)
        torrent_.save_resume_data(lt::torrent_handle::save_info_dict);
    else if (lt::alert_cast<lt::cache_flushed_alert>(alert) && phase_ == Phase::syncing)
        sync_.emplace(files_, folder_);
}

void Transfer::keep(const lt::add_torrent_params& params) {
    if (phase_ == Phase::describing) {
        // It starts anew with the description, and with the peers that are known by now.
        session_->remove_torrent(torrent_);
        examine(params);
        return;
    }
    record_->save(params, marks_, ResumeRecord::Trust::check);
    if (phase_ == Phase::claiming) {
        phase_ = Phase::downloading;
        torrent_.resume();
    }
}

void Transfer::advance(const lt::torrent_status& status) {
    using State = lt::torrent_status;
    const bool isExamined = (status.flags & lt::torrent_flags::paused) &&
                            status.state != State::checking_files &&
                            status.state != State::checking_resume_data;
    if (phase_ == Phase::examining && isExamined)
        admitContent();
    if (phase_ == Phase::downloading && status.is_seeding) {
        phase_ = Phase::syncing;
        torrent_.flush_cache();
    }
    if (phase_ == Phase::syncing && sync_)
        finishSync(status);
    if (phase_ == Phase::seeding && hasGivenEnough(status))
        phase_ = Phase::done;
    if (phase_ == Phase::downloading && steady_clock::now() - lastSave_ >= saveEvery) {
        lastSave_ = steady_clock::now();
        torrent_.save_resume_data(lt::torrent_handle::save_info_dict | lt::torrent_handle::only_if_modified);
    }
}

void Transfer::admitContent() {
    std::vector<std::int64_t> verified;
    torrent_.file_progress(verified, lt::torrent_handle::piece_granularity);
    marks_ = ContentFiles::claim(files_, verified, marks_);
    phase_ = Phase::claiming;
    lastSave_ = steady_clock::now();
    torrent_.save_resume_data(lt::torrent_handle::save_info_dict);
}

void Transfer::finishSync(const lt::torrent_status& status) {
    const std::optional<ContentSync::Outcome> outcome = sync_->outcome();
    if (!outcome)
        return;
    if (outcome->error != 0)
        throw Failure{u"The content cannot be brought to the disk: %1."_s.arg(
            PosixError(outcome->error).description())};
    ContentFiles::requireWhole(files_, marks_, outcome->marks);
    marks_ = outcome->marks;
    // Who may not upload has nothing to seed.
    const bool seeds = arguments_.seed && arguments_.uploadLimitKB > 0;
    phase_ = seeds ? Phase::seeding : Phase::done;
    lastReport_ = {};
    report(status);
}

/// As much as the content is long. What was sent last may still be on its way: peers that have it all leave.
bool Transfer::hasGivenEnough(const lt::torrent_status& status) {
    if (status.all_time_upload < info_->total_size())
        return false;
    if (!ratioReached_)
        ratioReached_ = steady_clock::now();
    return status.num_peers == 0 || steady_clock::now() - *ratioReached_ >= farewell;
}

void Transfer::report(const lt::torrent_status& status) {
    if (steady_clock::now() - lastReport_ < reportEvery)
        return;
    lastReport_ = steady_clock::now();
    if (!StatusReport::status(Figures::of(status, phase_ >= Phase::seeding)))
        stop_.raise();
}

bool Transfer::isContentSafe() {
    if (phase_ == Phase::seeding)
        return true;
    // Not judged yet, or found wanting. A sync that has failed once may succeed the second time for nothing.
    if (phase_ == Phase::syncing)
        return false;
    const auto outcome = ContentSync(files_, folder_).outcome(2s);
    if (!outcome || outcome->error != 0 || !ContentFiles::areThose(marks_, outcome->marks))
        return false;
    marks_ = outcome->marks;
    return true;
}

std::optional<lt::add_torrent_params> Transfer::lastState(std::chrono::milliseconds patience) {
    torrent_.pause();
    torrent_.save_resume_data(lt::torrent_handle::flush_disk_cache | lt::torrent_handle::save_info_dict);
    std::optional<lt::add_torrent_params> state;
    for (const auto until = steady_clock::now() + patience; !state && steady_clock::now() < until;) {
        session_->wait_for_alert(turnLength);
        std::vector<lt::alert*> alerts;
        session_->pop_alerts(&alerts);
        for (lt::alert* const alert : alerts) {
            if (const auto* const saved = lt::alert_cast<lt::save_resume_data_alert>(alert))
                state = saved->params;
            if (lt::alert_cast<lt::save_resume_data_failed_alert>(alert))
                return std::nullopt;
        }
    }
    return state;
}

void Transfer::leave(int exitStatus) {
    // Whatever hangs, a disk or a tracker, may not keep this program.
    std::thread([exitStatus] {
        std::this_thread::sleep_for(4s);
        ::_exit(exitStatus);
    }).detach();
    if (!session_)
        return;
    // Before the download began, the record on the disk is the better one.
    const bool holdsContent =
        phase_ == Phase::downloading || phase_ == Phase::syncing || phase_ == Phase::seeding;
    if (holdsContent)
        if (const auto state = lastState(1'500ms)) {
            const bool isSafe = isContentSafe();
            record_->save(*state, marks_, isSafe ? ResumeRecord::Trust::content : ResumeRecord::Trust::check);
        }
    session_.reset();
}

} // namespace fetra::torrent
