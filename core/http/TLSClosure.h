#pragma once

#include <curl/curl.h>

namespace fetra::TLSClosure {

/// Tells a connection that its server has closed from one that somebody has cut: only the first is announced
/// inside TLS. libcurl 7.88 takes both for an end, which passes off half a body as a whole one where the body
/// ends with the connection. What is noted is noted for the calling thread.

/// From now on announcements on connections of this handle are noted.
void watch(CURL* easy);

/// What names the TLS connection that `easy` uses now, null without one. For calls from inside libcurl's
/// callbacks: at the end of a transfer the handle has lost its connection.
[[nodiscard]] const void* connectionOf(CURL* easy);
/// Whether the server has announced the end of that connection since the last `forget`.
[[nodiscard]] bool wasAnnounced(const void* connection);

/// Drops the notes; connections come and go, and their addresses are used again.
void forget();

} // namespace fetra::TLSClosure
