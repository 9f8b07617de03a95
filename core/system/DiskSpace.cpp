#include "system/DiskSpace.h"

#include <QFile>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fetra::DiskSpace {

std::optional<qint64> available(const QString& path) {
    struct statvfs info {};
    if (::statvfs(QFile::encodeName(path).constData(), &info) != 0 || info.f_blocks == 0)
        return std::nullopt;
    const auto blocks = ::geteuid() == 0 ? info.f_bfree : info.f_bavail;
    return static_cast<qint64>(blocks * info.f_frsize);
}

qint64 allocated(const QString& path) {
    constexpr qint64 statBlock = 512;
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_blocks * statBlock : 0;
}

} // namespace fetra::DiskSpace
