#include "support/SystemCalls.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
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

/// Leads to the system, unless somebody watches.
template <typename Proceed>
long watched(SystemCall& call, const Proceed& proceed) {
    if (!watching.load())
        return proceed();
    // Counted before it is looked up again, so that whoever leaves waits for this call.
    ++inside;
    CallWatcher* const watcher = watching.load();
    const long result = watcher ? watcher->call(call, proceed) : proceed();
    --inside;
    return result;
}

/// The function that this program would call if it did not have its own. Sanitizers have one in between.
template <typename Function>
Function* following(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// With large files the headers give some of these another name, and look-ups must, too.
static_assert(sizeof(off_t) == 8);

extern "C" int open(const char* path, int flags, ...) {
    static const auto next = following<int(const char*, int, mode_t)>("open64");
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        std::va_list more;
        va_start(more, flags);
        mode = va_arg(more, mode_t);
        va_end(more);
    }
    SystemCall call{.kind = Kind::open, .path = path, .flags = flags};
    return static_cast<int>(watched(call, [&] { return next(path, flags, mode); }));
}

extern "C" ssize_t read(int descriptor, void* data, size_t size) {
    static const auto next = following<ssize_t(int, void*, size_t)>("read");
    SystemCall call{.kind = Kind::read, .descriptor = descriptor, .size = static_cast<off_t>(size)};
    return watched(call, [&] { return next(descriptor, data, static_cast<size_t>(call.size)); });
}

extern "C" ssize_t write(int descriptor, const void* data, size_t size) {
    static const auto next = following<ssize_t(int, const void*, size_t)>("write");
    SystemCall call{
        .kind = Kind::write, .descriptor = descriptor, .data = data, .size = static_cast<off_t>(size)};
    return watched(call, [&] { return next(descriptor, data, static_cast<size_t>(call.size)); });
}

extern "C" ssize_t pwrite(int descriptor, const void* data, size_t size, off_t offset) {
    static const auto next = following<ssize_t(int, const void*, size_t, off_t)>("pwrite64");
    SystemCall call{.kind = Kind::pwrite,
                    .descriptor = descriptor,
                    .data = data,
                    .size = static_cast<off_t>(size),
                    .offset = offset};
    return watched(call, [&] { return next(descriptor, data, static_cast<size_t>(call.size), offset); });
}

extern "C" int truncate(const char* path, off_t size) noexcept {
    static const auto next = following<int(const char*, off_t)>("truncate64");
    SystemCall call{.kind = Kind::truncate, .path = path, .size = size};
    return static_cast<int>(watched(call, [&] { return next(path, size); }));
}

extern "C" int ftruncate(int descriptor, off_t size) noexcept {
    static const auto next = following<int(int, off_t)>("ftruncate64");
    SystemCall call{.kind = Kind::truncate, .descriptor = descriptor, .size = size};
    return static_cast<int>(watched(call, [&] { return next(descriptor, size); }));
}

extern "C" int fsync(int descriptor) {
    static const auto next = following<int(int)>("fsync");
    SystemCall call{.kind = Kind::fsync, .descriptor = descriptor};
    return static_cast<int>(watched(call, [&] { return next(descriptor); }));
}

extern "C" int fdatasync(int descriptor) {
    static const auto next = following<int(int)>("fdatasync");
    SystemCall call{.kind = Kind::fdatasync, .descriptor = descriptor};
    return static_cast<int>(watched(call, [&] { return next(descriptor); }));
}

extern "C" int rename(const char* from, const char* to) noexcept {
    static const auto next = following<int(const char*, const char*)>("rename");
    SystemCall call{.kind = Kind::rename, .path = from, .newPath = to};
    return static_cast<int>(watched(call, [&] { return next(from, to); }));
}

extern "C" int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                         unsigned int flags) noexcept {
    static const auto next = following<int(int, const char*, int, const char*, unsigned int)>("renameat2");
    SystemCall call{.kind = Kind::renameat2, .path = from, .newPath = to};
    return static_cast<int>(watched(call, [&] { return next(fromFolder, from, toFolder, to, flags); }));
}

extern "C" int link(const char* from, const char* to) noexcept {
    static const auto next = following<int(const char*, const char*)>("link");
    SystemCall call{.kind = Kind::link, .path = from, .newPath = to};
    return static_cast<int>(watched(call, [&] { return next(from, to); }));
}

extern "C" int unlink(const char* path) noexcept {
    static const auto next = following<int(const char*)>("unlink");
    SystemCall call{.kind = Kind::unlink, .path = path};
    return static_cast<int>(watched(call, [&] { return next(path); }));
}

extern "C" int mkdir(const char* path, mode_t mode) noexcept {
    static const auto next = following<int(const char*, mode_t)>("mkdir");
    SystemCall call{.kind = Kind::mkdir, .path = path};
    return static_cast<int>(watched(call, [&] { return next(path, mode); }));
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
