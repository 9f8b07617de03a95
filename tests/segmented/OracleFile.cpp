#include "OracleFile.h"

#include <QFile>

#include <cerrno>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fetra::test {

namespace {

constexpr qint64 surplus = 64;

/// Every place in it looks different.
QByteArray serverFile(qint64 size) {
    QByteArray bytes(size, '\0');
    for (qint64 i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(1 + (i * 7 + i / 251) % 255);
    return bytes;
}

std::string rangeText(qint64 offset, qint64 end) {
    return std::to_string(offset) + "-" + std::to_string(end - 1);
}

} // namespace

OracleFile::OracleFile(const QString& path)
    : path_(path)
    , descriptor_(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
    struct stat status {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0)
        throw std::runtime_error("no partial file");
    inode_ = status.st_ino;
}

OracleFile::~OracleFile() {
    ::close(descriptor_);
}

void OracleFile::begin(qint64 total, const Bytes& held) {
    const std::lock_guard lock(mutex_);
    total_ = total;
    static const QByteArray longest = serverFile(capacity + surplus);
    content_ = longest.first(total + surplus);
    held_ = held;
    cache_ = QByteArray(capacity, '\0');
    for (qint64 i = 0; i < total; ++i) {
        if (held[static_cast<size_t>(i)])
            cache_[i] = content_[i];
    }
    disk_ = cache_;
    lost_.reset();
    for (size_t i = 0; i < come_.size(); ++i)
        coming_[i] = come_[i] = 0;
    records_ = 0;
    // An order that came too late for the run before.
    hold_ = false;
    running_ = true;
    const bool laid =
        ::ftruncate(descriptor_, 0) == 0 && ::lseek(descriptor_, 0, SEEK_SET) == 0 &&
        (held.none() || ::write(descriptor_, cache_.constData(), static_cast<size_t>(total)) == total);
    if (!laid)
        complainLocked("the partial file cannot be laid out");
}

void OracleFile::end() {
    const std::lock_guard lock(mutex_);
    running_ = false;
}

bool OracleFile::isOwn(int descriptor) const {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && status.st_ino == inode_;
}

long OracleFile::call(SystemCall& call, const Proceed& proceed) {
    int code = 0;
    if (call.kind == SystemCall::Kind::fsync || call.kind == SystemCall::Kind::fdatasync) {
        code = willSync(call.descriptor);
        if (code == 0)
            return 0;
    } else if (call.kind == SystemCall::Kind::pwrite) {
        const std::span data(static_cast<const char*>(call.data), static_cast<size_t>(call.size));
        code = willWrite(call.descriptor, data, call.offset);
    }
    if (code == 0)
        return proceed();
    errno = code;
    return -1;
}

int OracleFile::willWrite(int descriptor, std::span<const char> data, qint64 offset) {
    if (!isOwn(descriptor))
        return willSave(data);
    take(offset, offset + static_cast<qint64>(data.size()));
    if (midWrite)
        midWrite();
    const std::lock_guard lock(mutex_);
    const int code = comes(Fault::write);
    for (size_t i = 0; i < data.size(); ++i) {
        const qint64 at = offset + static_cast<qint64>(i);
        if (at >= total_)
            break;
        const auto bit = static_cast<size_t>(at);
        if (code) {
            held_.reset(bit);
            continue;
        }
        if (data[i] != content_[at])
            complainLocked("a wrong byte at " + std::to_string(at));
        cache_[at] = data[i];
        lost_.reset(bit);
    }
    return code;
}

/// Each byte is written once, where it belongs.
void OracleFile::take(qint64 offset, qint64 end) {
    const std::lock_guard lock(mutex_);
    if (!running_)
        complainLocked("a write after the end of the run");
    if (offset < 0 || end > total_)
        complainLocked("a write outside the file: " + rangeText(offset, end));
    for (qint64 i = offset; i < end && i < total_; ++i) {
        if (held_[static_cast<size_t>(i)])
            complainLocked("byte " + std::to_string(i) + " fetched twice");
        held_.set(static_cast<size_t>(i));
    }
}

int OracleFile::willSave(std::span<const char> data) {
    if (const int code = comes(Fault::sidecarWrite))
        return code;
    const auto record =
        ResumeStore::decode(QByteArray::fromRawData(data.data(), static_cast<qsizetype>(data.size())));
    if (!record)
        complain("a sidecar that is no record");
    else
        check(*record);
    ++records_;
    return 0;
}

int OracleFile::willSync(int descriptor) {
    if (!isOwn(descriptor))
        return comes(Fault::sidecarSync);
    QByteArray synced;
    {
        // What is written while the sync is under way may or may not be on the disk afterwards.
        const std::lock_guard lock(mutex_);
        synced = cache_;
    }
    if (hold_) {
        holding_ = true;
        hold_ = false;
        hold_.notify_all();
        holding_.wait(true);
    }
    const std::lock_guard lock(mutex_);
    const int code = comes(Fault::sync);
    for (qint64 i = 0; i < total_; ++i) {
        const auto bit = static_cast<size_t>(i);
        if (synced[i] == disk_[i])
            continue;
        if (code)
            lost_.set(bit);
        else if (!lost_[bit])
            disk_[i] = synced[i];
    }
    return code;
}

int OracleFile::comes(Fault fault) {
    const int code = coming_[static_cast<size_t>(fault)].exchange(0);
    come_[static_cast<size_t>(fault)] += code ? 1 : 0;
    return code;
}

void OracleFile::releaseSync() {
    hold_ = false;
    if (holding_.exchange(false))
        holding_.notify_all();
}

bool OracleFile::isHeldUp() const {
    hold_.wait(true);
    return holding_;
}

OracleFile::Bytes OracleFile::held() const {
    const std::lock_guard lock(mutex_);
    return held_;
}

void OracleFile::rewind() {
    const std::lock_guard lock(mutex_);
    for (size_t i = 0; i < capacity && held_[i]; ++i)
        held_.reset(i);
}

OracleFile::Bytes OracleFile::check(const ResumeRecord& record) {
    const std::lock_guard lock(mutex_);
    Bytes claimed;
    if (record.totalSize != total_ || !ResumeStore::isValidPartition(record.segments, total_)) {
        complainLocked("a record that does not tile the file");
        return claimed;
    }
    for (const ResumeRecord::Seg& segment : record.segments) {
        for (qint64 i = segment.start; i < segment.current; ++i) {
            claimed.set(static_cast<size_t>(i));
            if (disk_[i] != content_[i])
                complainLocked("a record claims byte " + std::to_string(i) + ", which is not on the disk");
        }
    }
    return claimed;
}

void OracleFile::checkWhole() {
    const std::lock_guard lock(mutex_);
    const QByteArray right = content_.first(total_);
    if (held_.count() != static_cast<size_t>(total_))
        complainLocked("finished with bytes missing");
    if (disk_.first(total_) != right)
        complainLocked("finished with bytes that are wrong or not on the disk");
    QByteArray file(capacity, '\0');
    const ssize_t size = ::pread(descriptor_, file.data(), capacity, 0);
    if (size != total_ || file.first(total_) != right)
        complainLocked("the finished file is not the server's");
}

void OracleFile::complain(const std::string& what) {
    const std::lock_guard lock(mutex_);
    complainLocked(what);
}

void OracleFile::complainLocked(const std::string& what) {
    if (complaint_.empty())
        complaint_ = what;
}

std::string OracleFile::complaint() const {
    const std::lock_guard lock(mutex_);
    return complaint_;
}

std::string OracleFile::takeComplaint() {
    const std::lock_guard lock(mutex_);
    return std::exchange(complaint_, {});
}

} // namespace fetra::test
