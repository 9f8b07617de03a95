#include "app/desktop/PeerUser.h"

#include <sys/socket.h>
#include <unistd.h>

namespace fetra::PeerUser {

bool isOurs(qintptr socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(static_cast<int>(socket), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

} // namespace fetra::PeerUser
