#include "app/desktop/SingleInstance.h"

#include "app/desktop/HandoverServer.h"
#include "app/desktop/PeerUser.h"
#include "system/Log.h"
#include "system/PosixError.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// Throws `PosixError`; EPERM when somebody else could put something there.
void requirePrivate(const QString& folder) {
    const PosixFile::Descriptor opened = PosixFile::open(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    struct stat status {};
    if (!opened.isOpen() || ::fstat(opened.number(), &status) != 0)
        throw PosixError::last();
    if (status.st_uid != ::geteuid() || (status.st_mode & 077) != 0)
        throw PosixError(EPERM);
}

/// Where instances meet, made when it is missing. Throws `PosixError`.
QString meetingFolder(const QString& runtime) {
    // Some systems have a link there.
    const QString real = QFileInfo(runtime).canonicalFilePath();
    if (real.isEmpty())
        throw PosixError(ENOENT);
    requirePrivate(real);
    const QString folder = real + "/fetra"_L1;
    if (::mkdir(QFile::encodeName(folder).constData(), 0700) != 0 && errno != EEXIST)
        throw PosixError::last();
    requirePrivate(folder);
    return folder;
}

/// Sticky, or what cleans the folder of files that nobody has touched for hours would take them away.
constexpr mode_t lockMode = S_ISVTX | S_IRUSR | S_IWUSR;
constexpr mode_t socketMode = S_ISVTX | S_IRWXU;

/// Whether `path` still names the opened file.
bool isAt(const QString& path, const PosixFile::Descriptor& file) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(file.number(), &opened) == 0 &&
           ::lstat(QFile::encodeName(path).constData(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

/// Nothing when somebody else holds it. Throws `PosixError`.
std::optional<PosixFile::Descriptor> tryLock(const QString& path) {
    for (;;) {
        PosixFile::Descriptor file = PosixFile::open(path, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
        if (!file.isOpen())
            throw PosixError::last();
        if (::flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK)
                throw PosixError::last();
            return std::nullopt;
        }
        // A file that has been replaced since we opened it keeps nobody out.
        if (!isAt(path, file))
            continue;
        if (::fchmod(file.number(), lockMode) != 0)
            throw PosixError::last();
        return file;
    }
}

int millisecondsTo(const QDeadlineTimer& deadline) {
    return static_cast<int>(std::max<qint64>(deadline.remainingTime(), 0));
}

/// Whether the instance that listens at `path` says that it has taken `message`.
bool handOver(const QString& path, const QByteArray& message, const QDeadlineTimer& deadline) {
    QLocalSocket socket;
    socket.setReadBufferSize(64);
    socket.connectToServer(path);
    if (!socket.waitForConnected(millisecondsTo(deadline)) || !PeerUser::isOurs(socket.socketDescriptor()))
        return false;
    socket.write(message + '\n');
    while (socket.bytesToWrite() > 0)
        if (!socket.waitForBytesWritten(millisecondsTo(deadline)))
            return false;
    while (!socket.canReadLine() && socket.waitForReadyRead(millisecondsTo(deadline))) {
    }
    return socket.readLine() == HandoverServer::taken;
}

} // namespace

QString SingleInstance::runtimeFolder() {
    // Asked about a folder that is set, Qt would settle for a relative one.
    const QString given = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (given.isEmpty())
        return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return QDir::isAbsolutePath(given) ? given : QString();
}

SingleInstance::SingleInstance(const QString& runtime, const Limits& limits)
    : runtime_(runtime)
    , limits_(limits) {}

SingleInstance::~SingleInstance() = default;

SingleInstance::Start SingleInstance::start(const Handover& handover) {
    const QDeadlineTimer deadline(limits_.answerWithin);
    const QByteArray message = handover.encoded();
    try {
        const QString folder = meetingFolder(runtime_);
        const QString socket = folder + "/instance.socket"_L1;
        std::optional<PosixFile::Descriptor> lock;
        while (!(lock = tryLock(folder + "/instance.lock"_L1))) {
            if (!Handover::parse(message))
                return Start::tooLarge;
            if (deadline.hasExpired())
                return Start::notTaken;
            if (handOver(socket, message, deadline))
                return Start::handedOver;
            // It may not listen yet, or no longer.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        lock_ = *std::move(lock);
        socket_ = socket;
        return listen(socket);
    } catch (const PosixError& error) {
        Log::warn([&] { return u"cannot look for another instance: %1"_s.arg(error.description()); });
        return Start::unguarded;
    }
}

void SingleInstance::setListening(bool listens) {
    if (!listens)
        server_.reset();
    else if (!server_ && !socket_.isEmpty())
        listen(socket_);
}

SingleInstance::Start SingleInstance::listen(const QString& path) {
    // We hold the lock, so whoever left a socket there is gone.
    PosixFile::unlink(path);
    server_ = std::make_unique<HandoverServer>(limits_.messageWithin, limits_.maxClients);
    connect(server_.get(), &HandoverServer::received, this, &SingleInstance::received);
    if (server_->listen(path) && ::chmod(QFile::encodeName(path).constData(), socketMode) == 0)
        return Start::first;
    Log::warn([&] { return u"cannot listen for other instances: %1"_s.arg(server_->errorString()); });
    server_.reset();
    lock_ = PosixFile::Descriptor();
    return Start::unguarded;
}

} // namespace fetra
