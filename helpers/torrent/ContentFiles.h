#pragma once

#include "helpers/torrent/FileMark.h"

#include <libtorrent/torrent_info.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace fetra::torrent {

struct ContentFile {
    std::string path;
    /// Bytes, as the torrent says.
    qint64 size = 0;
    /// Its place among the files of the torrent.
    lt::file_index_t index{};
};

/// The files that a torrent's content goes to, and whose they are.
namespace ContentFiles {

using Marks = std::vector<FileMark>;

/// In the order of the torrent, those without content included.
[[nodiscard]] std::vector<ContentFile> of(const lt::torrent_info& info, const std::string& folder);

/// Makes the files ours: creates those that are missing, so that no other program takes their names. Throws
/// `Failure`, and leaves everything as it was, when one is somebody else's: neither is it among `recorded`,
/// which are the marks of an earlier claim or nothing, nor does it hold any of the content, nor is it empty
/// beside others that do. `verified` has the verified bytes of every file of the torrent.
[[nodiscard]] Marks claim(const std::vector<ContentFile>& files, const std::vector<std::int64_t>& verified,
                          const Marks& recorded);

/// Whether these are still the files that were claimed.
[[nodiscard]] bool areThose(const Marks& claimed, const Marks& now);

/// Throws `Failure` unless all these are the files that were claimed, and as long as they have to be.
void requireWhole(const std::vector<ContentFile>& files, const Marks& claimed, const Marks& now);

} // namespace ContentFiles
} // namespace fetra::torrent
