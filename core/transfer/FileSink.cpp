#include "transfer/FileSink.h"

#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fetra {

namespace {

struct flock wholeFile() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

/// Whether `descriptor` is locked now. False only when another sink has the file; a file system without locks
/// counts as locked.
bool lock(int descriptor) {
    struct flock wanted = wholeFile();
    return ::fcntl(descriptor, F_OFD_SETLK, &wanted) == 0 || (errno != EAGAIN && errno != EACCES);
}

bool isAt(const QString& path, const struct stat& file) {
    struct stat there {};
    return ::lstat(QFile::encodeName(path).constData(), &there) == 0 && there.st_dev == file.st_dev &&
           there.st_ino == file.st_ino;
}

} // namespace

/// Keeps the descriptor open for as long as it lives, if it was open to begin with. The visitor counts itself
/// before it looks at `closed_`, and the closer sets `closed_` before it looks at the count: one of the two
/// sees the other.
class FileSink::Visit {
public:
    explicit Visit(FileSink& sink)
        : visitors_(sink.visitors_) {
        // Late visitors stay out of the count, or the closer might never see it at 0.
        if (sink.closed_.load())
            return;
        visitors_.fetch_add(1);
        isInside_ = true;
        if (sink.closed_.load())
            leave();
    }
    ~Visit() {
        if (isInside_)
            leave();
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    [[nodiscard]] bool isOpen() const { return isInside_; }

private:
    void leave() {
        isInside_ = false;
        if (visitors_.fetch_sub(1) == 1)
            visitors_.notify_all();
    }

    std::atomic<int>& visitors_;
    bool isInside_ = false;
};

FileSink::FileSink(const QString& path, std::optional<qint64> preallocate, Existing existing)
    : path_(path) {
    const bool isNew = existing == Existing::refused;
    // Non-blocking for the sake of pipes; regular files know no such thing.
    const int flags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | (existing == Existing::required ? 0 : O_CREAT) |
                      (isNew ? O_EXCL : 0);
    PosixFile::Descriptor file = PosixFile::open(path, flags, 0644);
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0)
        throw PosixError::last();
    if (!S_ISREG(status.st_mode))
        throw PosixError(EINVAL);
    // A file that was replaced between opening and locking belongs to somebody else now.
    if (!lock(file.number()) || !isAt(path, status))
        throw PosixError(isNew ? EEXIST : EBUSY);
    if (preallocate && *preallocate >= 1 && !PosixFile::setLength(file.number(), *preallocate))
        throw PosixError::last();
    // Both numbers share the lock, which lasts until the last of them is closed.
    claim_ = PosixFile::Descriptor(::fcntl(file.number(), F_DUPFD_CLOEXEC, 0));
    if (!claim_.isOpen())
        throw PosixError::last();
    fd_ = file.release();
}

FileSink::~FileSink() {
    close();
}

void FileSink::write(std::span<const char> data, qint64 offset) {
    if (data.empty())
        return;
    const Visit visit(*this);
    if (visit.isOpen())
        PosixFile::writeAll(fd_, data, offset);
}

bool FileSink::flush(bool full) {
    const Visit visit(*this);
    if (!visit.isOpen())
        return false;
    bool synced = PosixFile::sync(fd_, full);
    // Only what cannot be asked for is asked for otherwise: after an I/O error the second sync would hide the
    // first.
    if (!synced && full && (errno == EINVAL || errno == ENOTSUP || errno == ENOSYS))
        synced = PosixFile::sync(fd_, false);
    if (!synced)
        lostWrites_.store(true);
    return !lostWrites_.load();
}

void FileSink::close() {
    if (closed_.exchange(true))
        return;
    for (int inside = visitors_.load(); inside != 0; inside = visitors_.load())
        visitors_.wait(inside);
    if (fd_ >= 0)
        ::close(fd_);
}

FileSink::Discarded FileSink::discard(const QString& path) {
    const auto unlinked = [&path] { return PosixFile::unlink(path) ? Discarded::gone : Discarded::failed; };
    const PosixFile::Descriptor file = PosixFile::open(path, O_WRONLY | O_NONBLOCK | O_NOFOLLOW);
    if (!file.isOpen()) {
        // Nothing to delete; what appears there from now on is somebody else's. Links and pipes are no
        // sink's. Otherwise nobody knows whose it is.
        if (errno == ENOENT)
            return Discarded::gone;
        return errno == ELOOP || errno == ENXIO ? unlinked() : Discarded::failed;
    }
    struct stat status {};
    if (::fstat(file.number(), &status) != 0)
        return Discarded::failed;
    // Under the lock: a sink that opens the file meanwhile sees that it has lost it.
    if (!lock(file.number()) || !isAt(path, status))
        return Discarded::taken;
    return unlinked();
}

bool FileSink::isInUse(const QString& path) {
    const PosixFile::Descriptor file = PosixFile::open(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
    struct flock held = wholeFile();
    return file.isOpen() && ::fcntl(file.number(), F_OFD_GETLK, &held) == 0 && held.l_type != F_UNLCK;
}

} // namespace fetra
