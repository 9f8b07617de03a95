#pragma once

#include <QtGlobal>

#include <optional>
#include <string>

namespace fetra::torrent {

/// What tells a file from others of its path, and from what it was before it was written to. The number of
/// the device is no part of it: it may be another after a restart of the computer.
struct FileMark {
    qint64 inode = 0;
    /// Nanoseconds; 0 where the file system does not keep it.
    qint64 born = 0;
    /// Bytes.
    qint64 size = 0;
    /// Nanoseconds.
    qint64 modified = 0;

    /// Nothing when there is no regular file; a link is none.
    [[nodiscard]] static std::optional<FileMark> at(const std::string& path);
    [[nodiscard]] static std::optional<FileMark> of(int descriptor);

    /// Whether both are of one file, which may have been written to in between, or of an unchanged copy.
    [[nodiscard]] bool isOfSameFile(const FileMark& other) const;
    bool operator==(const FileMark& other) const = default;
};

} // namespace fetra::torrent
