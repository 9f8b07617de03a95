#pragma once

#include "http/HTTPSession.h"

namespace fetra {

/// Blocking conveniences over a session, for threads that may wait. Both throw `TransportError`.
namespace HTTPFetch {

/// Returns as soon as the head of the answer is there and gives up the body.
[[nodiscard]] HTTPResponse head(HTTPSession& session, const HTTPRequest& request);

struct Answer {
    HTTPResponse response;
    /// At most one byte more than was asked for, so that a caller can tell that there was too much.
    QByteArray body;
};

/// Fetches the whole body, and gives up once it has grown past `maxBytes`.
[[nodiscard]] Answer body(HTTPSession& session, const HTTPRequest& request, qint64 maxBytes);

} // namespace HTTPFetch
} // namespace fetra
