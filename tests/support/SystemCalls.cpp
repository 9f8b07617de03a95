#include "support/SystemCalls.h"

#include <atomic>
#include <cstdarg>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using fetra::test::CallWatcher;
using fetra::test::SystemCall;
using Kind = SystemCall::Kind;

std::atomic<CallWatcher*> watching{nullptr};
std::atomic<int> inside{0};

/// Asks the system's function of that name, unless somebody watches; `ask` is given it and the call's size,
/// which they may lower.
template <typename Function, typename Ask>
auto watched(const char* name, SystemCall call, const Ask& ask) {
    // What this program would call if it did not have its own. Sanitizers have one in between.
    static const auto next = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
    const auto proceed = [&]() -> long { return ask(next, static_cast<size_t>(call.size)); };
    using Result = decltype(ask(next, size_t()));
    if (!watching.load())
        return static_cast<Result>(proceed());
    // Counted before it is looked up again, so that whoever leaves waits for this call.
    ++inside;
    CallWatcher* const watcher = watching.load();
    const long result = watcher ? watcher->call(call, proceed) : proceed();
    --inside;
    return static_cast<Result>(result);
}

} // namespace

// With large files the headers give some of these another name, and look-ups must, too.
static_assert(sizeof(off_t) == 8);

extern "C" int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        std::va_list more;
        va_start(more, flags);
        mode = va_arg(more, mode_t);
        va_end(more);
    }
    return watched<int(const char*, int, mode_t)>("open64",
                                                  {.kind = Kind::open, .path = path, .flags = flags},
                                                  [&](auto next, size_t) { return next(path, flags, mode); });
}

extern "C" ssize_t read(int file, void* data, size_t size) {
    return watched<ssize_t(int, void*, size_t)>(
        "read", {.kind = Kind::read, .descriptor = file, .size = static_cast<off_t>(size)},
        [&](auto next, size_t most) { return next(file, data, most); });
}

extern "C" ssize_t write(int file, const void* data, size_t size) {
    return watched<ssize_t(int, const void*, size_t)>(
        "write", {.kind = Kind::write, .descriptor = file, .data = data, .size = static_cast<off_t>(size)},
        [&](auto next, size_t most) { return next(file, data, most); });
}

extern "C" ssize_t pwrite(int file, const void* data, size_t size, off_t at) {
    const auto length = static_cast<off_t>(size);
    return watched<ssize_t(int, const void*, size_t, off_t)>(
        "pwrite64", {.kind = Kind::pwrite, .descriptor = file, .data = data, .size = length, .offset = at},
        [&](auto next, size_t most) { return next(file, data, most, at); });
}

extern "C" int truncate(const char* path, off_t size) noexcept {
    return watched<int(const char*, off_t)>("truncate64",
                                            {.kind = Kind::truncate, .path = path, .size = size},
                                            [&](auto next, size_t) { return next(path, size); });
}

extern "C" int ftruncate(int file, off_t size) noexcept {
    return watched<int(int, off_t)>("ftruncate64", {.kind = Kind::truncate, .descriptor = file, .size = size},
                                    [&](auto next, size_t) { return next(file, size); });
}

extern "C" int fsync(int file) {
    return watched<int(int)>("fsync", {.kind = Kind::fsync, .descriptor = file},
                             [&](auto next, size_t) { return next(file); });
}

extern "C" int fdatasync(int file) {
    return watched<int(int)>("fdatasync", {.kind = Kind::fdatasync, .descriptor = file},
                             [&](auto next, size_t) { return next(file); });
}

extern "C" int rename(const char* from, const char* to) noexcept {
    return watched<int(const char*, const char*)>("rename",
                                                  {.kind = Kind::rename, .path = from, .newPath = to},
                                                  [&](auto next, size_t) { return next(from, to); });
}

extern "C" int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                         unsigned int flags) noexcept {
    return watched<int(int, const char*, int, const char*, unsigned int)>(
        "renameat2", {.kind = Kind::renameat2, .path = from, .newPath = to},
        [&](auto next, size_t) { return next(fromFolder, from, toFolder, to, flags); });
}

extern "C" int link(const char* from, const char* to) noexcept {
    return watched<int(const char*, const char*)>("link", {.kind = Kind::link, .path = from, .newPath = to},
                                                  [&](auto next, size_t) { return next(from, to); });
}

extern "C" int unlink(const char* path) noexcept {
    return watched<int(const char*)>("unlink", {.kind = Kind::unlink, .path = path},
                                     [&](auto next, size_t) { return next(path); });
}

extern "C" int mkdir(const char* path, mode_t mode) noexcept {
    return watched<int(const char*, mode_t)>("mkdir", {.kind = Kind::mkdir, .path = path},
                                             [&](auto next, size_t) { return next(path, mode); });
}

namespace fetra::test {

const char* nameOf(SystemCall::Kind kind) {
    constexpr const char* names[] = {"open",      "read",   "write",     "pwrite", "truncate", "fsync",
                                     "fdatasync", "rename", "renameat2", "link",   "unlink",   "mkdir"};
    return names[static_cast<size_t>(kind)];
}

void CallWatcher::install(CallWatcher* watcher) {
    watching = watcher;
    while (!watcher && inside.load() != 0)
        std::this_thread::yield();
}

} // namespace fetra::test
