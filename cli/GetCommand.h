#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"
#include "cli/GetPlan.h"
#include "cli/Interruption.h"
#include "segmented/EngineServices.h"

namespace fetra::cli {

/// Carries out the downloads and shows them, in the event loop of the application object, which it runs.
/// A second Ctrl-C, or one before any transfer has begun, ends the process from within.
[[nodiscard]] ExitStatus runGet(const GetRequest& request, const GetPlan& plan,
                                const EngineServices& services, Interruption& interruption);

} // namespace fetra::cli
