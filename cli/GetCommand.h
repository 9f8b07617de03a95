#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"
#include "cli/Interruption.h"
#include "segmented/EngineServices.h"

namespace fetra::cli {

/// Carries out one download and shows it. Blocks until it has ended; a second Ctrl-C, or one before the
/// transfer has begun, ends the process from within.
[[nodiscard]] ExitStatus runGet(const GetRequest& request, const QUrl& target, const EngineServices& services,
                                Interruption& interruption);

} // namespace fetra::cli
