#include "helpers/torrent/SessionSettings.h"

#include <libtorrent/extensions/smart_ban.hpp>
#include <libtorrent/extensions/ut_metadata.hpp>
#include <libtorrent/extensions/ut_pex.hpp>
#include <libtorrent/fingerprint.hpp>
#include <libtorrent/ip_filter.hpp>
#include <libtorrent/peer_class.hpp>
#include <libtorrent/session_params.hpp>

#include <algorithm>
#include <limits>

namespace fetra::torrent {

namespace {

using Pack = lt::settings_pack;

int bytesPerSecond(qint64 kilobytes) {
    return static_cast<int>(std::min<qint64>(kilobytes, std::numeric_limits<int>::max() / 1'024) * 1'024);
}

void setLimits(Pack& pack, const Arguments& arguments) {
    pack.set_int(Pack::download_rate_limit, bytesPerSecond(arguments.downloadLimitKB));
    pack.set_int(Pack::upload_rate_limit, bytesPerSecond(arguments.uploadLimitKB));
    // To the library a rate of 0 is no limit. What keeps uploads at none is that no peer may ask: none is
    // unchoked, and none gets pieces that it may ask for while choked.
    if (arguments.uploadLimitKB == 0) {
        pack.set_int(Pack::unchoke_slots_limit, 0);
        pack.set_int(Pack::allowed_fast_set_size, 0);
    }
}

void setReach(Pack& pack, const Reach& reach) {
    for (const int discovery : {Pack::enable_dht, Pack::enable_lsd, Pack::enable_upnp, Pack::enable_natpmp})
        pack.set_bool(discovery, !reach.local);
    // Any free port: several of these programs run at a time.
    pack.set_str(Pack::listen_interfaces, reach.local ? "127.0.0.1:0" : "0.0.0.0:0,[::]:0");
    if (reach.local) {
        pack.set_str(Pack::outgoing_interfaces, "127.0.0.1");
        pack.set_bool(Pack::allow_multiple_connections_per_ip, true);
    }
    if (!reach.listen.isEmpty()) {
        pack.set_str(Pack::listen_interfaces, reach.listen.toStdString());
        // Nobody would look for it at the next port.
        pack.set_int(Pack::max_retry_port_bind, 0);
    }
}

Pack settings(const Arguments& arguments, const Reach& reach) {
    Pack pack;
    pack.set_str(Pack::user_agent, "Fetra/" FETRA_VERSION);
    pack.set_str(Pack::peer_fingerprint, lt::generate_fingerprint("FE", 1, 0));
    pack.set_int(Pack::alert_mask,
                 static_cast<int>(static_cast<std::uint32_t>(
                     lt::alert_category::error | lt::alert_category::status | lt::alert_category::storage)));
    // A full disk is an error of a write; in mapped memory it would be a signal. So no file is mapped.
    pack.set_int(Pack::mmap_file_size_cutoff, 1 << 30);
    pack.set_int(Pack::disk_write_mode, lt::settings_pack::always_pwrite);
    // Over the polite transport a fast line carries a fifth of what it does over TCP. Peers that have no
    // other way can still come in by it.
    pack.set_bool(Pack::enable_outgoing_utp, false);
    // Bounds how long the end waits for trackers that do not answer.
    pack.set_int(Pack::stop_tracker_timeout, 1);
    setLimits(pack, arguments);
    setReach(pack, reach);
    return pack;
}

/// Neighbours are ordinary peers: the library would give them uploads beyond every limit.
void levelPeers(lt::session& session) {
    const std::uint32_t everyone = 1U << static_cast<std::uint32_t>(lt::session::global_peer_class_id);
    lt::ip_filter classes;
    classes.add_rule(lt::make_address("0.0.0.0"), lt::make_address("255.255.255.255"), everyone);
    classes.add_rule(lt::make_address("::"), lt::make_address("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"),
                     everyone);
    session.set_peer_class_filter(classes);
}

void confine(lt::session& session) {
    constexpr auto blocked = lt::ip_filter::blocked;
    lt::ip_filter filter;
    filter.add_rule(lt::make_address("0.0.0.0"), lt::make_address("126.255.255.255"), blocked);
    filter.add_rule(lt::make_address("128.0.0.0"), lt::make_address("255.255.255.255"), blocked);
    filter.add_rule(lt::make_address("::"), lt::make_address("::"), blocked);
    filter.add_rule(lt::make_address("::2"), lt::make_address("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"),
                    blocked);
    session.set_ip_filter(filter);
}

} // namespace

Reach Reach::fromEnvironment() {
    return {.local = qgetenv("FETRA_TORRENT_LOCAL") == "1", .listen = qgetenv("FETRA_TORRENT_LISTEN")};
}

std::unique_ptr<lt::session> makeSession(const Arguments& arguments, const Reach& reach) {
    auto session = std::make_unique<lt::session>(
        lt::session_params(settings(arguments, reach), std::vector<std::shared_ptr<lt::plugin>>{}));
    session->add_extension(&lt::create_ut_metadata_plugin);
    session->add_extension(&lt::create_smart_ban_plugin);
    if (reach.local)
        confine(*session);
    else
        session->add_extension(&lt::create_ut_pex_plugin);
    levelPeers(*session);
    return session;
}

} // namespace fetra::torrent
