#include "system/AtomicFile.h"

#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QFile>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fetra::AtomicFile {

namespace {

void writeTemporary(const QString& path, const QByteArray& content) {
    PosixFile::Descriptor file = PosixFile::open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (!file.isOpen())
        throw PosixError::last();
    PosixFile::writeAll(file.number(), content, 0);
    if (!PosixFile::sync(file.number(), true))
        throw PosixError::last();
    // Some network file systems report a failed write only here.
    if (::close(file.release()) != 0 && errno != EINTR)
        throw PosixError::last();
}

} // namespace

void write(const QString& path, const QByteArray& content) {
    const QString temporary = path + QLatin1StringView(temporarySuffix);
    PosixFile::unlink(temporary);
    try {
        writeTemporary(temporary, content);
        if (std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()) != 0)
            throw PosixError::last();
    } catch (const PosixError&) {
        PosixFile::unlink(temporary);
        throw;
    }
    PosixFile::syncFolderOf(path);
}

std::optional<QByteArray> read(const QString& path, qint64 maxBytes) {
    // Non-blocking, so that a pipe of that name cannot hold the caller up.
    const PosixFile::Descriptor file = PosixFile::open(path, O_RDONLY | O_NONBLOCK);
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size > maxBytes)
        return std::nullopt;
    QByteArray content;
    qsizetype length = 0;
    for (;;) {
        // One byte more than the file had: it may have grown since.
        content.resize(qMax<qsizetype>(status.st_size, length) + 1);
        const ssize_t count =
            ::read(file.number(), content.data() + length, static_cast<size_t>(content.size() - length));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        length += count;
        if (length > maxBytes)
            return std::nullopt;
    }
    content.resize(length);
    return content;
}

} // namespace fetra::AtomicFile
