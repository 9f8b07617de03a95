#include "browser/InboxFolders.h"
#include "helpers/host/HostMessage.h"
#include "system/PosixError.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

using namespace fetra;
using namespace fetra::host;

namespace {

void depositInInbox(const CaptureJob& job) {
    const auto folder = InboxFolders::application();
    if (!folder)
        throw PosixError(ENOENT);
    job.deposit(*folder);
}

bool send(const QByteArray& content) {
    const QByteArray frame = MessageFrames::encoded(content);
    const auto size = static_cast<size_t>(frame.size());
    return std::fwrite(frame.constData(), 1, size, stdout) == size && std::fflush(stdout) == 0;
}

/// Answers messages until the input ends or nobody reads the answers any more; false for the latter.
bool serve() {
    MessageFrames frames;
    std::array<char, 65'536> buffer{};
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count == 0;
        frames.append(QByteArrayView(buffer.data(), count));
        while (const auto frame = frames.next())
            if (!send(HostMessage::reply(*frame, depositInInbox)))
                return false;
    }
}

} // namespace

/// A browser starts this program with the extension's origin as an argument, which the browser itself has
/// checked against the manifest.
int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::puts("fetra-host " FETRA_VERSION);
        return 0;
    }
    std::signal(SIGPIPE, SIG_IGN);
    return serve() ? 0 : 1;
}
