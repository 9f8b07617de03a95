#include "helpers/torrent/ContentSync.h"

#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QFile>

#include <cerrno>
#include <filesystem>
#include <map>
#include <thread>

#include <fcntl.h>

namespace fetra::torrent {

namespace fs = std::filesystem;

namespace {

QString decoded(const std::string& path) {
    return QFile::decodeName(QByteArray::fromStdString(path));
}

/// Throws `PosixError`.
FileMark syncFile(const std::string& path) {
    const PosixFile::Descriptor file = PosixFile::open(decoded(path), O_RDONLY);
    if (!file.isOpen() || !PosixFile::sync(file.number(), true))
        throw PosixError::last();
    const auto mark = FileMark::of(file.number());
    if (!mark)
        throw PosixError(EINVAL);
    return *mark;
}

/// Throws `PosixError`.
ContentFiles::Marks sync(const std::vector<ContentFile>& files, const fs::path& folder) {
    ContentFiles::Marks marks;
    std::map<fs::path, fs::path> entries; // Of every folder, one that lies in it.
    for (const ContentFile& file : files) {
        marks.push_back(syncFile(file.path));
        for (fs::path entry = file.path; entry != folder && entry.has_relative_path();
             entry = entry.parent_path())
            if (!entries.emplace(entry.parent_path(), entry).second)
                break;
    }
    for (const auto& [parent, entry] : entries)
        PosixFile::syncFolderOf(decoded(entry.string()));
    return marks;
}

ContentSync::Outcome outcomeOf(const std::vector<ContentFile>& files, const std::string& folder) {
    try {
        return {.marks = sync(files, folder)};
    } catch (const PosixError& error) {
        return {.error = error.code()};
    }
}

} // namespace

ContentSync::ContentSync(std::vector<ContentFile> files, std::string folder) {
    std::thread([state = state_, files = std::move(files), folder = std::move(folder)] {
        const Outcome outcome = outcomeOf(files, folder);
        const std::lock_guard lock(state->lock);
        state->outcome = outcome;
        state->changed.notify_all();
    }).detach();
}

std::optional<ContentSync::Outcome> ContentSync::outcome(std::chrono::milliseconds patience) const {
    std::unique_lock lock(state_->lock);
    state_->changed.wait_for(lock, patience, [this] { return state_->outcome.has_value(); });
    return state_->outcome;
}

} // namespace fetra::torrent
