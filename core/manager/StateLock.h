#pragma once

#include "system/PosixFile.h"

#include <QString>

#include <optional>

namespace fetra {

/// Keeps a state file to one process: each writes the whole list it knows, and two would take each other's
/// downloads away. Held while the object lives and gone with the process, however that ends. The file that
/// carries it stays beside the state file.
class StateLock {
public:
    static constexpr const char* suffix = ".lock";

    /// The lock of the state file at `path`, by whatever link it is named. Nothing when somebody else holds
    /// it, in this process or another. Makes missing folders. Throws `PosixError`.
    [[nodiscard]] static std::optional<StateLock> tryAcquire(const QString& path);

private:
    explicit StateLock(PosixFile::Descriptor file)
        : file_(std::move(file)) {}

    PosixFile::Descriptor file_;
};

} // namespace fetra
