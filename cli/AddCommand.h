#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"

namespace fetra::cli {

/// Leaves the links in the inbox of the application, which takes them from there. Prints a line for each.
[[nodiscard]] ExitStatus runAdd(const AddRequest& request);

} // namespace fetra::cli
