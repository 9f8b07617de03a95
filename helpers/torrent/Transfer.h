#pragma once

#include "helpers/torrent/Arguments.h"
#include "helpers/torrent/ContentSync.h"
#include "helpers/torrent/ResumeRecord.h"
#include "helpers/torrent/StopRequest.h"

#include <libtorrent/fwd.hpp>
#include <libtorrent/session.hpp>
#include <libtorrent/torrent_handle.hpp>

#include <chrono>
#include <memory>
#include <optional>

namespace fetra::torrent {

/// One torrent, from its source to content that is verified and safe on the disk, and on through seeding.
class Transfer {
public:
    Transfer(const Arguments& arguments, StopRequest& stop);

    /// Blocks until the end, reporting on standard output. Throws `Failure`. Afterwards `leave` has to be
    /// called.
    void run();

    /// Saves what a later start needs and takes leave of the peers. When that takes more than four seconds,
    /// ends the program with `exitStatus`.
    void leave(int exitStatus);

private:
    using Moment = std::chrono::steady_clock::time_point;
    enum class Phase {
        /// Peers are asked for the torrent's description.
        describing,
        /// What is in the folder is compared with the torrent.
        examining,
        /// The files in the folder are ours from now on; the record that says so is written.
        claiming,
        downloading,
        /// Everything is verified and on its way to the disk.
        syncing,
        seeding,
        done,
    };

    void prepareFolder() const;
    void add(lt::add_torrent_params params);
    void describe(lt::add_torrent_params params);
    void examine(lt::add_torrent_params params);
    void turn();
    void advance(const lt::torrent_status& status);
    void take(lt::alert* alert);
    void keep(const lt::add_torrent_params& params);
    void admitContent();
    void finishSync(const lt::torrent_status& status);
    [[nodiscard]] bool hasGivenEnough(const lt::torrent_status& status);
    void report(const lt::torrent_status& status);
    /// Waits for the last resume data, for at most `patience`.
    [[nodiscard]] std::optional<lt::add_torrent_params> lastState(std::chrono::milliseconds patience);
    /// Brings the content to the disk, unless that takes too long.
    [[nodiscard]] bool isContentSafe();

    const Arguments arguments_;
    const std::string folder_;
    StopRequest& stop_;
    std::unique_ptr<lt::session> session_;
    std::optional<ResumeRecord> record_;
    lt::torrent_handle torrent_;
    std::shared_ptr<const lt::torrent_info> info_;
    std::vector<ContentFile> files_;
    /// The marks of the files: as an earlier start left them, then as claimed, then as brought to the disk.
    ContentFiles::Marks marks_;
    std::optional<ContentSync> sync_;
    Phase phase_ = Phase::describing;
    std::optional<Moment> ratioReached_;
    Moment lastReport_{};
    Moment lastSave_{};
};

} // namespace fetra::torrent
