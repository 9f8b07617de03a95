#include "manager/StateFile.h"

#include "system/AtomicFile.h"
#include "system/Log.h"
#include "system/MakeFolder.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// Of a state file. A list of a million downloads has half of it.
constexpr qint64 maxBytes = 1024 * 1024 * 1024;

/// Where the file really lies: a link to it is to stay one.
QString resolved(const QString& path) {
    const QString target = QFileInfo(path).canonicalFilePath();
    return target.isEmpty() ? path : target;
}

/// The first name for an unreadable file that is not taken by another one.
QString unreadableName(const QString& path, const std::optional<QByteArray>& content) {
    constexpr int maxNames = 100;
    const QString first = path + QLatin1StringView(StateFile::unreadableSuffix);
    QString name = first;
    for (int number = 2; number <= maxNames; ++number) {
        if (!PosixFile::exists(name) || (content && AtomicFile::read(name, maxBytes) == content))
            return name;
        name = first + u'.' + QString::number(number);
    }
    return name;
}

bool isSameFile(int descriptor, const QString& path) {
    struct stat open {};
    struct stat there {};
    return ::fstat(descriptor, &open) == 0 && ::lstat(QFile::encodeName(path).constData(), &there) == 0 &&
           open.st_dev == there.st_dev && open.st_ino == there.st_ino;
}

/// Under a second name where there are such, so that the first is never without a file. Throws `PosixError`.
void putAside(const QString& path, const QString& name) {
    const QByteArray from = QFile::encodeName(path);
    const QByteArray to = QFile::encodeName(name);
    if (::link(from.constData(), to.constData()) == 0)
        return;
    // Where no file can be made now, the new list will have no place either.
    static_cast<void>(AtomicFile::replace(name, {}));
    if (std::rename(from.constData(), to.constData()) != 0)
        throw PosixError::last();
}

} // namespace

StateFile::StateFile(const QString& path)
    : path_(resolved(path))
    , syncedPath_(path_ + QLatin1StringView(syncedSuffix)) {}

std::optional<QJsonObject> StateFile::readObject(const QString& path) {
    const std::optional<QByteArray> content = AtomicFile::read(path, maxBytes);
    if (content ? content->isEmpty() : !PosixFile::exists(path))
        return std::nullopt;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(content.value_or(QByteArray()), &error);
    // Pages that a power loss has kept from the disk read as zeros, which the parser lets pass inside a
    // string.
    const bool isJson = content && error.error == QJsonParseError::NoError && !content->contains('\0');
    if (!isJson && !QFileInfo(path).isDir())
        unreadable_.append({path, content});
    return isJson ? std::optional(document.object()) : std::nullopt;
}

std::optional<ManagerState> StateFile::load() {
    QString source = path_;
    std::optional<QJsonObject> object = readObject(path_);
    if (!object) {
        source = syncedPath_;
        object = readObject(syncedPath_);
    }
    if (!object)
        return std::nullopt;
    std::optional<ManagerState> state = ManagerState::fromJson(*object);
    if (!state)
        unreadable_.append({source, AtomicFile::read(source, maxBytes)});
    return state;
}

void StateFile::save(std::span<const QByteArrayView> pieces) {
    MakeFolder::withParents(QFileInfo(path_).absolutePath());
    keepUnreadable();
    syncSoon(AtomicFile::replace(path_, pieces));
}

void StateFile::keepUnreadable() {
    while (!unreadable_.isEmpty()) {
        keep(unreadable_.first());
        unreadable_.removeFirst();
    }
}

void StateFile::keep(const Unreadable& file) {
    const QString name = unreadableName(path_, file.content);
    if (file.content) {
        const QByteArrayView content(*file.content);
        const auto copy = std::make_shared<PosixFile::Descriptor>(AtomicFile::replace(name, {&content, 1}));
        syncs_.async([copy] { static_cast<void>(PosixFile::sync(copy->number(), true)); });
    } else {
        putAside(file.path, name);
    }
    Log::warn([&] {
        return u"%1 could not be read as a download list and is replaced; its content is kept in %2"_s.arg(
            file.path, name);
    });
}

void StateFile::syncSoon(PosixFile::Descriptor file) {
    {
        const std::lock_guard lock(mutex_);
        std::swap(newest_, file);
    }
    // The one before still waits for the queue, which will find this one in its place.
    if (file.isOpen())
        return;
    try {
        syncs_.async([this] { syncNewest(); });
    } catch (const std::exception&) {
        const std::lock_guard lock(mutex_);
        newest_ = PosixFile::Descriptor();
        throw;
    }
}

void StateFile::syncNewest() {
    PosixFile::Descriptor file;
    {
        const std::lock_guard lock(mutex_);
        std::swap(newest_, file);
    }
    // The second name comes before the sync, which takes long enough for `path_` to be replaced.
    const QString temporary = syncedPath_ + QLatin1StringView(AtomicFile::temporarySuffix);
    PosixFile::unlink(temporary);
    const bool isLinked =
        ::link(QFile::encodeName(path_).constData(), QFile::encodeName(temporary).constData()) == 0;
    // A newer generation has its own sync to come.
    if (isLinked && !isSameFile(file.number(), temporary)) {
        PosixFile::unlink(temporary);
        return;
    }
    try {
        if (!PosixFile::sync(file.number(), true))
            throw PosixError::last();
        keepSynced(isLinked ? std::optional(temporary) : std::nullopt);
        // Whoever has made the folder, its name is to last as well.
        if (!std::exchange(folderLasts_, true))
            MakeFolder::sync({QFileInfo(path_).absolutePath()});
    } catch (const PosixError& error) {
        Log::warn([&] { return u"state save failed: "_s + error.description(); });
    }
    // Also after a rename, which leaves both of two names of one file.
    PosixFile::unlink(temporary);
}

void StateFile::keepSynced(const std::optional<QString>& secondName) const {
    if (secondName) {
        if (std::rename(QFile::encodeName(*secondName).constData(),
                        QFile::encodeName(syncedPath_).constData()) != 0)
            throw PosixError::last();
        PosixFile::syncFolderOf(path_);
    } else if (const std::optional<QByteArray> content = AtomicFile::read(path_, maxBytes)) {
        // No second names on this file system.
        AtomicFile::write(syncedPath_, *content);
    }
}

} // namespace fetra
