#include "support/SystemFaults.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <thread>

#include <sys/stat.h>

namespace fetra::test {

namespace {

/// Whether this call is to fail; `errno` is set then.
bool fails(std::vector<int>& codes) {
    if (codes.empty())
        return false;
    errno = codes.front();
    codes.erase(codes.begin());
    return errno != 0;
}

} // namespace

SystemFaults::File SystemFaults::fileAt(const QString& path) {
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        throw std::runtime_error("no file to hold calls on");
    return {status.st_dev, status.st_ino};
}

void SystemFaults::release() {
    const std::lock_guard lock(mutex_);
    heldSyncs_.reset();
    released_.notify_all();
}

void SystemFaults::waitWhileHeld(std::unique_lock<std::mutex>& lock, int descriptor) {
    struct stat status {};
    if (!heldSyncs_ || ::fstat(descriptor, &status) != 0 || *heldSyncs_ != File(status.st_dev, status.st_ino))
        return;
    ++held_;
    released_.wait_for(lock, std::chrono::seconds(30), [this] { return !heldSyncs_; });
    --held_;
}

long SystemFaults::call(SystemCall& call, const Proceed& proceed) {
    using Kind = SystemCall::Kind;
    std::unique_lock lock(mutex_);
    if (const auto refusal = refusals_.find(call.kind); refusal != refusals_.end() && refusal->second != 0) {
        errno = refusal->second;
        return -1;
    }
    if (call.kind == Kind::fsync || call.kind == Kind::fdatasync) {
        dataSyncs_ += call.kind == Kind::fdatasync ? 1 : 0;
        waitWhileHeld(lock, call.descriptor);
        if (fails(failingSyncs_))
            return -1;
        if (skipSyncs_)
            return 0;
        const std::chrono::milliseconds duration = syncDuration_;
        lock.unlock();
        std::this_thread::sleep_for(duration);
        return proceed();
    }
    if (call.kind == Kind::pwrite) {
        if (fails(failingWrites_))
            return -1;
        if (writeLimit_ > 0)
            call.size = std::min(call.size, writeLimit_);
    }
    lock.unlock();
    return proceed();
}

} // namespace fetra::test
