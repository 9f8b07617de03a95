#pragma once

#include "DiskImage.h"

#include <functional>
#include <vector>

namespace fetra::test {

/// What a power loss can leave on the disk.
struct CrashState {
    /// The number of operations that had been carried out.
    size_t point = 0;
    DiskImage disk;
    /// The last operations and what became of those that nobody had synced.
    QByteArray text;
};

/// States for every point of a record, no two alike, at most `limit` of them, spread evenly.
///
/// What a file holds, its length included, lasts from the next sync of the file on; what stands in a folder,
/// from the next sync of the folder on. Until then any of it may be on the disk, in any combination, and a
/// write also in part.
[[nodiscard]] std::vector<CrashState> crashStates(const DiskImage& before,
                                                  const std::vector<Operation>& operations, size_t limit);

} // namespace fetra::test
