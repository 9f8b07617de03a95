#include "OperationRecorder.h"

#include <QDirIterator>
#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fetra::test {

namespace {

using Kind = SystemCall::Kind;

std::pair<dev_t, ino_t> inodeOf(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

} // namespace

OperationRecorder::OperationRecorder(const QString& folder)
    : FolderWatcher(folder) {
    QDirIterator found(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (found.hasNext()) {
        const QByteArray path = QFile::encodeName(found.next());
        const QByteArray name = nameBelow(path.constData());
        struct stat status {};
        ::lstat(path.constData(), &status);
        if (S_ISDIR(status.st_mode)) {
            before_.folders.insert(name);
            continue;
        }
        const auto [file, isNew] = files_.emplace(inodeOf(status), lastFile_ + 1);
        lastFile_ += isNew ? 1 : 0;
        before_.entries[name] = file->second;
        QFile content(found.filePath());
        if (content.open(QIODevice::ReadOnly))
            before_.contents[file->second] = content.readAll();
    }
    now_ = before_;
    install(this);
}

void OperationRecorder::noteLocked(Operation operation) {
    if (operation.isOfFolder())
        now_.apply(operation);
    operations_.push_back(std::move(operation));
}

int OperationRecorder::fileLocked(int descriptor) const {
    struct stat status {};
    ::fstat(descriptor, &status);
    return files_.at(inodeOf(status));
}

void OperationRecorder::noteOpenLocked(const SystemCall& call, const QByteArray& name, int descriptor) {
    if ((call.flags & O_CREAT) != 0 && !now_.entries.contains(name)) {
        struct stat status {};
        ::fstat(descriptor, &status);
        files_[inodeOf(status)] = ++lastFile_;
        noteLocked({.kind = Operation::Kind::create, .file = lastFile_, .name = name});
    } else if ((call.flags & O_TRUNC) != 0) {
        noteLocked({.kind = Operation::Kind::setLength, .file = fileLocked(descriptor), .name = name});
    }
}

long OperationRecorder::callBelow(SystemCall& call, const QByteArray& name, const Proceed& proceed) {
    // One at a time, so that the record has the order in which things happened.
    const std::lock_guard lock(mutex_);
    const bool isSync = call.kind == Kind::fsync || call.kind == Kind::fdatasync;
    const long result = isSync ? 0 : proceed();
    if (result < 0)
        return result;
    const int error = errno;
    switch (call.kind) {
    case Kind::open:
        noteOpenLocked(call, name, static_cast<int>(result));
        break;
    case Kind::write:
    case Kind::pwrite:
        noteLocked({.kind = Operation::Kind::write,
                    .file = fileLocked(call.descriptor),
                    .name = name,
                    .offset = call.kind == Kind::pwrite ? call.offset
                                                        : ::lseek(call.descriptor, 0, SEEK_CUR) - result,
                    .data = QByteArray(static_cast<const char*>(call.data), result)});
        break;
    case Kind::truncate:
        noteLocked({.kind = Operation::Kind::setLength,
                    .file = call.path ? now_.entries.at(name) : fileLocked(call.descriptor),
                    .name = name,
                    .offset = call.size});
        break;
    case Kind::fsync:
    case Kind::fdatasync:
        if (now_.folders.contains(name))
            noteLocked({.kind = Operation::Kind::syncFolder, .name = name});
        else
            noteLocked(
                {.kind = Operation::Kind::syncFile, .file = fileLocked(call.descriptor), .name = name});
        break;
    case Kind::rename:
    case Kind::renameat2:
    case Kind::link: {
        const QByteArray newName = nameBelow(call.newPath);
        const int file = now_.entries.at(name);
        const auto there = now_.entries.find(newName);
        // Between two names of one file a rename does nothing.
        if (there == now_.entries.end() || there->second != file)
            noteLocked({.kind = call.kind == Kind::link ? Operation::Kind::link : Operation::Kind::rename,
                        .file = file,
                        .name = name,
                        .newName = newName});
        break;
    }
    case Kind::unlink:
        noteLocked({.kind = Operation::Kind::unlink, .file = now_.entries.at(name), .name = name});
        break;
    case Kind::mkdir:
        noteLocked({.kind = Operation::Kind::makeFolder, .name = name});
        break;
    case Kind::read:
        break;
    }
    errno = error;
    return result;
}

} // namespace fetra::test
