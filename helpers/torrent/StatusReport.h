#pragma once

#include <QString>

#include <libtorrent/torrent_status.hpp>

namespace fetra::torrent {

/// What the reports say of a transfer. Sizes in bytes, speeds in bytes per second.
struct Figures {
    /// Empty until it is known.
    QString name = {};
    qint64 total = 0;
    qint64 completed = 0;
    int peers = 0;
    int seeds = 0;
    int rate = 0;
    int upload = 0;
    qint64 uploaded = 0;

    /// `complete`: every byte has been verified and is safe on the disk. Until then the figures never say so.
    [[nodiscard]] static Figures of(const lt::torrent_status& status, bool complete);
};

/// Writes a JSON object a line to standard output. Each call answers whether somebody still reads there.
namespace StatusReport {

bool status(const Figures& figures);
bool done(const Figures& figures);
bool error(const QString& sentence);

} // namespace StatusReport
} // namespace fetra::torrent
