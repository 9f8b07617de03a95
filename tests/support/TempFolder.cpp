#include "support/TempFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <stdexcept>
#include <sys/stat.h>

namespace fetra::test {

TempFolder::TempFolder(const QString& parent)
    : folder_(parent + QStringLiteral("/fetra-test-XXXXXX")) {
    if (!folder_.isValid())
        throw std::runtime_error("no temporary folder: " + folder_.errorString().toStdString());
}

QuickFolder::QuickFolder()
    : TempFolder(QFileInfo(QStringLiteral("/dev/shm")).isWritable() ? QStringLiteral("/dev/shm")
                                                                    : QDir::tempPath()) {}

QString TempFolder::write(const QString& name, const QByteArray& bytes) const {
    const QString target = path(name);
    QDir().mkpath(QFileInfo(target).path());
    QFile file(target);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush())
        throw std::runtime_error("cannot write " + target.toStdString());
    return target;
}

std::optional<QByteArray> TempFolder::tryRead(const QString& name) const {
    QFile file(path(name));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

QByteArray TempFolder::read(const QString& name) const {
    auto bytes = tryRead(name);
    if (!bytes)
        throw std::runtime_error("cannot read " + path(name).toStdString());
    return *std::move(bytes);
}

bool TempFolder::contains(const QString& name) const {
    const QFileInfo info(path(name));
    return info.exists() || info.isSymLink();
}

struct stat TempFolder::status(const QString& name) const {
    struct stat found {};
    ::stat(QFile::encodeName(path(name)).constData(), &found);
    return found;
}

QStringList TempFolder::names(const QString& subfolder) const {
    QStringList names =
        QDir(path(subfolder))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
    names.sort(Qt::CaseSensitive);
    return names;
}

} // namespace fetra::test
