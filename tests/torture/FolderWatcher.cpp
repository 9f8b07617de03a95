#include "FolderWatcher.h"

#include <array>
#include <cerrno>

#include <limits.h>
#include <unistd.h>

namespace fetra::test {

namespace {

QByteArray pathOf(const SystemCall& call) {
    if (call.path)
        return call.path;
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(call.descriptor);
    std::array<char, PATH_MAX> path{};
    const ssize_t length = ::readlink(link.constData(), path.data(), path.size());
    return {path.data(), static_cast<qsizetype>(std::max<ssize_t>(length, 0))};
}

} // namespace

bool FolderWatcher::isBelow(const QByteArray& path) const {
    return path.startsWith(folder_) && (path.size() == folder_.size() || path.at(folder_.size()) == '/');
}

QByteArray FolderWatcher::nameBelow(const char* path) const {
    QByteArray name = QByteArray(path).mid(folder_.size() + 1);
    while (name.endsWith('/'))
        name.chop(1);
    return name;
}

long FolderWatcher::call(SystemCall& call, const Proceed& proceed) {
    if (Unseen::count > 0)
        return proceed();
    const QByteArray path = pathOf(call);
    if (!isBelow(path))
        return proceed();
    if (refusal_ != 0 && call.kind == refused_) {
        errno = refusal_;
        return -1;
    }
    return callBelow(call, nameBelow(path.constData()), proceed);
}

} // namespace fetra::test
