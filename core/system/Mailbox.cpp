#include "system/Mailbox.h"

#include "system/PosixError.h"

#include <utility>

#include <sys/eventfd.h>

namespace fetra {

Mailbox::Mailbox(std::function<void(const Work&)> around)
    : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , notifier_(QSocketNotifier::Read)
    , around_(std::move(around)) {
    if (!wake_.isOpen())
        throw PosixError::last();
    notifier_.setSocket(wake_.number());
    notifier_.setEnabled(true);
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { deliver(); });
}

void Mailbox::post(Work work) {
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
    // The first one wakes the thread for all that follow until it looks.
    if (work_.size() == 1)
        ::eventfd_write(wake_.number(), 1);
}

void Mailbox::deliver() {
    std::deque<Work> work;
    {
        const std::lock_guard lock(mutex_);
        eventfd_t count = 0;
        ::eventfd_read(wake_.number(), &count);
        work.swap(work_);
    }
    around_([&] {
        for (const Work& each : work)
            each();
    });
}

} // namespace fetra
