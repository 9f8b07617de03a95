#pragma once

#include "system/PosixFile.h"

#include <QString>

#include <atomic>
#include <optional>
#include <span>

namespace fetra {

/// One open partial file that many threads fill at disjoint offsets.
///
/// `write` and `flush` may run on any threads at once with `close`: closing lets no new call in, waits for
/// those inside, and only then gives the descriptor back, so that a late write can never reach a number that
/// the system has handed out again.
///
/// While a sink lives, closed or not, it holds an advisory lock on its file: a partial file is somebody's
/// work in progress until it has been checked and moved, also for other processes, and a crash ends it.
class FileSink {
public:
    /// What a file at the path means to who opens it.
    enum class Existing { refused, required, welcome };

    /// Opens `path` for writing, creates it with mode 0644 where it is missing unless it is required, and
    /// never truncates it. `preallocate`, when at least 1, becomes the file's length. Throws `PosixError`;
    /// EEXIST (refused) or EBUSY when another sink has the file.
    FileSink(const QString& path, std::optional<qint64> preallocate, Existing existing);
    ~FileSink();
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;

    /// Writes all of `data` at `offset`. Empty data and a closed sink are silently nothing. Throws
    /// `PosixError`.
    void write(std::span<const char> data, qint64 offset);

    /// Syncs the file: with `full` its metadata too. False when the sync failed or the sink is closed, and
    /// from the first failure on for good: the system reports a lost write once, and the next sync would
    /// succeed without it.
    [[nodiscard]] bool flush(bool full);

    /// Waits for writers and flushes inside, then closes the descriptor they used. The file stays this sink's
    /// own. A second call does nothing.
    void close();

    [[nodiscard]] const QString& path() const { return path_; }
    [[nodiscard]] bool isClosed() const { return closed_.load(); }

    /// Whether some sink, in this process or another, has the file at `path`.
    [[nodiscard]] static bool isInUse(const QString& path);

    enum class Discarded {
        gone,   ///< or never there
        taken,  ///< left alone, because some sink has it
        failed, ///< left alone, and `errno` says why
    };

    /// Deletes the file at `path`, unless some sink has it.
    [[nodiscard]] static Discarded discard(const QString& path);

private:
    class Visit;

    const QString path_;
    PosixFile::Descriptor claim_;
    int fd_ = -1;
    std::atomic<bool> closed_{false};
    std::atomic<bool> lostWrites_{false};
    std::atomic<int> visitors_{0};
};

} // namespace fetra
