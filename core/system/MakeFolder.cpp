#include "system/MakeFolder.h"

#include "system/PosixError.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <sys/stat.h>

namespace fetra::MakeFolder {

void withParents(const QString& path) {
    if (QFileInfo(path).isDir())
        return;
    const QString parent = QFileInfo(path).path();
    if (parent != path)
        withParents(parent);
    // Somebody else may have made it in the meantime, and a file or a broken link may have its name.
    if (::mkdir(QFile::encodeName(path).constData(), 0700) != 0) {
        const int code = errno;
        if (code != EEXIST || !QFileInfo(path).isDir())
            throw PosixError(code == EEXIST ? ENOTDIR : code);
    }
}

} // namespace fetra::MakeFolder
