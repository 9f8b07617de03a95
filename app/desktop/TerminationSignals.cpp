#include "app/desktop/TerminationSignals.h"

#include "system/PosixError.h"

#include <atomic>
#include <csignal>
#include <cstdint>

#include <sys/eventfd.h>
#include <unistd.h>

namespace fetra {

namespace {

constexpr int terminating[] = {SIGTERM, SIGINT, SIGHUP};

std::atomic<int> wakeNumber = -1;

void wake(int) {
    const int errnoBefore = errno;
    constexpr std::uint64_t one = 1;
    // There is nobody to tell when it fails.
    [[maybe_unused]] const ssize_t written = ::write(wakeNumber, &one, sizeof one);
    errno = errnoBefore;
}

void handle(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int signal : terminating)
        ::sigaction(signal, &action, nullptr);
}

PosixFile::Descriptor makeWake() {
    PosixFile::Descriptor descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!descriptor.isOpen())
        throw PosixError::last();
    return descriptor;
}

} // namespace

TerminationSignals::TerminationSignals()
    : wake_(makeWake())
    , notifier_(wake_.number(), QSocketNotifier::Read) {
    connect(&notifier_, &QSocketNotifier::activated, this, [this] {
        std::uint64_t count = 0;
        if (::read(wake_.number(), &count, sizeof count) == sizeof count)
            Q_EMIT received();
    });
    wakeNumber = wake_.number();
    handle(wake);
}

TerminationSignals::~TerminationSignals() {
    handle(SIG_DFL);
    wakeNumber = -1;
}

} // namespace fetra
