#pragma once

#include "FolderWatcher.h"
#include "Stride.h"

#include <atomic>
#include <functional>
#include <ostream>

namespace fetra::test {

/// What goes wrong, and when: calls are counted from 1, those alone that can fail in this way.
struct Fault {
    enum class Reach {
        once,
        fromThenOn,
        /// From then on, every call that would change the disk, whichever comes first.
        wholeDisk,
    };
    /// In place of an errno value: the call takes a part of the data only.
    static constexpr int shortTransfer = -1;

    SystemCall::Kind kind;
    int code;
    Reach reach;
    int number = 1;
};

/// As a developer needs it to see the failure again.
std::ostream& operator<<(std::ostream& out, const Fault& fault);

/// Lets the calls below a folder fail as a fault says. No sync takes any time.
class FaultInjector final : public FolderWatcher {
public:
    FaultInjector(const QString& folder, const Fault& fault)
        : FolderWatcher(folder)
        , fault_(fault) {
        install(this);
    }
    ~FaultInjector() override { install(nullptr); }

    /// From now on nothing fails.
    void end() { isOver_ = true; }
    /// How often it has happened.
    [[nodiscard]] int fired() const { return fired_; }

private:
    long callBelow(SystemCall& call, const QByteArray& name, const Proceed& proceed) override;
    [[nodiscard]] bool concerns(const SystemCall& call) const;
    [[nodiscard]] bool happens();

    const Fault fault_;
    std::atomic<bool> isOver_ = false;
    std::atomic<int> calls_ = 0;
    std::atomic<int> fired_ = 0;
};

/// Runs a scenario with a fault in every place where one can happen: at call 1, 2, and so on until there is
/// no such call, for every kind and code. `run` answers whether the fault has happened; each failure of the
/// test says where. Fewer places than `atLeast` are a failure too.
void torture(int atLeast, const std::function<bool(const Fault&)>& run);

} // namespace fetra::test
