#pragma once

#include "support/ServerExchange.h"

#include <QUrl>

#include <map>

namespace fetra::test {

/// A handler for each path; a key ending in '*' takes the other paths that begin so. The rest gets 404.
[[nodiscard]] Handler routes(std::map<QByteArray, Handler> paths);

/// Location is sent verbatim, with a short HTML page.
[[nodiscard]] Handler redirect(QByteArray location, int status = 302);
[[nodiscard]] Handler redirect(const QUrl& target, int status = 302);

/// For a route "<prefix>*": "<prefix>3" leads to "<prefix>2" and so on, "<prefix>0" to the target. Three hops
/// to the target begin at "<prefix>2"; a circle is a target of "<prefix>2".
[[nodiscard]] Handler redirectHops(QByteArray prefix, QByteArray target, int status = 302);

/// Every request is sent to "<path>" on the next of the origins ("http://a.localhost:1234"), in turn.
[[nodiscard]] Handler redirectInTurn(std::vector<QByteArray> origins, QByteArray path, int status = 302);

} // namespace fetra::test
