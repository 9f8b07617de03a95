#pragma once

#include "support/ServerExchange.h"

#include <map>

namespace fetra::test {

/// A handler for each path. The rest gets 404.
[[nodiscard]] Handler routes(std::map<QByteArray, Handler> paths);

/// Location is sent verbatim, with a short HTML page.
[[nodiscard]] Handler redirect(QByteArray location, int status = 302);

/// Every request is sent to "<path>" on the next of the origins ("http://a.localhost:1234"), in turn.
[[nodiscard]] Handler redirectInTurn(std::vector<QByteArray> origins, QByteArray path, int status = 302);

} // namespace fetra::test
