#include "support/SystemFaults.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using fetra::test::CallWatcher;
using fetra::test::SystemCall;

constexpr std::chrono::seconds longestHold{30};

struct File {
    dev_t device;
    ino_t inode;
    bool operator==(const File&) const = default;
};

struct Plan {
    std::mutex mutex;
    std::condition_variable released;
    std::vector<int> sync;
    std::vector<int> write;
    off_t writeLimit = 0;
    std::optional<File> heldSyncs;
    std::optional<File> heldWrites;
    int held = 0;
    bool skipSyncs = false;
    std::chrono::milliseconds syncDuration{0};
    int dataSyncs = 0;
    std::map<SystemCall::Kind, int> refused;
};

Plan& plan() {
    static Plan instance;
    return instance;
}

/// Whether this call is to fail; `errno` is set then.
bool fails(std::vector<int>& codes) {
    if (codes.empty())
        return false;
    const int code = codes.front();
    codes.erase(codes.begin());
    errno = code;
    return code != 0;
}

/// Waits while calls on the descriptor's file are held by `hold`.
void waitWhileHeld(std::unique_lock<std::mutex>& lock, const std::optional<File>& hold, int descriptor) {
    struct stat status {};
    if (!hold || ::fstat(descriptor, &status) != 0 ||
        *hold != File{.device = status.st_dev, .inode = status.st_ino})
        return;
    ++plan().held;
    plan().released.wait_for(lock, longestHold, [&] { return !hold; });
    --plan().held;
}

long synchronise(const SystemCall& call, const CallWatcher::Proceed& proceed) {
    std::chrono::milliseconds duration{0};
    {
        std::unique_lock lock(plan().mutex);
        duration = plan().syncDuration;
        plan().dataSyncs += call.kind == SystemCall::Kind::fdatasync ? 1 : 0;
        waitWhileHeld(lock, plan().heldSyncs, call.descriptor);
        if (fails(plan().sync))
            return -1;
        if (plan().skipSyncs)
            return 0;
    }
    std::this_thread::sleep_for(duration);
    return proceed();
}

long writeAsPlanned(SystemCall& call, const CallWatcher::Proceed& proceed) {
    {
        std::unique_lock lock(plan().mutex);
        waitWhileHeld(lock, plan().heldWrites, call.descriptor);
        if (fails(plan().write))
            return -1;
        if (plan().writeLimit > 0)
            call.size = std::min(call.size, plan().writeLimit);
    }
    return proceed();
}

int refusal(SystemCall::Kind kind) {
    const std::lock_guard lock(plan().mutex);
    const auto refused = plan().refused.find(kind);
    return refused == plan().refused.end() ? 0 : refused->second;
}

class Watcher final : public CallWatcher {
public:
    long call(SystemCall& call, const Proceed& proceed) override {
        if (const int code = refusal(call.kind); code != 0) {
            errno = code;
            return -1;
        }
        switch (call.kind) {
        case SystemCall::Kind::fsync:
        case SystemCall::Kind::fdatasync:
            return synchronise(call, proceed);
        case SystemCall::Kind::pwrite:
            return writeAsPlanned(call, proceed);
        default:
            return proceed();
        }
    }
};

CallWatcher* watcher() {
    static Watcher instance;
    return &instance;
}

} // namespace

namespace fetra::test {

namespace {

File fileAt(const QString& path) {
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        throw std::runtime_error("no file to hold calls on");
    return {.device = status.st_dev, .inode = status.st_ino};
}

} // namespace

SystemFaults::SystemFaults() {
    const std::lock_guard lock(plan().mutex);
    plan().dataSyncs = 0;
    CallWatcher::install(watcher());
}

SystemFaults::~SystemFaults() {
    release();
    CallWatcher::install(nullptr);
    const std::lock_guard lock(plan().mutex);
    plan().sync.clear();
    plan().write.clear();
    plan().writeLimit = 0;
    plan().skipSyncs = false;
    plan().syncDuration = {};
    plan().refused.clear();
}

void SystemFaults::failSync(std::vector<int> codes) {
    const std::lock_guard lock(plan().mutex);
    plan().sync = std::move(codes);
}

void SystemFaults::failWrite(std::vector<int> codes) {
    const std::lock_guard lock(plan().mutex);
    plan().write = std::move(codes);
}

void SystemFaults::refuse(SystemCall::Kind kind, int code) {
    const std::lock_guard lock(plan().mutex);
    plan().refused[kind] = code;
}

void SystemFaults::slowSyncs(std::chrono::milliseconds duration) {
    const std::lock_guard lock(plan().mutex);
    plan().syncDuration = duration;
}

void SystemFaults::limitWrites(int bytes) {
    const std::lock_guard lock(plan().mutex);
    plan().writeLimit = bytes;
}

void SystemFaults::holdSyncs(const QString& path) {
    const std::lock_guard lock(plan().mutex);
    plan().heldSyncs = fileAt(path);
}

void SystemFaults::holdWrites(const QString& path) {
    const std::lock_guard lock(plan().mutex);
    plan().heldWrites = fileAt(path);
}

void SystemFaults::release() {
    const std::lock_guard lock(plan().mutex);
    plan().heldSyncs.reset();
    plan().heldWrites.reset();
    plan().released.notify_all();
}

int SystemFaults::heldCount() const {
    const std::lock_guard lock(plan().mutex);
    return plan().held;
}

void SystemFaults::skipSyncs() {
    const std::lock_guard lock(plan().mutex);
    plan().skipSyncs = true;
}

int SystemFaults::dataSyncCount() const {
    const std::lock_guard lock(plan().mutex);
    return plan().dataSyncs;
}

} // namespace fetra::test
