#include "TransferFeed.h"

#include "system/PosixError.h"

#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace fetra::cli {

TransferFeed::TransferFeed()
    : descriptor_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (descriptor_ < 0)
        throw PosixError::last();
}

TransferFeed::~TransferFeed() {
    ::close(descriptor_);
}

void TransferFeed::reportStart(const QUrl& destination, const RemoteInfo& info) {
    const std::lock_guard guard(mutex_);
    news_.started = Started{destination, info};
    signalNews();
}

void TransferFeed::reportProgress(const DownloadProgress& progress) {
    const std::lock_guard guard(mutex_);
    news_.progress = progress;
    signalNews();
}

void TransferFeed::reportOutcome(Outcome outcome) {
    const std::lock_guard guard(mutex_);
    news_.outcome = std::move(outcome);
    signalNews();
}

TransferFeed::News TransferFeed::take() {
    const std::lock_guard guard(mutex_);
    eventfd_t count = 0;
    ::eventfd_read(descriptor_, &count);
    return std::exchange(news_, {});
}

void TransferFeed::signalNews() {
    ::eventfd_write(descriptor_, 1);
}

} // namespace fetra::cli
