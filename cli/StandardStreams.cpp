#include "StandardStreams.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace fetra::cli {

bool writeAll(int descriptor, const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.constData() + done, size_t(bytes.size() - done));
        if (count >= 0) {
            done += count;
        } else if (errno == EAGAIN) {
            // Somebody made the terminal or pipe non-blocking; it is shared with others.
            pollfd waiting{descriptor, POLLOUT, 0};
            ::poll(&waiting, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace fetra::cli
