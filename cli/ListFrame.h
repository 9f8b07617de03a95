#pragma once

#include "cli/ProgressFrame.h"
#include "cli/ProgressView.h"

#include <span>

namespace fetra::cli {

/// One drawing of several downloads: a line for each that runs, and one for all of them together.
namespace ListFrame {

struct Row {
    QUuid id = {};
    ProgressFrame frame = {};
};

/// At most `height` lines of at most `width` cells each; when not every row has room, a line says how many
/// are left out. The last line is the total, or in place of it what a stop is about.
[[nodiscard]] QList<StyledLine> render(std::span<const Row> rows, const RunTotals& totals, bool isStopping,
                                       int width, int height);

/// "3 of 10 done, 1 failed, 4 queued, 2.00 MB/s, 1m10s left"
[[nodiscard]] QString oneLine(const RunTotals& totals);

} // namespace ListFrame
} // namespace fetra::cli
