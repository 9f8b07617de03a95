#pragma once

#include "helpers/torrent/ContentFiles.h"
#include "system/PosixFile.h"

#include <QString>

#include <libtorrent/add_torrent_params.hpp>

#include <string>

namespace fetra::torrent {

/// What is known of one torrent in one folder, kept between starts in Fetra/torrents of the user's data
/// folder, so that nothing of ours lies beside the content.
class ResumeRecord {
public:
    /// Whether what a record says of the content can be believed.
    enum class Trust {
        /// The content has to be read and compared: it may have been written to since, or not reached the
        /// disk.
        check,
        /// All that the record vouches for is safe on the disk.
        content,
    };

    /// Throws `Failure` when the user's data folder cannot be written.
    ResumeRecord(const lt::info_hash_t& torrent, const std::string& folder);

    /// True once no other program transfers this torrent into this folder. Until then it may be asked again.
    /// Throws `Failure` when that cannot be found out.
    [[nodiscard]] bool claim();

    /// Adds what the record says to `params`; nothing of the content when a file was changed since. Returns
    /// the marks of the files that the record was saved with; none when there is no record.
    [[nodiscard]] ContentFiles::Marks load(lt::add_torrent_params& params) const;
    /// Replaces the record. `marks` are those of the files that were claimed, and for `Trust::content` as
    /// they were when they had been brought to the disk. A record that cannot be written is no failure of the
    /// transfer.
    void save(const lt::add_torrent_params& params, const ContentFiles::Marks& marks, Trust trust) const;
    void remove() const;

private:
    const std::string folder_;
    QString path_;
    PosixFile::Descriptor claim_;
};

} // namespace fetra::torrent
