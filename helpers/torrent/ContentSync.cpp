#include "helpers/torrent/ContentSync.h"

#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QFile>

#include <cerrno>
#include <thread>

#include <fcntl.h>

namespace fetra::torrent {

namespace {

/// 0, or the errno value of the first failure.
int sync(const std::vector<std::string>& paths) {
    for (const std::string& name : paths) {
        const QString path = QFile::decodeName(QByteArray::fromStdString(name));
        const PosixFile::Descriptor file = PosixFile::open(path, O_RDONLY);
        if (!file.isOpen() && errno == ENOENT)
            continue;
        if (!file.isOpen() || !PosixFile::sync(file.number(), true))
            return errno;
        try {
            PosixFile::syncFolderOf(path);
        } catch (const PosixError& error) {
            return error.code();
        }
    }
    return 0;
}

} // namespace

ContentSync::ContentSync(std::vector<std::string> paths) {
    std::thread([state = state_, paths = std::move(paths)] {
        const int outcome = sync(paths);
        const std::lock_guard lock(state->lock);
        state->outcome = outcome;
        state->changed.notify_all();
    }).detach();
}

std::optional<int> ContentSync::outcome(std::chrono::milliseconds patience) const {
    std::unique_lock lock(state_->lock);
    state_->changed.wait_for(lock, patience, [this] { return state_->outcome.has_value(); });
    return state_->outcome;
}

} // namespace fetra::torrent
