#pragma once

#include "support/ProgramRun.h"

namespace fetra::test {

/// One start of the real helper program, which speaks with this computer only. Killed with the object.
class HelperRun : public ProgramRun {
public:
    struct Setup {
        QStringList arguments;
        /// Where it keeps its state.
        QString dataFolder;
        /// Where peers reach it; 0: anywhere.
        quint16 port = 0;
        /// Starts this program, which has to start the helper named by its arguments.
        QStringList wrapper = {};
    };

    explicit HelperRun(const Setup& setup);

    /// A number of the last line that has it.
    [[nodiscard]] qint64 last(const QString& key) const;
    /// "done", or the sentence of an error line, or empty.
    [[nodiscard]] QString ending() const;
};

/// Whether all of a sentence matches the pattern.
[[nodiscard]] bool isLike(const QString& sentence, const QString& pattern);

/// The environment of every helper that this process starts from now on, runners' helpers included.
void confineHelpers(const QString& dataFolder);

/// One that is free now.
[[nodiscard]] quint16 freePort();

} // namespace fetra::test
