#pragma once

#include <QtGlobal>

namespace fetra::PeerUser {

/// Whether a process of our own user is at the other end of a connected local socket.
[[nodiscard]] bool isOurs(qintptr socket);

} // namespace fetra::PeerUser
