#pragma once

#include <QByteArray>
#include <QByteArrayList>

namespace fetra::cli {

/// While it lives, what the process writes to standard error goes into a pipe, so that a message cannot tear
/// the block that is drawn on the same terminal. Writers never wait: what finds the pipe full is lost.
class StandardErrorRelay {
public:
    StandardErrorRelay();
    /// Gives standard error back; what nobody took is written there.
    ~StandardErrorRelay();
    StandardErrorRelay(const StandardErrorRelay&) = delete;
    StandardErrorRelay& operator=(const StandardErrorRelay&) = delete;

    /// The real standard error.
    [[nodiscard]] int target() const { return target_; }
    /// Readable when somebody has written.
    [[nodiscard]] int descriptor() const { return source_; }
    /// The whole lines written since the last call, without their line feeds.
    [[nodiscard]] QByteArrayList takeLines();

private:
    int target_ = -1;
    int source_ = -1;
    QByteArray pending_;
};

} // namespace fetra::cli
