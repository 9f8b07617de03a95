#include "OutputTarget.h"

#include "cli/ArgumentValues.h"
#include "system/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

QString absolutePath(const QString& output, const QString& currentFolder) {
    QString path = QDir::isAbsolutePath(output) ? output : currentFolder + u'/' + output;
    // In an address a host would follow two slashes.
    while (path.startsWith("//"_L1))
        path.remove(0, 1);
    // "a/.." is not always "." when a is a link, so such paths stay as they are.
    if (path.split(u'/').contains(".."_L1))
        return path;
    return path.endsWith(u'/') ? QDir::cleanPath(path) + u'/' : QDir::cleanPath(path);
}

/// The nearest part of `path` that is there already.
QString nearestExisting(QString path) {
    while (!QFileInfo::exists(path)) {
        const qsizetype slash = path.lastIndexOf(u'/');
        if (slash <= 0)
            return u"/"_s;
        path.truncate(slash);
    }
    return path;
}

std::optional<UsageError> whyNotWritable(const QString& folder) {
    const QString existing = nearestExisting(folder);
    const QString shown = ArgumentValues::quoted(existing);
    if (!QFileInfo(existing).isDir())
        return UsageError{u"%1 is not a folder; name a folder that you can write to with -o."_s.arg(shown)};
    if (::faccessat(AT_FDCWD, QFile::encodeName(existing).constData(), W_OK | X_OK, AT_EACCESS) != 0)
        return UsageError{u"The folder %1 cannot be written to (%2); name another one with -o."_s.arg(
            shown, QString::fromLocal8Bit(std::strerror(errno)))};
    return std::nullopt;
}

} // namespace

std::variant<QUrl, UsageError> outputTarget(const QString& output, const QString& currentFolder) {
    if (currentFolder.isEmpty() && !QDir::isAbsolutePath(output))
        return UsageError{u"The current folder does not exist any more; name another one with -o."_s};
    // A name that was not decoded would lead to another folder.
    if (currentFolder.contains(QChar::ReplacementCharacter) && !QDir::isAbsolutePath(output))
        return UsageError{
            u"The name of the current folder is not valid UTF-8; name another folder with -o."_s};
    const QString path = absolutePath(output.isEmpty() ? u"./"_s : output, currentFolder);
    const QFileInfo info(path);
    if (info.isDir() || path.endsWith(u'/')) {
        QString folder = path;
        while (folder.size() > 1 && folder.endsWith(u'/'))
            folder.chop(1);
        if (const auto error = whyNotWritable(folder))
            return *error;
        return QUrl::fromLocalFile(folder.endsWith(u'/') ? folder : folder + u'/');
    }

    if (info.exists() && !info.isFile())
        return UsageError{u"%1 is neither a folder nor an ordinary file; name one of these with -o."_s.arg(
            ArgumentValues::quoted(path))};
    // The longest name that stands beside the file while it is on its way must fit too.
    const qsizetype longest =
        255 - qsizetype(std::strlen(".fetra")) - qsizetype(std::strlen(AtomicFile::temporarySuffix));
    if (QFile::encodeName(info.fileName()).size() > longest)
        return UsageError{
            u"The file name after -o is too long; write one of at most %1 bytes."_s.arg(longest)};
    if (const auto error = whyNotWritable(info.path()))
        return *error;
    return QUrl::fromLocalFile(path);
}

} // namespace fetra::cli
