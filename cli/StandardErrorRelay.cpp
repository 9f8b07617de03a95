#include "StandardErrorRelay.h"

#include "cli/StandardStreams.h"
#include "system/PosixError.h"

#include <array>
#include <fcntl.h>
#include <unistd.h>

namespace fetra::cli {

StandardErrorRelay::StandardErrorRelay() {
    target_ = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    std::array<int, 2> ends{-1, -1};
    if (target_ < 0 || ::pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) != 0)
        throw PosixError::last();
    source_ = ends[0];
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
}

StandardErrorRelay::~StandardErrorRelay() {
    ::dup2(target_, STDERR_FILENO);
    for (const QByteArray& line : takeLines())
        writeAll(target_, line + '\n');
    writeAll(target_, pending_);
    ::close(source_);
    ::close(target_);
}

QByteArrayList StandardErrorRelay::takeLines() {
    // One pipe's worth at a time: somebody who writes without end must not keep us here.
    std::array<char, 65'536> buffer;
    const ssize_t count = ::read(source_, buffer.data(), buffer.size());
    if (count > 0)
        pending_.append(buffer.data(), qsizetype(count));
    QByteArrayList lines = pending_.split('\n');
    pending_ = lines.takeLast();
    return lines;
}

} // namespace fetra::cli
