#include "manager/StateLock.h"

#include "system/MakeFolder.h"
#include "system/PosixError.h"

#include <QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>

namespace fetra {

std::optional<StateLock> StateLock::tryAcquire(const QString& path) {
    const QFileInfo state(path);
    const QString target = state.canonicalFilePath();
    const QString real = target.isEmpty() ? state.absoluteFilePath() : target;
    MakeFolder::withParents(QFileInfo(real).absolutePath());
    PosixFile::Descriptor file =
        PosixFile::open(real + QLatin1StringView(suffix), O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
    if (!file.isOpen())
        throw PosixError::last();
    if (::flock(file.number(), LOCK_EX | LOCK_NB) == 0)
        return StateLock(std::move(file));
    if (errno == EWOULDBLOCK)
        return std::nullopt;
    throw PosixError::last();
}

} // namespace fetra
