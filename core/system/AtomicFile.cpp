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

PosixFile::Descriptor createTemporary(const QString& temporary) {
    PosixFile::unlink(temporary);
    PosixFile::Descriptor file = PosixFile::open(temporary, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (!file.isOpen())
        throw PosixError::last();
    return file;
}

/// Gathers small pieces, so that a list of ten thousand takes a few dozen system calls.
void writePieces(int descriptor, std::span<const QByteArrayView> pieces) {
    constexpr qsizetype bufferSize = 256 * 1024;
    QByteArray buffer;
    buffer.reserve(bufferSize);
    qint64 offset = 0;
    const auto flush = [&] {
        PosixFile::writeAll(descriptor, buffer, offset);
        offset += buffer.size();
        buffer.resize(0);
    };
    for (const QByteArrayView piece : pieces) {
        if (buffer.size() + piece.size() > bufferSize)
            flush();
        buffer.append(piece);
    }
    flush();
}

void rename(const QString& from, const QString& to) {
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0)
        throw PosixError::last();
}

QString temporaryOf(const QString& path) {
    return path + QLatin1StringView(temporarySuffix);
}

} // namespace

void write(const QString& path, const QByteArray& content) {
    const QString temporary = temporaryOf(path);
    PosixFile::Descriptor file = createTemporary(temporary);
    try {
        PosixFile::writeAll(file.number(), content, 0);
        if (!PosixFile::sync(file.number(), true))
            throw PosixError::last();
        // Some network file systems report a failed write only here.
        if (::close(file.release()) != 0 && errno != EINTR)
            throw PosixError::last();
        rename(temporary, path);
    } catch (const PosixError&) {
        PosixFile::unlink(temporary);
        throw;
    }
    PosixFile::syncFolderOf(path);
}

PosixFile::Descriptor replace(const QString& path, std::span<const QByteArrayView> pieces) {
    const QString temporary = temporaryOf(path);
    PosixFile::Descriptor file = createTemporary(temporary);
    try {
        writePieces(file.number(), pieces);
        rename(temporary, path);
    } catch (const PosixError&) {
        PosixFile::unlink(temporary);
        throw;
    }
    return file;
}

std::optional<QByteArray> read(const QString& path, qint64 maxBytes) {
    try {
        return readIfThere(path, maxBytes);
    } catch (const PosixError&) {
        return std::nullopt;
    }
}

std::optional<QByteArray> readIfThere(const QString& path, qint64 maxBytes) {
    // Non-blocking, so that a pipe of that name cannot hold the caller up.
    const auto open = [&path] { return PosixFile::open(path, O_RDONLY | O_NONBLOCK); };
    PosixFile::Descriptor file = open();
    if (!file.isOpen() && errno == ENOENT) {
        if (!PosixFile::exists(path))
            return std::nullopt;
        // It has come in between, or is a link that leads nowhere.
        file = open();
    }
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0)
        throw PosixError::last();
    if (!S_ISREG(status.st_mode) || status.st_size > maxBytes)
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
            throw PosixError::last();
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
