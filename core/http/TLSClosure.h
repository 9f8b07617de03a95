#pragma once

#include <cstdint>
#include <curl/curl.h>

namespace fetra::TLSClosure {

/// Tells a connection that its server has closed from one that somebody has cut: only the first is announced
/// inside TLS. libcurl 7.88 takes both for an end, which passes off half a body as a whole one where the body
/// ends with the connection. What is noted is noted for the calling thread.

/// From now on announcements on connections of this handle are noted.
void watch(CURL* easy);

/// The number of the TLS connection that `easy` uses now, 0 without one. No other connection of the thread
/// ever has that number, while the address of one that has gone may be that of the next. For calls from
/// inside libcurl's callbacks: at the end of a transfer the handle has lost its connection.
[[nodiscard]] std::uintptr_t connectionOf(CURL* easy);
/// Whether the server has announced the end of that connection since the last `forget`. Only connections that
/// had a number before are told apart.
[[nodiscard]] bool wasAnnounced(std::uintptr_t connection);

/// Drops the notes of connections that have ended.
void forget();

} // namespace fetra::TLSClosure
