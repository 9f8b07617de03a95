#pragma once

#include "helpers/torrent/Arguments.h"

#include <libtorrent/add_torrent_params.hpp>

namespace fetra::torrent {

/// Reads the magnet link or the `.torrent` file that the arguments name. Throws `Failure`.
[[nodiscard]] lt::add_torrent_params readSource(const Arguments& arguments);

} // namespace fetra::torrent
