#pragma once

#include "helpers/torrent/Arguments.h"

#include <libtorrent/session.hpp>

#include <memory>

namespace fetra::torrent {

/// How far this program may reach, from its environment.
struct Reach {
    /// This computer only; no DHT, no peer exchange, no other discovery.
    bool local = false;
    /// "ADDRESS:PORT", or empty for the usual ones.
    QByteArray listen = {};

    [[nodiscard]] static Reach fromEnvironment();
};

/// A session for one torrent.
[[nodiscard]] std::unique_ptr<lt::session> makeSession(const Arguments& arguments, const Reach& reach);

} // namespace fetra::torrent
