#pragma once

#include "support/SystemCalls.h"

#include <QString>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace fetra::test {

/// Lets the next syncs and writes of this process fail, wait or fall short while it lives; one at a time.
class SystemFaults final : CallWatcher {
public:
    SystemFaults() { install(this); }
    ~SystemFaults() override {
        release();
        install(nullptr);
    }
    SystemFaults(const SystemFaults&) = delete;
    SystemFaults& operator=(const SystemFaults&) = delete;

    /// What the next calls fail with, one errno value a call; 0 lets one through, as do those after the last.
    void failSync(std::vector<int> codes) { set(failingSyncs_, std::move(codes)); }
    void failWrite(std::vector<int> codes) { set(failingWrites_, std::move(codes)); }
    /// From now on a write takes at most that many bytes.
    void limitWrites(int bytes) { set(writeLimit_, bytes); }
    /// From now on calls of that kind fail, as on a file system that does not know them; 0: no longer.
    void refuse(SystemCall::Kind kind, int code) {
        const std::lock_guard lock(mutex_);
        refusals_[kind] = code;
    }
    /// From now on every sync takes that long.
    void slowSyncs(std::chrono::milliseconds duration) { set(syncDuration_, duration); }
    /// From now on syncs succeed without asking the system: for the many tests that end no power.
    void skipSyncs() { set(skipSyncs_, true); }

    /// From now on syncs of the file at `path` wait until they are released, or for half a minute, so that a
    /// failing test ends.
    void holdSyncs(const QString& path) { set(heldSyncs_, fileAt(path)); }
    void release();
    /// How many syncs wait now.
    [[nodiscard]] int heldCount() const { return get(held_); }
    /// `fdatasync` calls since this object was made.
    [[nodiscard]] int dataSyncCount() const { return get(dataSyncs_); }

private:
    using File = std::pair<dev_t, ino_t>;

    template <typename Value>
    void set(Value& what, std::type_identity_t<Value> value) {
        const std::lock_guard lock(mutex_);
        what = std::move(value);
    }
    int get(const int& what) const {
        const std::lock_guard lock(mutex_);
        return what;
    }
    static File fileAt(const QString& path);
    void waitWhileHeld(std::unique_lock<std::mutex>& lock, int descriptor);
    long call(SystemCall& call, const Proceed& proceed) override;

    mutable std::mutex mutex_;
    std::condition_variable released_;
    std::vector<int> failingSyncs_;
    std::vector<int> failingWrites_;
    off_t writeLimit_ = 0;
    std::map<SystemCall::Kind, int> refusals_;
    std::chrono::milliseconds syncDuration_{0};
    bool skipSyncs_ = false;
    std::optional<File> heldSyncs_;
    int held_ = 0;
    int dataSyncs_ = 0;
};

} // namespace fetra::test
