#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"

namespace fetra::cli {

/// Prints the downloads of a state file, and leaves it alone.
[[nodiscard]] ExitStatus runList(const ListRequest& request);

} // namespace fetra::cli
