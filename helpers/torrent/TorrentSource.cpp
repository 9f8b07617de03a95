#include "helpers/torrent/TorrentSource.h"

#include "helpers/torrent/Failure.h"

#include <libtorrent/load_torrent.hpp>
#include <libtorrent/magnet_uri.hpp>

namespace fetra::torrent {

using namespace Qt::StringLiterals;

namespace {

Failure failure(const QString& beginning, const lt::error_code& error) {
    return {u"%1: %2."_s.arg(beginning, QString::fromStdString(error.message()))};
}

lt::add_torrent_params readMagnet(const QByteArray& link) {
    lt::error_code error;
    lt::add_torrent_params params = lt::parse_magnet_uri(link.toStdString(), error);
    if (error)
        throw failure(u"The magnet link is not valid"_s, error);
    return params;
}

lt::add_torrent_params readFile(const QByteArray& path) {
    try {
        return lt::load_torrent_file(path.toStdString());
    } catch (const lt::system_error& error) {
        throw failure(u"The torrent file \"%1\" cannot be read"_s.arg(QString::fromUtf8(path)), error.code());
    }
}

} // namespace

lt::add_torrent_params readSource(const Arguments& arguments) {
    return arguments.isMagnet() ? readMagnet(arguments.source) : readFile(arguments.source);
}

} // namespace fetra::torrent
