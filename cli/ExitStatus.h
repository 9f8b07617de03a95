#pragma once

namespace fetra::cli {

/// What the program tells the shell.
enum ExitStatus : int {
    complete = 0,
    failed = 1,
    wrongUsage = 2,
    /// Ended by Ctrl-C, SIGTERM or SIGHUP.
    interrupted = 130,
};

} // namespace fetra::cli
