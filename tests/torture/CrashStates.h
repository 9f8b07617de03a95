#pragma once

#include "OperationRecorder.h"
#include "support/TempFolder.h"

#include <functional>

namespace fetra::test {

/// Cuts the power at every point of a record: `check` gets what that can leave on the disk, in a folder, and
/// the number of operations that had been carried out. No two states are alike; there are at most `most`,
/// spread evenly, and fewer than `atLeast` fail the test. Ends with the first failure.
///
/// What a file holds, its length included, lasts from the next sync of the file on; what stands in a folder,
/// from the next sync of the folder on. Until then any of it may be on the disk, in any combination, and a
/// write also in part.
void cutPower(const OperationRecorder& recorder, size_t most, size_t atLeast,
              const std::function<void(const TempFolder& left, size_t point)>& check);

} // namespace fetra::test
