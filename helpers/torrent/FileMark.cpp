#include "helpers/torrent/FileMark.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace fetra::torrent {

namespace {

qint64 nanoseconds(const struct statx_timestamp& time) {
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

std::optional<FileMark> read(int descriptor, const char* path, int flags) {
    struct statx found {};
    if (::statx(descriptor, path, flags, STATX_BASIC_STATS | STATX_BTIME, &found) != 0 ||
        !S_ISREG(found.stx_mode))
        return std::nullopt;
    return FileMark{.inode = static_cast<qint64>(found.stx_ino),
                    .born = (found.stx_mask & STATX_BTIME) != 0 ? nanoseconds(found.stx_btime) : 0,
                    .size = static_cast<qint64>(found.stx_size),
                    .modified = nanoseconds(found.stx_mtime)};
}

} // namespace

std::optional<FileMark> FileMark::at(const std::string& path) {
    return read(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW);
}

std::optional<FileMark> FileMark::of(int descriptor) {
    return read(descriptor, "", AT_EMPTY_PATH);
}

bool FileMark::isOfSameFile(const FileMark& other) const {
    if (size == other.size && modified == other.modified)
        return true;
    // The number of a deleted file goes to the next one, and on some file systems changes by itself.
    return born != 0 || other.born != 0 ? born == other.born : inode == other.inode;
}

} // namespace fetra::torrent
