#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"
#include "segmented/EngineServices.h"

namespace fetra::cli {

/// Asks the server about a file and prints the answer.
[[nodiscard]] ExitStatus runProbe(const ProbeRequest& request, const EngineServices& services);

} // namespace fetra::cli
