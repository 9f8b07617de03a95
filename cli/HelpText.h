#pragma once

#include <QByteArray>

namespace fetra::cli::HelpText {

/// The page behind --help, at most 80 columns wide.
[[nodiscard]] QByteArray page();
/// What the bare command answers.
[[nodiscard]] QByteArray usage();
[[nodiscard]] QByteArray version();

} // namespace fetra::cli::HelpText
