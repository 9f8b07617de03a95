#include "helpers/torrent/StopRequest.h"

#include <csignal>
#include <initializer_list>

#include <unistd.h>

namespace fetra::torrent {

namespace {

sigset_t stopSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&signals, signal);
    return signals;
}

} // namespace

StopRequest::StopRequest()
    : parent_(::getppid()) {
    const sigset_t signals = stopSignals();
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    // A reader that is gone is told by the write.
    std::signal(SIGPIPE, SIG_IGN);
}

bool StopRequest::arrived() {
    const sigset_t signals = stopSignals();
    const timespec now{};
    arrived_ = arrived_ || ::sigtimedwait(&signals, nullptr, &now) > 0 || ::getppid() != parent_;
    return arrived_;
}

} // namespace fetra::torrent
