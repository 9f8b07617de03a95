#include "Interruption.h"

#include "cli/ExitStatus.h"
#include "system/PosixError.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace fetra::cli {
namespace {

bool isIgnored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

Interruption::Interruption() {
    sigset_t handled;
    ::sigemptyset(&handled);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGWINCH})
        if (!isIgnored(signal))
            ::sigaddset(&handled, signal);
    descriptor_ = ::signalfd(-1, &handled, SFD_NONBLOCK | SFD_CLOEXEC);
    if (descriptor_ < 0)
        throw PosixError::last();
    ::pthread_sigmask(SIG_BLOCK, &handled, &previous_);
}

void Interruption::endAtOnce() {
    struct sigaction action {};
    action.sa_handler = [](int) { ::_exit(ExitStatus::interrupted); };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        if (!isIgnored(signal))
            ::sigaction(signal, &action, nullptr);
}

Interruption::~Interruption() {
    ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    ::close(descriptor_);
}

std::optional<Interruption::Kind> Interruption::next() {
    signalfd_siginfo info{};
    if (::read(descriptor_, &info, sizeof info) != ssize_t(sizeof info))
        return std::nullopt;
    switch (int(info.ssi_signo)) {
    case SIGWINCH:
        return Kind::resize;
    case SIGTSTP:
        return Kind::suspend;
    case SIGQUIT:
        return Kind::abort;
    default:
        return Kind::stop;
    }
}

void Interruption::suspend() {
    ::raise(SIGSTOP);
}

} // namespace fetra::cli
