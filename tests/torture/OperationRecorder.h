#pragma once

#include "DiskImage.h"
#include "FolderWatcher.h"

#include <mutex>
#include <utility>
#include <vector>

namespace fetra::test {

/// Writes down all that changes the disk below a folder, in the order in which it happens. No sync takes any
/// time.
class OperationRecorder final : public FolderWatcher {
public:
    /// Begins with what is there, as if it were synced.
    explicit OperationRecorder(const QString& folder);
    ~OperationRecorder() override { install(nullptr); }

    void mark(const QByteArray& what) {
        const std::lock_guard lock(mutex_);
        noteLocked({.kind = Operation::Kind::mark, .name = what});
    }

    /// Only once nothing runs any more.
    [[nodiscard]] const DiskImage& before() const { return before_; }
    [[nodiscard]] const std::vector<Operation>& operations() const { return operations_; }

private:
    using Inode = std::pair<dev_t, ino_t>;

    long callBelow(SystemCall& call, const QByteArray& name, const Proceed& proceed) override;
    void noteOpenLocked(const SystemCall& call, const QByteArray& name, int descriptor);
    void noteLocked(Operation operation);
    [[nodiscard]] int fileLocked(int descriptor) const;

    std::mutex mutex_;
    DiskImage before_;
    /// As everybody sees it now; the contents are not kept.
    DiskImage now_;
    std::map<Inode, int> files_;
    int lastFile_ = 0;
    std::vector<Operation> operations_;
};

} // namespace fetra::test
