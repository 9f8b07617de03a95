#pragma once

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
    [[nodiscard]] bool claim();

    /// Adds what the record says to `params`. False when there is no record.
    [[nodiscard]] bool load(lt::add_torrent_params& params) const;
    /// Replaces the record. One that cannot be written is no failure of the transfer.
    void save(const lt::add_torrent_params& params, Trust trust) const;
    void remove() const;

private:
    QString path_;
    PosixFile::Descriptor claim_;
};

} // namespace fetra::torrent
