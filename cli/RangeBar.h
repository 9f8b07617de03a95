#pragma once

#include "cli/StyledText.h"
#include "transfer/DownloadProgress.h"

namespace fetra::cli::RangeBar {

/// A bar of exactly `cells` cells that stands for the whole file, each as dark as its part of the file is
/// here, so that every range is seen to grow where it lies. `total` is at least 1.
[[nodiscard]] StyledLine ranges(const QList<SegmentSnapshot>& segments, qint64 total, int cells);

/// For a file of unknown size: a mark that moves as `seconds` pass.
[[nodiscard]] StyledLine moving(double seconds, int cells);

} // namespace fetra::cli::RangeBar
