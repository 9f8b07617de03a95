#include "system/MakeFolder.h"

#include "system/Log.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <sys/stat.h>

namespace fetra::MakeFolder {

using namespace Qt::StringLiterals;

QStringList withParents(const QString& path, mode_t mode) {
    if (QFileInfo(path).isDir())
        return {};
    QStringList made;
    if (const QString parent = QFileInfo(path).path(); parent != path)
        made = withParents(parent, mode);
    // Somebody else may have made it in the meantime, and a file or a broken link may have its name.
    if (::mkdir(QFile::encodeName(path).constData(), mode) == 0) {
        made.append(path);
    } else {
        const int code = errno;
        if (code != EEXIST || !QFileInfo(path).isDir())
            throw PosixError(code == EEXIST ? ENOTDIR : code);
    }
    return made;
}

void sync(const QStringList& made) {
    try {
        for (const QString& path : made)
            PosixFile::syncFolderOf(path);
    } catch (const PosixError& error) {
        Log::debug([&] { return u"new folder not synced: "_s + error.description(); });
    }
}

} // namespace fetra::MakeFolder
