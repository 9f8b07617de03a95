#pragma once

#include <QString>

#include <libtorrent/torrent_info.hpp>

#include <optional>
#include <string>

/// What a torrent may do to the folder that it is downloaded into.
namespace fetra::torrent::ContentRules {

/// Why this content must not be written below `folder`, as a sentence: it names places outside, it holds
/// links, or a link is in its way. Nothing when it may.
[[nodiscard]] std::optional<QString> objection(const lt::torrent_info& info, const std::string& folder);

} // namespace fetra::torrent::ContentRules
