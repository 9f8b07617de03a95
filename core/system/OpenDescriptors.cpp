#include "system/OpenDescriptors.h"

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/resource.h>

namespace fetra::OpenDescriptors {

std::set<int> list() {
    std::set<int> descriptors;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir("/proc/self/fd"), &::closedir);
    if (!folder)
        return descriptors;
    const int own = ::dirfd(folder.get());
    while (const dirent* const entry = ::readdir(folder.get())) {
        char* end = nullptr;
        const long number = std::strtol(entry->d_name, &end, 10);
        if (end != entry->d_name && *end == '\0' && number != own)
            descriptors.insert(static_cast<int>(number));
    }
    return descriptors;
}

void closeOnExecSince(const std::set<int>& before) {
    for (const int descriptor : list()) {
        const int flags = before.contains(descriptor) ? -1 : ::fcntl(descriptor, F_GETFD);
        if (flags >= 0)
            ::fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC);
    }
}

void raiseLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace fetra::OpenDescriptors
