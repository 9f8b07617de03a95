#include "system/PosixFile.h"

#include "system/PosixError.h"

#include <QFile>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fetra::PosixFile {

Descriptor::~Descriptor() {
    if (number_ >= 0)
        ::close(number_);
}

Descriptor open(const QString& path, int flags, mode_t mode) {
    const QByteArray name = QFile::encodeName(path);
    int number = -1;
    do {
        number = ::open(name.constData(), flags | O_CLOEXEC, mode);
    } while (number < 0 && errno == EINTR);
    return Descriptor(number);
}

void writeAll(int descriptor, std::span<const char> data, qint64 offset) {
    while (!data.empty()) {
        const ssize_t written = ::pwrite(descriptor, data.data(), data.size(), offset);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw PosixError::last();
        if (written == 0)
            throw PosixError(EIO);
        data = data.subspan(static_cast<size_t>(written));
        offset += written;
    }
}

bool setLength(int descriptor, qint64 length) {
    int result = 0;
    do {
        result = ::ftruncate(descriptor, length);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool sync(int descriptor, bool metadata) {
    int result = 0;
    do {
        result = metadata ? ::fsync(descriptor) : ::fdatasync(descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

void syncFolderOf(const QString& path) {
    const qsizetype slash = path.lastIndexOf(u'/');
    const QString folder = slash < 0 ? QStringLiteral(".") : path.left(std::max<qsizetype>(slash, 1));
    const Descriptor descriptor = open(folder, O_RDONLY | O_DIRECTORY);
    if (!descriptor.isOpen())
        throw PosixError::last();
    // EINVAL: a file system that has no sync for folders.
    if (!sync(descriptor.number(), true) && errno != EINVAL)
        throw PosixError::last();
}

bool exists(const QString& path) {
    struct stat status {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0;
}

bool unlink(const QString& path) {
    return ::unlink(QFile::encodeName(path).constData()) == 0;
}

} // namespace fetra::PosixFile
