#pragma once

#include "cli/StyledText.h"
#include "transfer/DownloadProgress.h"

#include <QString>

namespace fetra::cli {

/// Everything that one drawing of a running download shows. Texts are printable already.
struct ProgressFrame {
    enum class Phase { asking, running, stopping };

    Phase phase = Phase::asking;
    /// The file's name, and until it is known the server's.
    QString name;
    DownloadProgress progress;
    /// Mirrors that the user has named.
    qint64 mirrors = 0;
    /// Seconds since the start, and from the start of the run to that.
    double elapsed = 0;
    double begun = 0;

    /// At most `height` lines of at most `width` cells each. The number of lines depends on the phase and the
    /// width alone as far as the numbers allow it, so that the block does not jump.
    [[nodiscard]] QList<StyledLine> render(int width, int height) const;

    /// The same on one line, for logs.
    [[nodiscard]] QString oneLine() const;

    /// The parts, each in a form that fits into 19 cells.
    [[nodiscard]] QString percentage() const;
    [[nodiscard]] QString received() const;
    [[nodiscard]] QString speed() const;
    [[nodiscard]] QString timeLeft() const;
    [[nodiscard]] bool isWhole() const;
};

} // namespace fetra::cli
