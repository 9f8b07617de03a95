#pragma once

#include <QString>
#include <QStringList>

#include <optional>

/// Where the program that transfers torrents is looked for.
namespace fetra::TorrentHelperSearch {

struct Surroundings {
    /// The value of FETRA_TORRENT_HELPER.
    std::optional<QString> override = {};
    /// The folder of the running program, links resolved.
    QString programFolder = {};
    /// The value of PATH.
    QString path = {};

    /// Those of this process.
    [[nodiscard]] static Surroundings current();
};

/// Every place, in the order of preference.
[[nodiscard]] QStringList candidates(const Surroundings& surroundings);

/// The first candidate that is an executable file.
[[nodiscard]] std::optional<QString> find(const Surroundings& surroundings);

} // namespace fetra::TorrentHelperSearch
