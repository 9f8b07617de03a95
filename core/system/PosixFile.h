#pragma once

#include <QString>

#include <span>
#include <utility>

#include <sys/types.h>

namespace fetra::PosixFile {

/// Owns an open file descriptor.
class Descriptor {
public:
    explicit Descriptor(int number = -1)
        : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept
        : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    [[nodiscard]] bool isOpen() const { return number_ >= 0; }
    [[nodiscard]] int number() const { return number_; }
    /// From now on the caller closes it.
    [[nodiscard]] int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

/// Always with O_CLOEXEC. Not open when it failed; `errno` then says why.
[[nodiscard]] Descriptor open(const QString& path, int flags, mode_t mode = 0);

/// Writes all of `data` at `offset`, in as many calls as the system needs. Throws `PosixError`.
void writeAll(int descriptor, std::span<const char> data, qint64 offset);

/// Cuts or extends the file. False when that failed; `errno` then says why.
[[nodiscard]] bool setLength(int descriptor, qint64 length);

/// fsync, or fdatasync without `metadata`. False when it failed; `errno` then says why.
[[nodiscard]] bool sync(int descriptor, bool metadata);

/// Syncs the folder that `path` lies in, so that a new or changed name there survives a power loss. Throws
/// `PosixError`.
void syncFolderOf(const QString& path);

/// Whether there is anything at `path`, a broken link included.
[[nodiscard]] bool exists(const QString& path);

/// Deletes the file; false when that failed, as for a missing one.
bool unlink(const QString& path);

} // namespace fetra::PosixFile
