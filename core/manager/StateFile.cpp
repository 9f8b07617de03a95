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
    const bool isJson = content && error.error == QJsonParseError::NoError;
    // The file's own bytes are worth more than those of its earlier generation.
    if (!isJson && !unreadable_)
        unreadable_ = {path, content};
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
        unreadable_ = {source, AtomicFile::read(source, maxBytes)};
    return state;
}

void StateFile::save(std::span<const QByteArrayView> pieces) {
    MakeFolder::withParents(QFileInfo(path_).absolutePath());
    keepUnreadable();
    syncSoon(AtomicFile::replace(path_, pieces));
}

void StateFile::keepUnreadable() {
    if (!unreadable_)
        return;
    const QString name = unreadableName(path_, unreadable_->content);
    if (unreadable_->content)
        AtomicFile::write(name, *unreadable_->content);
    else if (std::rename(QFile::encodeName(unreadable_->path).constData(),
                         QFile::encodeName(name).constData()) != 0)
        throw PosixError::last();
    Log::warn([&] {
        return u"%1 could not be read as a download list and is replaced; its content is kept in %2"_s.arg(
            unreadable_->path, name);
    });
    unreadable_.reset();
}

void StateFile::syncSoon(PosixFile::Descriptor file) {
    {
        const std::lock_guard lock(mutex_);
        std::swap(newest_, file);
    }
    // The one before still waits for the queue, which will find this one in its place.
    if (!file.isOpen())
        syncs_.async([this] { syncNewest(); });
}

void StateFile::syncNewest() {
    PosixFile::Descriptor file;
    {
        const std::lock_guard lock(mutex_);
        std::swap(newest_, file);
    }
    try {
        if (!PosixFile::sync(file.number(), true))
            throw PosixError::last();
        linkSynced(file.number());
    } catch (const PosixError& error) {
        Log::warn([&] { return u"state save failed: "_s + error.description(); });
    }
}

void StateFile::linkSynced(int descriptor) const {
    const QString temporary = syncedPath_ + QLatin1StringView(AtomicFile::temporarySuffix);
    PosixFile::unlink(temporary);
    if (::link(QFile::encodeName(path_).constData(), QFile::encodeName(temporary).constData()) == 0) {
        // Replaced since by a generation that has a sync of its own to come.
        if (!isSameFile(descriptor, temporary)) {
            PosixFile::unlink(temporary);
            return;
        }
        if (std::rename(QFile::encodeName(temporary).constData(),
                        QFile::encodeName(syncedPath_).constData()) != 0)
            throw PosixError::last();
        // Two names of one file already: then rename has left both in place.
        PosixFile::unlink(temporary);
        PosixFile::syncFolderOf(path_);
    } else if (const std::optional<QByteArray> content = AtomicFile::read(path_, maxBytes)) {
        // No second names on this file system.
        AtomicFile::write(syncedPath_, *content);
    }
}

} // namespace fetra
