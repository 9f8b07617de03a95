#include "system/MoveFile.h"

#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace fetra::MoveFile {

namespace {

bool isUnsupported(int error) {
    return error == EINVAL || error == ENOSYS || error == EPERM || error == ENOTSUP || error == EMLINK;
}

/// For file systems that cannot rename without replacing: a second name fails where there is one already.
bool moveByLink(const QByteArray& from, const QByteArray& to) {
    if (::link(from.constData(), to.constData()) == 0) {
        try {
            // Or a power loss could leave the file without either name.
            PosixFile::syncFolderOf(QFile::decodeName(to));
        } catch (const PosixError&) {
            ::unlink(to.constData());
            throw;
        }
        ::unlink(from.constData());
        return true;
    }
    if (errno == EEXIST)
        return false;
    if (!isUnsupported(errno))
        throw PosixError::last();
    // No second names either (FAT). The look before the leap is all that is left.
    if (PosixFile::exists(QFile::decodeName(to)))
        return false;
    if (::rename(from.constData(), to.constData()) != 0)
        throw PosixError::last();
    return true;
}

/// As far as the disk still lets it.
void moveBack(const QByteArray& from, const QByteArray& to) {
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) != 0 &&
        isUnsupported(errno) && !PosixFile::exists(QFile::decodeName(to)))
        static_cast<void>(::rename(from.constData(), to.constData()));
}

} // namespace

bool withoutReplacing(const QString& from, const QString& to) {
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) != 0) {
        if (errno == EEXIST)
            return false;
        if (!isUnsupported(errno))
            throw PosixError::last();
        if (!moveByLink(source, target))
            return false;
    }
    try {
        PosixFile::syncFolderOf(to);
    } catch (const PosixError&) {
        moveBack(target, source);
        throw;
    }
    return true;
}

} // namespace fetra::MoveFile
