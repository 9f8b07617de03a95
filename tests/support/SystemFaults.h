#pragma once

#include "support/SystemCalls.h"

#include <QString>

#include <chrono>
#include <vector>

namespace fetra::test {

/// Lets the next syncs and writes of this process fail, wait or fall short while it lives; one at a time.
class SystemFaults {
public:
    SystemFaults();
    ~SystemFaults();
    SystemFaults(const SystemFaults&) = delete;
    SystemFaults& operator=(const SystemFaults&) = delete;

    /// What the next calls fail with, one errno value a call; 0 lets a call through. Later calls all go
    /// through.
    void failSync(std::vector<int> codes);
    void failWrite(std::vector<int> codes);
    /// From now on a write takes at most that many bytes.
    void limitWrites(int bytes);

    /// From now on calls of that kind fail, as on a file system that does not know them; 0: no longer.
    void refuse(SystemCall::Kind kind, int code);

    /// From now on every sync takes that long.
    void slowSyncs(std::chrono::milliseconds duration);

    /// From now on the calls of one kind that concern the file at `path` wait until they are released. They
    /// are released after half a minute anyway, so that a failing test ends.
    void holdSyncs(const QString& path);
    void holdWrites(const QString& path);
    void release();
    /// How many calls wait now.
    [[nodiscard]] int heldCount() const;

    /// From now on syncs succeed without asking the system: for the many tests that end no power.
    void skipSyncs();
    /// `fdatasync` calls since this object was made.
    [[nodiscard]] int dataSyncCount() const;
};

} // namespace fetra::test
