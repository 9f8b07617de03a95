#pragma once

#include "support/ServerExchange.h"

#include <optional>

namespace fetra::test {

/// One head without its blank line; nothing when it is not an HTTP request.
[[nodiscard]] std::optional<ServerRequest> parseRequestHead(QByteArrayView head);
/// Nothing for another unit, several ranges or anything malformed.
[[nodiscard]] std::optional<RequestedRange> parseRequestedRange(QByteArrayView value);

} // namespace fetra::test
